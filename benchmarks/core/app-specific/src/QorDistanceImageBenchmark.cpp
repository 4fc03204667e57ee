// SPDX-License-Identifier: Apache-2.0
//
// The loops of the driver, and whole frames through the entry points.
#include <memory>
#include <vector>

#include "QorDistanceImageInterface.h"
#include "QorDistanceImageKernels.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "support/RawImages.h"

namespace {

using benchmark_support::registerOnEveryTarget;

void phaseToMetres(benchmark::State& state) {
    std::vector<float> distance(kPixelCount, 1.0F);
    const std::vector<uint16_t> confidence(kPixelCount, 0x0010);
    const PhaseToMetresParam param = {0.01F, 0.397F, 2.4975F, 9.99F};
    for (auto _ : state) {
        DistanceImage_PhaseToMetres(param, distance.data(), confidence.data());
        benchmark::ClobberMemory();
    }
}

Timestamp_t stoppedClock() {
    return 0;
}

/** Four images of one exposure and one frequency, as a host pushes them. */
void frameOfOneFrequency(benchmark::State& state) {
    const auto calib = std::make_unique<QorDistanceImageIFCalib>();
    for (FreqDependentCalibration& frequency : calib->imagerCalib.freqDependent) {
        frequency.ampWigg[0] = 1.0F;
    }
    calib->imagerCalib.freqIndependent.maxDiff = 4095;
    calib->imagerCalib.frequencies[0] = 60e6F;
    calib->imagerCalib.numberOfFrequencies = 1;
    const RuvoFrequencyHoppingTable hopping = {{{0, 0, 1}}, 1};
    const QorDistanceImageIFParam param = {1, 1, -1.0F, 0, 2000, 0};
    const AlgoExtrinsicCalibration pose = {};
    const QorDistanceImageServices services = {stoppedClock, [] { return AlgoSystemTime{}; }};
    const auto distToCartesian = std::make_unique<QorDistToCartesian>();
    const auto result = std::make_unique<QorDistanceImageIFOutput>();
    QorDistanceImageCustomization customization = {};
    customization.maximumRawSymmetry = 0.2F;
    AlgoMeasBuffer buffers[kMeasBufferCount] = {};
    testing_support::PhaseGroup group;
    testing_support::Random random(2);
    group.fillWithRandomBytes(random);
    if (QorDistanceImage_Init(calib.get(), &hopping, &param, &pose, &services, distToCartesian.get()) != 0) {
        state.SkipWithError("initialisation failed");
    }
    for (auto _ : state) {
        for (const QorRawdataPhase& image : group) {
            if (QorDistanceImage_Apply(&image, &customization, result.get(), buffers, kMeasBufferCount) !=
                0) {
                state.SkipWithError("an image failed");
            }
        }
    }
}

const bool registered = [] {
    registerOnEveryTarget("phaseToMetres", phaseToMetres);
    registerOnEveryTarget("frameOfOneFrequency", frameOfOneFrequency);
    return true;
}();

}  // namespace
