// SPDX-License-Identifier: Apache-2.0
//
// The loop of the intensity image.
#include <vector>

#include "IntensityImageKernels.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/app-specific/src/IntensityImageRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;

using Subtract = void (*)(const uint8_t*, uint16_t*, uint16_t*);

/** One image of random samples, again and again. */
auto subtracting(Subtract subtract) {
    return [subtract](benchmark::State& state) {
        testing_support::Random random(3);
        std::vector<uint8_t> samples(kImageHeight * kRawRowBytes);
        for (uint8_t& byte : samples) {
            byte = static_cast<uint8_t>(random.bits());
        }
        std::vector<uint16_t> fpn(kPixelCount, 2200);
        std::vector<uint16_t> intensity(kPixelCount);
        for (auto _ : state) {
            subtract(samples.data(), fpn.data(), intensity.data());
            benchmark::ClobberMemory();
        }
    };
}

const bool registered = [] {
    registerOnEveryTarget("intensity", subtracting(IntensityImg_SubtractDarkLevel));
    registerScalar("intensity", subtracting(rule::subtractDarkLevel));
    return true;
}();

}  // namespace
