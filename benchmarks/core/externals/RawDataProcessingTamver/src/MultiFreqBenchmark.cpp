// SPDX-License-Identifier: Apache-2.0
//
// Assignment of one distance from two frequencies, with and without the vote of the neighbours, the agreement
// of two pairs, and the tables.
#include <memory>

#include "MultiFreq.h"
#include "MultiFreqKernels.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/externals/RawDataProcessingTamver/src/MultiFreqRule.h"
#include "tests/core/externals/RawDataProcessingTamver/src/MultiFreqStage.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;
using benchmark_support::repeat;

constexpr float kAcceptance = 80.0F;

/** A pair of images of a smooth scene with noise, one pixel in fifty without measurement. */
struct Workload {
    Workload() {
        testing_support::Random random(1);
        for (int32_t i = 0; i < kPixelCount; ++i) {
            const auto p = static_cast<size_t>(i);
            const int32_t x = i % kImageWidth;
            const int32_t y = i / kImageWidth;
            const double metres = 0.5 + 0.015 * x + 0.015 * y + (x / 40 % 2 == 0 ? 0.0 : 0.8);
            stage.measure(i, metres);
            stage.currentDistance[p] += random.real(-0.02F, 0.02F);
            stage.previousDistance[p] += random.real(-0.02F, 0.02F);
            if (random.bits() % 50 == 0) {
                stage.currentDistance[p] = 0.0F;
            }
        }
        stage.init();
        stage.state->precedingFreqIdx = 0;
        stage.input.currentFreqIdx = 1;
        for (IntermediateRes3Freq& result : stage.state->intermediateResults) {
            for (float& distance : result.distance) {
                distance = random.real(2.0F, 2.2F);
            }
        }
    }

    void assign(int32_t filterAssignment, int32_t verticalAssignment) {
        stage.input.filterAssignment = filterAssignment;
        stage.param.verticalAssignment = verticalAssignment;
        assign2QDistance(stage.state.get(), &stage.input, stage.scratch.get(), kAcceptance,
                         stage.distance.data(), stage.confidence.data(), 0, kImageHeight, &stage.calib,
                         &stage.param);
    }

    testing_support::MultiFreqStage stage;
};

Workload& workload() {
    static Workload instance;
    return instance;
}

void buildTables(benchmark::State& state) {
    testing_support::MultiFreqStage stage;
    for (auto _ : state) {
        benchmark::DoNotOptimize(stage.init());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(buildTables)->Name("multiFreqTables")->Unit(benchmark::kMicrosecond);

const bool registered = [] {
    registerOnEveryTarget("assignPair", repeat(workload, [](Workload& w) { w.assign(0, 0); }));
    registerScalar("assignPair", repeat(workload, [](Workload& w) {
                       rule::assignPair(w.stage.state->LUTBackward[0], w.stage.settings(kAcceptance),
                                        w.stage.pairInput(), w.stage.distance.data(),
                                        w.stage.confidence.data(), 0, kImageHeight);
                   }));
    registerOnEveryTarget("assignPairVertically", repeat(workload, [](Workload& w) { w.assign(0, 1); }));
    registerOnEveryTarget("assignPairByVote", repeat(workload, [](Workload& w) { w.assign(1, 0); }));
    registerScalar("assignPairByVote", repeat(workload, [](Workload& w) {
                       rule::assignPairByVote(w.stage.state->LUTBackward[0], w.stage.settings(kAcceptance),
                                              w.stage.pairInput(), w.stage.scratch->lineIndices,
                                              w.stage.distance.data(), w.stage.confidence.data(), 0,
                                              kImageHeight);
                   }));
    registerOnEveryTarget(
        "combinePairs", repeat(workload, [](Workload& w) {
            const IntermediateRes3Freq* const pairs = w.stage.state->intermediateResults;
            MultiFreq_CombinePairs(
                {pairs[0].distance, pairs[1].distance, pairs[0].confidence, pairs[1].confidence, 7.5F, 0.1F},
                w.stage.distance.data(), w.stage.confidence.data(), 0, kPixelCount);
        }));
    registerScalar("combinePairs", repeat(workload, [](Workload& w) {
                       const IntermediateRes3Freq* const pairs = w.stage.state->intermediateResults;
                       rule::combinePairs(pairs[0], pairs[1], 7.5F, 0.1F, w.stage.distance.data(),
                                          w.stage.confidence.data(), 0, kPixelCount);
                   }));
    return true;
}();

}  // namespace
