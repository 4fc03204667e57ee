// SPDX-License-Identifier: Apache-2.0
//
// The loops of the wiggling stage: from phase and amplitude to raw X and Y, and back with each of the three
// reference functions.
#include <vector>

#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/app-specific/src/WigglingRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;
using benchmark_support::repeat;

/** Random phases and amplitudes, so that every pixel reads a different place in the tables. */
struct Workload {
    Workload()
        : phi(kPixelCount),
          ampl(kPixelCount),
          xyReal(kPixelCount),
          xyImag(kPixelCount),
          phiOut(kPixelCount),
          amplOut(kPixelCount) {
        testing_support::Random random(1);
        for (size_t i = 0; i < phi.size(); ++i) {
            phi[i] = random.real(0.0F, 6.283F);
            ampl[i] = random.real(0.0F, 20.0F);
        }
        constexpr float kAmpWigg[5] = {1.0F, 0.02F, 0.3F, 0.01F, 0.8F};
        for (const WigglingCalibReferenceFunc referenceFunc :
             {ReferenceFunc_UnitCircle, ReferenceFunc_UnitSquare, ReferenceFunc_UnitDiamond}) {
            tables[referenceFunc] = rule::wigglingTables(kAmpWigg, referenceFunc);
        }
        rule::wigglingBackward(tables[0].invCalibLut.data(), backward());
    }

    WigglingBackwardImages backward() {
        return {phi.size(), phi.data(), ampl.data(), xyReal.data(), xyImag.data()};
    }

    WigglingForwardImages forward() {
        return {phi.size(), xyReal.data(), xyImag.data(), phiOut.data(), amplOut.data()};
    }

    std::vector<float> phi, ampl, xyReal, xyImag, phiOut, amplOut;
    rule::WigglingTables tables[3];
};

Workload& workload() {
    static Workload instance;
    return instance;
}

void registerForward(const char* name, WigglingCalibReferenceFunc referenceFunc) {
    registerOnEveryTarget(name, repeat(workload, [referenceFunc](Workload& w) {
                              const rule::WigglingTables& tables = w.tables[referenceFunc];
                              Wiggling_ComputeTrue(referenceFunc, tables.lutPhase.data(),
                                                   tables.lutAmp.data(), w.forward());
                          }));
    registerScalar(name, repeat(workload, [referenceFunc](Workload& w) {
                       const rule::WigglingTables& tables = w.tables[referenceFunc];
                       rule::wigglingForward(referenceFunc, tables.lutPhase.data(), tables.lutAmp.data(),
                                             w.forward());
                   }));
}

const bool registered = [] {
    registerOnEveryTarget("wigglingBackward", repeat(workload, [](Workload& w) {
                              Wiggling_ComputeRaw(w.tables[0].invCalibLut.data(), w.backward());
                          }));
    registerScalar("wigglingBackward", repeat(workload, [](Workload& w) {
                       rule::wigglingBackward(w.tables[0].invCalibLut.data(), w.backward());
                   }));
    registerForward("wigglingForwardCircle", ReferenceFunc_UnitCircle);
    registerForward("wigglingForwardSquare", ReferenceFunc_UnitSquare);
    registerForward("wigglingForwardDiamond", ReferenceFunc_UnitDiamond);
    return true;
}();

}  // namespace
