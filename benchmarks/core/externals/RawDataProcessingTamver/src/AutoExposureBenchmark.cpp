// SPDX-License-Identifier: Apache-2.0
//
// Auto exposure: one prediction, and a whole frame with full lists of candidates. The rate `pairs` is the
// time per candidate, including its share of the cumulative histograms.
#include <benchmark/benchmark.h>

#include "AutoExposure.h"
#include "tests/core/externals/RawDataProcessingTamver/src/AutoExposureStage.h"

namespace {

using testing_support::AutoExposureStage;
using testing_support::sceneOf;

/** A scene of three decades, measured in the middle of the list. All pairs of the list are searched. */
struct Workload : AutoExposureStage {
    explicit Workload(bool two) {
        param->maxExpTime = 1000000;
        param->maxSumExpTime = 1000000;
        // Steps of 50 us fill the list.
        for (SingleAlgoSettings& settings : input->specificSettings) {
            settings.expTimeFactorBetweenSettings = 1.0F;
            settings.numExpTimesBase = 100000;
        }
        input->settings.minLongShortFactor = 2;
        input->settings.maxLongShortFactor = 8;
        if (two) {
            setTimes(300, 1200);
        } else {
            setTimes(1000);
        }
        init();
        measure(sceneOf(0.0005, 0.08));
    }
};

void predict(benchmark::State& state) {
    Workload work(state.range(0) != 0);
    work.apply();
    const uint32_t* const test = work.state->validExpTimes[work.state->numValidExpTimes / 2];
    for (auto _ : state) {
        benchmark::DoNotOptimize(predictScore(work.input->expTimes, test, work.param->score_x_kneepoints,
                                              work.param->score_slopes, work.param->numPieces,
                                              work.scratch->cumMeanHistos, work.scratch->cumHistos,
                                              static_cast<int32_t>(work.input->numExposures)));
    }
}
BENCHMARK(predict)->Name("autoExposurePrediction")->ArgName("two")->Arg(0)->Arg(1);

void frame(benchmark::State& state) {
    Workload work(state.range(0) != 0);
    if (work.apply() != 0) {
        state.SkipWithError("no proposal");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(work.apply());
        benchmark::ClobberMemory();
    }
    const double candidates = work.state->numValidExpTimes;
    state.counters["candidates"] = candidates;
    state.counters["pairs"] = benchmark::Counter(
        candidates, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(frame)->Name("autoExposureFrame")->ArgName("two")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
