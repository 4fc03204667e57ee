// SPDX-License-Identifier: Apache-2.0
//
// One benchmark per vector target, with its cost in nanoseconds per pixel.
#pragma once

#include <benchmark/benchmark.h>
#include <hwy/targets.h>

#include <cstdint>
#include <string>

#include "ALTypes.h"

namespace benchmark_support {

/** Books an iteration over the whole image; the report shows the time per pixel. */
inline void countPixels(benchmark::State& state) {
    state.counters["time/pixel"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kPixelCount,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/** Repeats `work(workload())` as long as the benchmark asks for. */
template <class Workload, class Work>
auto repeat(Workload& (*workload)(), Work work) {
    return [workload, work](benchmark::State& state) {
        Workload& w = workload();
        for (auto _ : state) {
            work(w);
            benchmark::ClobberMemory();
        }
    };
}

/** Registers `run(state)` once for each target that the machine can run, under name/TARGET. */
template <class Run>
void registerOnEveryTarget(const std::string& name, Run run) {
    for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        benchmark::RegisterBenchmark((name + "/" + hwy::TargetName(target)).c_str(),
                                     [run, target](benchmark::State& state) {
                                         hwy::SetSupportedTargetsForTest(target);
                                         hwy::GetChosenTarget().Update(hwy::SupportedTargets());
                                         run(state);
                                         countPixels(state);
                                         hwy::SetSupportedTargetsForTest(0);
                                         hwy::GetChosenTarget().DeInit();
                                     });
    }
}

/** Registers the plain form of a rule, under name/scalar. */
template <class Run>
void registerScalar(const std::string& name, Run run) {
    benchmark::RegisterBenchmark((name + "/scalar").c_str(), [run](benchmark::State& state) {
        run(state);
        countPixels(state);
    });
}

}  // namespace benchmark_support
