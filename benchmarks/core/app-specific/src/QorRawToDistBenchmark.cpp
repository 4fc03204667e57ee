// SPDX-License-Identifier: Apache-2.0
//
// The loops of the raw stage: unpacking to X, Y, S and confidence, the same with histogram, merge, phase.
#include <algorithm>
#include <memory>
#include <vector>

#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "support/RawImages.h"
#include "tests/core/app-specific/src/QorRawToDistRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;
using benchmark_support::repeat;

/** One frame's worth of random raw images and a calibration with all corrections. */
struct Workload {
    Workload()
        : state(std::make_unique<QorRawToDistState>()), roi(kPixelCount, 1), histogram(kHistogramBins) {
        testing_support::Random random(1);
        group.fillWithRandomBytes(random);
        for (int k = 0; k < kPhasesPerExposure; ++k) {
            state->rawPhases[k] = &group[static_cast<size_t>(k)];
        }
        NEON_RawToXYS(state.get(), 100, 3995, 0, 0);
        NEON_RawToXYS(state.get(), 100, 3995, 1, 0x0010);
        std::fill_n(state->invExpTimes, kPixelCount, 0.01F);
        phase.resize(kPixelCount);
        amplitude.resize(kPixelCount);
        confidence.resize(kPixelCount);
        fppn.resize(kPixelCount, 0.1F);
        intensity.resize(kPixelCount, 100);
        input = {state->X[1],
                 state->Y[1],
                 state->S[1],
                 state->confidence[1],
                 state->invExpTimes,
                 fppn.data(),
                 ampWigg,
                 phaseWigg,
                 3.0F,
                 -2.0F,
                 900.0F,
                 0.04F,
                 nullptr,
                 {0.001F, 0.002F},
                 {0.003F, 0.001F}};
        output = {phase.data(), amplitude.data(), confidence.data()};
    }

    testing_support::PhaseGroup group;
    std::unique_ptr<QorRawToDistState> state;
    std::vector<uint8_t> roi;
    std::vector<uint32_t> histogram;
    std::vector<float> phase, amplitude, fppn;
    std::vector<uint16_t> confidence, intensity;
    float ampWigg[5] = {1.0F, 0.02F, 0.3F, 0.01F, 0.8F};
    float phaseWigg[7] = {0.1F, 0.02F, 0.4F, 0.01F, 1.1F, 0.005F, 2.0F};
    RawToDistPhaseInput input = {};
    RawToDistPhaseOutput output = {};
};

Workload& workload() {
    static Workload instance;
    return instance;
}

const bool registered = [] {
    registerOnEveryTarget("unpackToXYS", repeat(workload, [](Workload& w) {
                              NEON_RawToXYS(w.state.get(), 100, 3995, 1, 0x0010);
                          }));
    registerScalar("unpackToXYS", repeat(workload, [](Workload& w) {
                       rule::rawToXYS(*w.state, 100, 3995, 1, 0x0010, nullptr, nullptr);
                   }));
    registerOnEveryTarget("unpackToXYSWithHistogram", repeat(workload, [](Workload& w) {
                              NEON_RawToXYS_histo(w.state.get(), 100, 3995, 1, 0x0010, w.roi.data(),
                                                  w.histogram.data());
                          }));
    registerScalar("unpackToXYSWithHistogram", repeat(workload, [](Workload& w) {
                       rule::rawToXYS(*w.state, 100, 3995, 1, 0x0010, w.roi.data(), w.histogram.data());
                   }));
    registerOnEveryTarget("mergeExposures", repeat(workload, [](Workload& w) {
                              RawToDist_MergeExposures(w.state.get(), 0.01F, 0.002F);
                          }));
    registerScalar("mergeExposures",
                   repeat(workload, [](Workload& w) { rule::mergeExposures(*w.state, 0.01F, 0.002F); }));
    registerOnEveryTarget("phase",
                          repeat(workload, [](Workload& w) { RawToDist_ComputePhase(w.input, w.output); }));
    registerScalar("phase", repeat(workload, [](Workload& w) { rule::computePhase(w.input, w.output); }));
    registerOnEveryTarget("phaseWithDriftCompensation", repeat(workload, [](Workload& w) {
                              RawToDistPhaseInput input = w.input;
                              input.intensity = w.intensity.data();
                              RawToDist_ComputePhase(input, w.output);
                          }));
    return true;
}();

}  // namespace
