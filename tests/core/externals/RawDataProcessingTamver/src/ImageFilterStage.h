// SPDX-License-Identifier: Apache-2.0
//
// The image filter with records and images of its own, and what it reported.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ImageFilter.h"
#include "support/Random.h"
#include "support/Reports.h"
#include "support/Threads.h"

namespace testing_support {

class ImageFilterStage {
 public:
    ImageFilterStage() {
        setSize(kImageWidth, kImageHeight);
        input.settings.tempMeanSettings.numberOfFrames = 3;
        input.settings.tempAdexpSettings = {0.1F, 0.25F, 0.5F, 0.75F};
        input.settings.spatBilateralSettings = {FilterMaskSize_3x3, 1.0F, 0.1F};
        input.settings.applyDistanceFilter = 1;
    }
    ImageFilterStage(const ImageFilterStage&) = delete;
    ImageFilterStage& operator=(const ImageFilterStage&) = delete;

    /** Images of that size; their memory ends with their last pixel. All pixels are 0 and valid. */
    void setSize(int32_t width, int32_t height) {
        input.width = width;
        input.height = height;
        const auto count = static_cast<size_t>(width * height);
        for (std::vector<float>* const image : {&distance, &normalizedAmplitude, &amplitude}) {
            std::vector<float>(count).swap(*image);
        }
        std::vector<uint16_t>(count).swap(confidence);
        inout.amplitude = amplitude.data();
        inout.normalizedAmplitude = normalizedAmplitude.data();
        inout.distance = distance.data();
        inout.confidence = confidence.data();
    }

    int32_t init() { return ImageFilter_Init(state.get(), &param, &services); }

    int32_t apply() {
        return ImageFilter_Apply(state.get(), &input, &inout, scratch.get(), &param, &services);
    }

    /** Workers and a mutex as the host would lend them. */
    void useThreads(int32_t count) {
        param.numThreads = count;
        services = {ThreadServices::create, ThreadServices::join, MutexServices::create,
                    MutexServices::destroy, MutexServices::lock,  MutexServices::unlock};
    }

    /** A rough image with a hole in every tenth place. */
    static void fillWithRoughScene(Random& random, std::vector<float>& image) {
        for (float& pixel : image) {
            pixel = random.integer(0, 9) == 0 ? 0.0F : random.real(0.5F, 1.5F);
        }
    }

    /** The messages since the last call, innermost first; empty for a report without one. */
    std::vector<std::string> takeMessages() {
        std::vector<std::string> messages;
        for (int32_t i = 0; i < reports_.count(); ++i) {
            EXPECT_EQ(reports_.file(i), "ImageFilter");
            messages.push_back(reports_.message(i));
        }
        reports_.clear();
        return messages;
    }

    std::unique_ptr<ImageFilterState> state = std::make_unique<ImageFilterState>();
    std::unique_ptr<ImageFilterScratch> scratch = std::make_unique<ImageFilterScratch>();
    ImageFilterInput input = {};
    ImageFilterInOut inout = {};
    ImageFilterParam param = {};
    ImageFilterServices services = {};
    std::vector<float> distance, normalizedAmplitude, amplitude;
    std::vector<uint16_t> confidence;

 private:
    Reports reports_;
};

using Messages = std::vector<std::string>;

}  // namespace testing_support
