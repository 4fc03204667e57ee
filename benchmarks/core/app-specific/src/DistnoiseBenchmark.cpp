// SPDX-License-Identifier: Apache-2.0
//
// The distance noise of a frame of two exposures and two frequencies, without a limit and with one that drops
// some pixels.
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/app-specific/src/DistnoiseFrame.h"
#include "tests/core/app-specific/src/DistnoiseRule.h"

namespace {

struct Workload : testing_support::DistnoiseFrame {
    Workload() {
        testing_support::Random random(3);
        for (size_t i = 0; i < real.size(); ++i) {
            real[i] = random.real(-500.0F, 500.0F);
            imag[i] = random.real(-500.0F, 500.0F);
            intensity[i] = static_cast<uint16_t>(random.integer(0, 2000));
            confidence[i] = static_cast<uint16_t>(random.integer(0, 1) * 0x0010 + random.integer(0, 1));
        }
    }

    void applyWithLimit(float metres) {
        input.distNoiseThreshold = metres;
        apply();
    }
};

Workload& workload() {
    static Workload instance;
    return instance;
}

const bool registered = [] {
    using namespace benchmark_support;
    registerOnEveryTarget("distanceNoise", repeat(workload, [](Workload& w) { w.applyWithLimit(0.0F); }));
    registerScalar("distanceNoise",
                   repeat(workload, [](Workload& w) { rule::distanceNoise(w.input, w.inout); }));
    registerOnEveryTarget("distanceNoiseWithALimit",
                          repeat(workload, [](Workload& w) { w.applyWithLimit(0.05F); }));
    return true;
}();

}  // namespace
