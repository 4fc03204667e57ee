// SPDX-License-Identifier: Apache-2.0
//
// The auto exposure with its records as the driver sets them, and scenes that it could look at.
#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "AutoExposure.h"

namespace testing_support {

inline constexpr uint32_t kSaturationLevel = 2047;  ///< half the range of a 12-bit sample

struct AutoExposureStage {
    AutoExposureStage()
        : input(std::make_unique<AutoExposureInput>()),
          param(std::make_unique<AutoExposureParam>()),
          state(std::make_unique<AutoExposureState>()),
          scratch(std::make_unique<AutoExposureScratch>()),
          output(std::make_unique<AutoExposureOutput>()),
          histograms(kMaxExposures * kHistogramBins) {
        *param = {2000,
                  1300,
                  50,
                  50,
                  0,
                  {50, 60, 100, kSaturationLevel},
                  {0.01F, 1.0F, 0.2F, 0.01F},
                  4,
                  0.0F,
                  kImageWidth,
                  kImageHeight};
        AutoExpSettings& settings = input->settings;
        settings.applyAutoExposure = AutoExposureApplyMode_Normal;
        settings.minLongShortFactor = 2;
        settings.maxLongShortFactor = 8;
        settings.roiSettings.rois.noROIs = 1;
        ROIItem& item = settings.roiSettings.rois.ROIs[0];
        item.type = ROITypeRectangle;
        item.rectangle = {{112.0F, 86.0F}, 224.0F, 172.0F, 0.0F};
        allowSaturatedPixels(0);
        input->specificSettings[0].numExpTimesBase = 20;
        input->specificSettings[1].numExpTimesBase = 10;
        input->histograms = reinterpret_cast<uint32_t(*)[kHistogramBins]>(histograms.data());
        setTimes(400);
    }

    void allowSaturatedPixels(int32_t number) {
        input->settings.maxNumberOfSaturatedPixels = number;
        for (SingleAlgoSettings& settings : input->specificSettings) {
            settings.saturationCheckQuantile = 1.0F - static_cast<float>(number) * 2.5955149e-05F;
            settings.expTimeFactorBetweenSettings = 1.5F;
        }
    }

    void setTimes(uint32_t time) {
        input->numExposures = 1;
        input->expTimes[0] = time;
        input->expTimes[1] = 0;
    }
    void setTimes(uint32_t shortTime, uint32_t longTime) {
        input->numExposures = 2;
        input->expTimes[0] = shortTime;
        input->expTimes[1] = longTime;
    }

    uint32_t* histogram(int32_t exposure) {
        return histograms.data() + static_cast<size_t>(exposure) * kHistogramBins;
    }

    void clearHistograms() { std::fill(histograms.begin(), histograms.end(), 0U); }

    /** What the camera sees, at its present times, of pixels that collect `rates` levels per microsecond. */
    void measure(const std::vector<double>& rates) {
        clearHistograms();
        for (uint32_t e = 0; e < input->numExposures; ++e) {
            for (const double rate : rates) {
                const double level = std::min(rate * input->expTimes[e], 2048.0);
                ++histogram(static_cast<int32_t>(e))[static_cast<size_t>(level)];
            }
        }
    }

    int32_t init() { return AutoExposure_Init(param.get(), state.get(), output.get()); }
    int32_t apply() {
        return AutoExposure_Apply(input.get(), param.get(), state.get(), scratch.get(), output.get());
    }

    std::unique_ptr<AutoExposureInput> input;
    std::unique_ptr<AutoExposureParam> param;
    std::unique_ptr<AutoExposureState> state;
    std::unique_ptr<AutoExposureScratch> scratch;
    std::unique_ptr<AutoExposureOutput> output;
    std::vector<uint32_t> histograms;
};

/** Pixels whose brightness spreads evenly in octaves from `darkest` to
 * `brightest`, in levels per microsecond. */
inline std::vector<double> sceneOf(double darkest, double brightest) {
    std::vector<double> rates(kPixelCount);
    for (size_t i = 0; i < rates.size(); ++i) {
        rates[i] = darkest * std::pow(brightest / darkest, static_cast<double>(i) / (rates.size() - 1.0));
    }
    return rates;
}

}  // namespace testing_support
