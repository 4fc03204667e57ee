// SPDX-License-Identifier: Apache-2.0
//
// The multi-frequency stage with its records and images, for tests and benchmarks.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "MultiFreq.h"
#include "MultiFreqRule.h"
#include "support/Reports.h"

namespace testing_support {

inline constexpr float kHalfSpeedOfLight = 149896224.0F;  ///< m/s

/**
 * Two frequencies that alternate, 60 and 80 MHz: 2.498 m and 1.874 m, together 7.495 m. Images have exactly
 * width x height pixels, so that a sanitizer sees overruns.
 */
class MultiFreqStage {
 public:
    MultiFreqStage()
        : state(std::make_unique<MultiFreqState>()), scratch(std::make_unique<MultiFreqScratch>()) {
        setFrequencies({60e6F, 80e6F});
        hopping = {{{0, 1, 1}, {1, 0, 1}}, 2};
        calib.hoppingTable = &hopping;
        calib.frequencyMode = MultiFreq_FModeTwoFreq;
        param.maxRange = -1.0F;
        param.halfLineDist = -1.0F;
        input.twoFreqMaxLineDistPercentage = 80.0F;
        input.threeFreqMax2FLineDistPercentage = 80.0F;
        input.threeFreqMax3FLineDistPercentage = 80.0F;
        setSize(kImageWidth, kImageHeight);
    }
    MultiFreqStage(const MultiFreqStage&) = delete;
    MultiFreqStage& operator=(const MultiFreqStage&) = delete;

    void setFrequencies(std::vector<float> hertz) {
        frequencies = std::move(hertz);
        calib.frequencies = frequencies.data();
        calib.freqCount = static_cast<int32_t>(frequencies.size());
    }

    /** Three frequencies in turn, each pair with a table. */
    void useThreeFrequencies() {
        setFrequencies({60e6F, 75e6F, 100e6F});
        hopping = {{{0, 1, 1}, {1, 2, 1}, {2, 0, 1}}, 3};
        calib.frequencyMode = MultiFreq_FModeThreeFreq;
    }

    void setSize(int32_t width, int32_t height) {
        const auto pixels = static_cast<size_t>(width * height);
        input.width = width;
        input.height = height;
        currentDistance = std::vector<float>(pixels, 0.0F);
        previousDistance = std::vector<float>(pixels, 0.0F);
        currentConfidence = std::vector<uint16_t>(pixels, 0);
        previousConfidence = std::vector<uint16_t>(pixels, 0);
        distance = std::vector<float>(pixels, kUntouched);
        confidence = std::vector<uint16_t>(pixels, kUntouchedConfidence);
        input.currentDistance = currentDistance.data();
        input.previousDistance = previousDistance.data();
        input.currentConfidence = currentConfidence.data();
        input.previousConfidence = previousConfidence.data();
        output.distance = distance.data();
        output.confidence = confidence.data();
    }

    int32_t pixelCount() const { return input.width * input.height; }

    int32_t init() { return MultiFreq_Init(state.get(), &param, &calib); }

    int32_t apply(int32_t freqIdx) {
        input.currentFreqIdx = freqIdx;
        return MultiFreq_Apply(state.get(), scratch.get(), &calib, &input, &param, &output, &services);
    }

    /** Init, an image of frequency 0, and what the image of frequency 1 gives. */
    int32_t applyPair() {
        if (init() != 0 || apply(0) != 0) {
            return 1;
        }
        return apply(1);
    }

    /** The lines of all reports, innermost first. */
    std::vector<int32_t> lines() const { return reports.lines(); }

    /** The text of the first report. */
    std::string firstText() const { return reports.text(); }

    void forgetErrors() { reports.clear(); }

    double uniqueRange(int32_t freqIdx) const {
        return static_cast<double>(kHalfSpeedOfLight) /
               static_cast<double>(frequencies[static_cast<size_t>(freqIdx)]);
    }

    float wrapped(double metres, int32_t freqIdx) const {
        return static_cast<float>(std::fmod(metres, uniqueRange(freqIdx)));
    }

    /** What the frequencies 1 (current) and 0 (previous) measure of a true distance. */
    void measure(int32_t pixel, double metres) {
        currentDistance[static_cast<size_t>(pixel)] = wrapped(metres, 1);
        previousDistance[static_cast<size_t>(pixel)] = wrapped(metres, 0);
    }

    rule::PairSettings settings(float percentage) const {
        return {state->uniqueRangesTwoFreq[0], percentage, param.verticalAssignment != 0, input.width,
                input.height};
    }

    rule::PairInput pairInput() const {
        return {currentDistance.data(), previousDistance.data(), currentConfidence.data(),
                previousConfidence.data()};
    }

    static constexpr float kUntouched = 123.0F;
    static constexpr uint16_t kUntouchedConfidence = 0x5A5A;

    std::unique_ptr<MultiFreqState> state;
    std::unique_ptr<MultiFreqScratch> scratch;
    Reports reports;
    std::vector<float> frequencies;
    RuvoFrequencyHoppingTable hopping = {};
    MultiFreqCalib calib = {};
    MultiFreqParam param = {};
    MultiFreqInput input = {};
    MultiFreqOutput output = {};
    MultiFreqServices services = {};
    std::vector<float> currentDistance, previousDistance, distance;
    std::vector<uint16_t> currentConfidence, previousConfidence, confidence;
};

}  // namespace testing_support
