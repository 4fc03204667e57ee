// SPDX-License-Identifier: Apache-2.0
//
// The frame around the filters: what is filtered when, on which workers, and how the confidence changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

#include "ImageFilterMedian.h"
#include "ImageFilterStage.h"
#include "support/Floats.h"

namespace {

using testing_support::ImageFilterStage;
using testing_support::Messages;
using testing_support::MutexServices;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;
using testing_support::ThreadServices;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

class ImageFilters : public ::testing::Test, protected ImageFilterStage {
 protected:
    ImageFilters() { EXPECT_EQ(init(), 0); }

    ImageFilterSettings& settings() { return input.settings; }

    float& pixel(std::vector<float>& image, int32_t x, int32_t y) {
        return image[static_cast<size_t>(y * input.width + x)];
    }
    uint16_t& confidenceAt(int32_t x, int32_t y) {
        return confidence[static_cast<size_t>(y * input.width + x)];
    }

    bool historiesNeedInit(int32_t distanceNeeds, int32_t amplitudeNeeds) const {
        return state->tempMeanDist.needsInit == distanceNeeds &&
               state->tempMeanNormAmp.needsInit == amplitudeNeeds;
    }
};

// --- Initialisation ------------------------------------------------------------------------------

TEST_F(ImageFilters, InitBeginsANewHistoryAndFreesTheSize) {
    state->tempMeanDist.needsInit = 0;
    state->tempMeanNormAmp.needsInit = 0;
    state->width = 5;
    state->height = 6;
    state->lastTempMeanFrames = 7;
    state->lastTempAdexpSettings.minSDAlpha = 1.0F;
    state->lastSpatBilateralSettings.sigmaPixel = 1.0F;
    state->mutexAllocated = 1;
    ASSERT_EQ(init(), 0);
    EXPECT_TRUE(historiesNeedInit(1, 1));
    EXPECT_EQ(state->width, -1);
    EXPECT_EQ(state->height, -1);
    EXPECT_EQ(state->lastTempMeanFrames, 0U);
    EXPECT_EQ(state->lastTempAdexpSettings.minSDAlpha, 0.0F);
    EXPECT_EQ(state->lastSpatBilateralSettings.sigmaPixel, 0.0F);
    EXPECT_EQ(state->mutexAllocated, 0);
}

TEST_F(ImageFilters, InitWithNullPointersFails) {
    EXPECT_EQ(ImageFilter_Init(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(takeMessages(), Messages{"State pointer is NULL"});
    EXPECT_EQ(ImageFilter_Init(state.get(), nullptr, nullptr), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
    EXPECT_EQ(ImageFilter_Init(state.get(), nullptr, &services), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
}

TEST_F(ImageFilters, InitWithoutThreadsNeedsNoServices) {
    for (const int32_t numThreads : {0, -1, kMin}) {
        param.numThreads = numThreads;
        EXPECT_EQ(init(), 0);
        EXPECT_EQ(state->mutexAllocated, 0);
    }
}

TEST_F(ImageFilters, InitWithThreadsCreatesTheMutex) {
    const MutexServices mutex;
    useThreads(1);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(mutex.created, 1);
    EXPECT_EQ(state->mutexHandle, MutexServices::kHandle);
    EXPECT_EQ(state->mutexAllocated, 1);
}

TEST_F(ImageFilters, InitWithThreadsButNoMutexFails) {
    MutexServices mutex;
    useThreads(1);
    services.fctMutexCreate = nullptr;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
    services.fctMutexCreate = MutexServices::create;
    mutex.createFails = true;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
    EXPECT_EQ(state->mutexAllocated, 0);
}

// --- Clear ---------------------------------------------------------------------------------------

TEST_F(ImageFilters, ClearWithoutMutexNeedsNoServices) {
    EXPECT_EQ(ImageFilter_Clear(state.get(), nullptr), 0);
    EXPECT_TRUE(takeMessages().empty());
}

TEST_F(ImageFilters, ClearDestroysTheMutexOnce) {
    const MutexServices mutex;
    useThreads(2);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(ImageFilter_Clear(state.get(), &services), 0);
    EXPECT_EQ(ImageFilter_Clear(state.get(), &services), 0);
    EXPECT_EQ(mutex.destroyed, 1);
    EXPECT_EQ(state->mutexAllocated, 0);
}

TEST_F(ImageFilters, EveryRefusalOfClearHasItsMessageInOrder) {
    MutexServices mutex;
    useThreads(2);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(ImageFilter_Clear(nullptr, nullptr), 1);
    EXPECT_EQ(takeMessages(), Messages{"State pointer is NULL"});
    EXPECT_EQ(ImageFilter_Clear(state.get(), nullptr), 1);
    services.fctMutexDestroy = nullptr;
    EXPECT_EQ(ImageFilter_Clear(state.get(), &services), 1);
    EXPECT_EQ(takeMessages(), (Messages{"", ""}));
    services.fctMutexDestroy = MutexServices::destroy;
    mutex.destroyFails = true;
    EXPECT_EQ(ImageFilter_Clear(state.get(), &services), 1);
    EXPECT_EQ(takeMessages(), Messages{"Mutex destruction failed"});
    EXPECT_EQ(state->mutexAllocated, 1);
}

// --- Refusals of a call --------------------------------------------------------------------------

TEST_F(ImageFilters, EveryRefusalHasItsMessageInOrder) {
    ASSERT_EQ(apply(), 0);
    struct Refusal {
        const char* message;
        std::function<void()> cause;
    };
    ImageFilterState* applyState = state.get();
    const ImageFilterInput* applyInput = &input;
    ImageFilterInOut* applyInout = &inout;
    ImageFilterServices* applyServices = &services;
    const Refusal refusals[] = {
        {"State pointer is NULL", [&] { applyState = nullptr; }},
        {"Input pointer is NULL", [&] { applyInput = nullptr; }},
        {"InOut pointer is NULL", [&] { applyInout = nullptr; }},
        {"Service pointer is NULL", [&] { applyServices = nullptr; }},
        {"height must be > 0", [&] { input.height = 0; }},
        {"width must be > 0", [&] { input.width = 0; }},
        {"distance pointer is NULL", [&] { inout.distance = nullptr; }},
        {"amplitude pointer is NULL", [&] { inout.amplitude = nullptr; }},
        {"normalized amplitude pointer is NULL", [&] { inout.normalizedAmplitude = nullptr; }},
        {"confidence pointer is NULL", [&] { inout.confidence = nullptr; }},
        {"Matrix height cannot change between apply calls (need re-init)!", [&] { input.height -= 1; }},
        {"Matrix width cannot change between apply calls (need re-init)!", [&] { input.width -= 1; }},
        {"Number of threads exceeds maximum", [&] { param.numThreads = 11; }}};
    const ImageFilterInput goodInput = input;
    const ImageFilterInOut goodInout = inout;
    for (size_t first = 0; first < std::size(refusals); ++first) {
        // This one and all that are tested later.
        for (size_t i = std::size(refusals); i-- > first;) {
            refusals[i].cause();
        }
        EXPECT_EQ(ImageFilter_Apply(applyState, applyInput, applyInout, scratch.get(), &param, applyServices),
                  1);
        EXPECT_EQ(takeMessages(), Messages{refusals[first].message});
        applyState = state.get();
        applyInput = &input;
        applyInout = &inout;
        applyServices = &services;
        input = goodInput;
        inout = goodInout;
        param.numThreads = 0;
    }
    EXPECT_EQ(apply(), 0);
}

TEST_F(ImageFilters, NegativeSizesAreRefused) {
    for (const int32_t size : {-1, kMin}) {
        input.height = size;
        EXPECT_EQ(apply(), 1);
        input.height = kImageHeight;
        input.width = size;
        EXPECT_EQ(apply(), 1);
        input.width = kImageWidth;
    }
    EXPECT_EQ(takeMessages(), (Messages{"height must be > 0", "width must be > 0", "height must be > 0",
                                        "width must be > 0"}));
}

TEST_F(ImageFilters, ImagesBeyondTheHistoryAreRefused) {
    for (const auto& [width, height] :
         {std::pair(224, 173), {kPixelCount + 1, 1}, {kMax, kMax}, {65536, 65536}}) {
        input.width = width;
        input.height = height;
        EXPECT_EQ(apply(), 1);
        EXPECT_EQ(takeMessages(), Messages{""});
        EXPECT_EQ(state->height, -1);
    }
    setSize(kPixelCount, 1);
    EXPECT_EQ(apply(), 0);
}

TEST_F(ImageFilters, TheSizeMayNotChangeUntilInit) {
    ASSERT_EQ(apply(), 0);
    input.height = 20;
    EXPECT_EQ(apply(), 1);
    input.height = kImageHeight;
    input.width = 20;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(takeMessages(), (Messages{"Matrix height cannot change between apply calls (need re-init)!",
                                        "Matrix width cannot change between apply calls (need re-init)!"}));
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(state->width, 20);
}

TEST_F(ImageFilters, ACallWithoutParametersIsRefused) {
    EXPECT_EQ(ImageFilter_Apply(state.get(), &input, &inout, scratch.get(), nullptr, &services), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
}

TEST_F(ImageFilters, OnlySpatialFiltersNeedScratchMemory) {
    settings().temporalFilter = TempFilter_Mean;
    EXPECT_EQ(ImageFilter_Apply(state.get(), &input, &inout, nullptr, &param, &services), 0);
    EXPECT_TRUE(takeMessages().empty());
    settings().spatialFilter = SpatialFilter_Mean;
    EXPECT_EQ(ImageFilter_Apply(state.get(), &input, &inout, nullptr, &param, &services), 0);
    EXPECT_EQ(takeMessages(), (Messages{"", ""}));
}

// --- What calls for a new history ----------------------------------------------------------------

TEST_F(ImageFilters, WithoutTemporalFilterTheHistoriesAreVoid) {
    settings().spatialFilter = SpatialFilter_Mean;
    settings().applyAmplitudeFilter = 1;
    for (int32_t frame = 0; frame < 3; ++frame) {
        state->tempMeanDist.needsInit = 0;
        state->tempMeanNormAmp.needsInit = 0;
        ASSERT_EQ(apply(), 0);
        EXPECT_TRUE(historiesNeedInit(1, 1));
    }
}

TEST_F(ImageFilters, AnImageThatIsNotFilteredHasNoHistory) {
    settings().temporalFilter = TempFilter_Mean;
    settings().applyAmplitudeFilter = 1;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(historiesNeedInit(0, 0));
    settings().applyAmplitudeFilter = 0;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(historiesNeedInit(0, 1));
    settings().applyAmplitudeFilter = -5;  // not zero
    settings().applyDistanceFilter = 0;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(historiesNeedInit(1, 0));
}

TEST_F(ImageFilters, AnotherNumberOfFramesZeroesBothHistories) {
    settings().temporalFilter = TempFilter_Mean;
    settings().tempMeanSettings.numberOfFrames = 5;
    settings().applyAmplitudeFilter = 1;
    for (int32_t frame = 0; frame < 4; ++frame) {
        distance[9] = 4.0F;
        normalizedAmplitude[9] = 5.0F;
        ASSERT_EQ(apply(), 0);
    }
    settings().tempMeanSettings.numberOfFrames = 6;
    distance[9] = 1.0F;
    normalizedAmplitude[9] = 2.0F;
    distance[10] = 0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance[9], 1.0F);
    EXPECT_EQ(normalizedAmplitude[9], 2.0F);
    EXPECT_EQ(distance[10], 0.0F);
    EXPECT_EQ(state->lastTempMeanFrames, 6U);
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 1U);
}

TEST_F(ImageFilters, TheNumberOfFramesIsOfNoInterestWithoutTheMean) {
    settings().temporalFilter = TempFilter_AdaptiveExponential;
    ASSERT_EQ(apply(), 0);
    settings().tempMeanSettings.numberOfFrames = 17;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(historiesNeedInit(0, 1));
    EXPECT_EQ(state->lastTempMeanFrames, 0U);
}

TEST_F(ImageFilters, AChangeOfTheAdaptiveSettingsVoidsTheHistoriesOfEveryFilter) {
    settings().temporalFilter = TempFilter_Mean;
    settings().tempAdexpSettings.minSmoothDiff = 0.0F;
    distance[0] = 1.0F;
    ASSERT_EQ(apply(), 0);
    distance[0] = 3.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance[0], 2.0F);
    settings().tempAdexpSettings.minSmoothDiff = -0.0F;  // differs in its bits
    distance[0] = 3.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance[0], 3.0F);
}

TEST_F(ImageFilters, BetweenTheTwoTemporalFiltersTheHistoryIsKept) {
    settings().temporalFilter = TempFilter_AdaptiveExponential;
    distance[0] = 1.0F;
    ASSERT_EQ(apply(), 0);
    settings().temporalFilter = TempFilter_Mean;
    state->lastTempMeanFrames = 3;  // seen before
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(historiesNeedInit(0, 1));
    settings().temporalFilter = TempFilter_AdaptiveExponential;
    distance[0] = 5.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance[0], 2.0F);  // 0.25 * 5 + 0.75 * 1
}

TEST_F(ImageFilters, ChangesAreSeenBeforeTheNumberOfThreads) {
    settings().temporalFilter = TempFilter_Mean;
    ASSERT_EQ(apply(), 0);
    settings().tempMeanSettings.numberOfFrames = 4;
    param.numThreads = 11;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(state->lastTempMeanFrames, 4U);
    EXPECT_TRUE(historiesNeedInit(1, 1));
}

// --- What is filtered ----------------------------------------------------------------------------

TEST_F(ImageFilters, WithoutFiltersNothingChanges) {
    Random random(151);
    SCOPED_TRACE(random.seedText());
    fillWithRoughScene(random, distance);
    fillWithRoughScene(random, normalizedAmplitude);
    const std::vector<float> distanceBefore = distance;
    const std::vector<float> amplitudeBefore = normalizedAmplitude;
    settings().applyAmplitudeFilter = 1;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(sameFloats(distance.data(), distanceBefore.data(), distance.size()));
    EXPECT_TRUE(sameFloats(normalizedAmplitude.data(), amplitudeBefore.data(), distance.size()));
    EXPECT_EQ(std::count(confidence.begin(), confidence.end(), 0), kPixelCount);
}

TEST_F(ImageFilters, OnlyTheImagesAskedForAreFilteredAndTheAmplitudeNever) {
    settings().spatialFilter = SpatialFilter_Mean;
    for (const int32_t which : {0, 1, 2, 3}) {
        for (std::vector<float>* const image : {&distance, &normalizedAmplitude, &amplitude}) {
            std::fill(image->begin(), image->end(), 1.0F);
            pixel(*image, 50, 50) = 10.0F;
        }
        settings().applyDistanceFilter = which & 1;
        settings().applyAmplitudeFilter = which & 2;
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(pixel(distance, 50, 50), (which & 1) != 0 ? 2.0F : 10.0F);
        EXPECT_EQ(pixel(normalizedAmplitude, 50, 50), (which & 2) != 0 ? 2.0F : 10.0F);
        EXPECT_EQ(pixel(amplitude, 50, 50), 10.0F);
    }
}

TEST_F(ImageFilters, TheSpatialFilterOfEachImageReadsACopyOfThatImage) {
    settings().spatialFilter = SpatialFilter_Mean;
    settings().applyAmplitudeFilter = 1;
    std::fill(distance.begin(), distance.end(), 2.0F);
    std::fill(normalizedAmplitude.begin(), normalizedAmplitude.end(), 5.0F);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(pixel(distance, 50, 50), 2.0F);
    EXPECT_EQ(pixel(normalizedAmplitude, 50, 50), 5.0F);
}

TEST_F(ImageFilters, TheSpatialFilterFollowsTheTemporalOne) {
    settings().temporalFilter = TempFilter_Mean;
    settings().spatialFilter = SpatialFilter_Mean;
    std::fill(distance.begin(), distance.end(), 1.0F);
    ASSERT_EQ(apply(), 0);
    std::fill(distance.begin(), distance.end(), 1.0F);
    pixel(distance, 50, 50) = 19.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(pixel(distance, 51, 51), 2.0F);  // (8 * 1 + (1 + 19) / 2) / 9
    EXPECT_EQ(state->tempMeanDist.values[1][50 * 224 + 50], 19.0F);
}

TEST_F(ImageFilters, BorderPixelsKeepWhatTheTemporalFilterGave) {
    settings().temporalFilter = TempFilter_Mean;
    settings().spatialFilter = SpatialFilter_Mean;
    settings().spatMeanSettings.maskSize = FilterMaskSize_5x5;
    std::fill(distance.begin(), distance.end(), 1.0F);
    ASSERT_EQ(apply(), 0);
    std::fill(distance.begin(), distance.end(), 3.0F);
    pixel(distance, 1, 80) = 5.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(pixel(distance, 1, 80), 3.0F);
    EXPECT_EQ(pixel(distance, 0, 80), 2.0F);
}

TEST_F(ImageFilters, OneFrameFailsWithoutFilteringAndTheCallGoesOn) {
    settings().temporalFilter = TempFilter_Mean;
    settings().tempMeanSettings.numberOfFrames = 1;
    settings().spatialFilter = SpatialFilter_Mean;
    settings().applyAmplitudeFilter = 1;
    Random random(152);
    SCOPED_TRACE(random.seedText());
    fillWithRoughScene(random, distance);
    const std::vector<float> before = distance;
    EXPECT_EQ(apply(), 0);
    const char* const message = "temp. mean filter numberOfFrames <= 1";
    EXPECT_EQ(takeMessages(), (Messages{message, "", message, ""}));
    EXPECT_TRUE(sameFloats(distance.data(), before.data(), before.size()));
}

TEST_F(ImageFilters, UnknownTemporalFiltersFailBeforeTheSpatialOne) {
    settings().spatialFilter = SpatialFilter_Mean;
    distance[300] = 4.0F;
    for (const int32_t filter : {3, 4, -1, kMax, kMin}) {
        settings().temporalFilter = static_cast<TemporalFilter>(filter);
        EXPECT_EQ(apply(), 0);
        EXPECT_EQ(takeMessages(), (Messages{"Unknown temporal filter type", ""}));
        EXPECT_EQ(distance[300], 4.0F);
    }
}

TEST_F(ImageFilters, UnknownSpatialFiltersFailAfterTheTemporalOne) {
    settings().temporalFilter = TempFilter_Mean;
    for (const int32_t filter : {4, 5, -1, kMax, kMin}) {
        settings().spatialFilter = static_cast<SpatialFilter>(filter);
        distance[300] = 4.0F;
        confidence[301] = 0;
        EXPECT_EQ(apply(), 0);
        EXPECT_EQ(takeMessages(), (Messages{"Unknown spatial filter type", ""}));
        EXPECT_EQ(distance[300], 4.0F);
        EXPECT_EQ(confidence[301], 0x0201);  // the confidence follows all the same
    }
    EXPECT_EQ(state->tempMeanDist.tempNoValidPixels[300], 1.0F);  // the ring has not moved on
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
}

TEST_F(ImageFilters, TheRingMovesOnOnceAFrameAndImage) {
    settings().temporalFilter = TempFilter_Mean;
    settings().applyAmplitudeFilter = 1;
    ASSERT_EQ(apply(), 0);
    settings().applyAmplitudeFilter = 0;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 2U);
    EXPECT_EQ(state->tempMeanNormAmp.currentTempBuf, 1U);
}

TEST_F(ImageFilters, AFailedSpatialFilterKeepsTheRingWhereItIs) {
    settings().temporalFilter = TempFilter_Mean;
    settings().spatialFilter = SpatialFilter_Bilateral;
    settings().spatBilateralSettings.sigmaPixel = 0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), (Messages{"Sigma pixel must be > 0", ""}));
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
    settings().spatBilateralSettings.sigmaPixel = 1.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 1U);
}

TEST_F(ImageFilters, HostileRingsStayWithinTheirSlots) {
    settings().temporalFilter = TempFilter_Mean;
    ASSERT_EQ(apply(), 0);
    for (const uint32_t slot : {24U, 25U, 0xFFFFFFFFU}) {
        state->tempMeanDist.currentTempBuf = slot;
        EXPECT_EQ(apply(), 0);
        EXPECT_EQ(takeMessages(), slot < 25 ? Messages{} : (Messages{"", ""}));
    }
    for (const uint32_t frames : {26U, 0xFFFFFFFFU, 0U}) {
        settings().tempMeanSettings.numberOfFrames = frames;
        EXPECT_EQ(apply(), 0);
        EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
    }
}

// --- Confidence ----------------------------------------------------------------------------------

TEST_F(ImageFilters, WithoutDistanceFilterTheConfidenceIsUntouched) {
    settings().spatialFilter = SpatialFilter_Mean;
    settings().applyDistanceFilter = 0;
    settings().applyAmplitudeFilter = 1;
    confidence.assign(confidence.size(), 0x0004);
    inout.confidence = confidence.data();
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(std::count(confidence.begin(), confidence.end(), 0x0004), kPixelCount);
}

TEST_F(ImageFilters, ATemporalFilterAloneDoesNotTouchTheConfidence) {
    for (const TemporalFilter filter : {TempFilter_Mean, TempFilter_AdaptiveExponential}) {
        settings().temporalFilter = filter;
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(std::count(confidence.begin(), confidence.end(), 0), kPixelCount);
    }
}

TEST_F(ImageFilters, AFilledPixelBecomesValidAndIsMarked) {
    settings().spatialFilter = SpatialFilter_Median;
    std::fill(distance.begin(), distance.end(), 2.0F);
    pixel(distance, 60, 60) = 0.0F;
    confidenceAt(60, 60) = 0x0009;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(pixel(distance, 60, 60), 2.0F);
    EXPECT_EQ(confidenceAt(60, 60), 0x0208);
    EXPECT_EQ(confidenceAt(61, 60), 0x0000);
}

TEST_F(ImageFilters, AnIsolatedPixelBecomesInvalidAndIsMarked) {
    settings().spatialFilter = SpatialFilter_Median;
    std::fill(confidence.begin(), confidence.end(), uint16_t{0x0001});
    for (int32_t x = 60; x < 63; ++x) {  // three values: too few for a median
        pixel(distance, x, 60) = 2.0F;
        confidenceAt(x, 60) = 0x0010;
    }
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(pixel(distance, 61, 60), 0.0F);
    EXPECT_EQ(confidenceAt(61, 60), 0x0211);
    EXPECT_EQ(confidenceAt(10, 10), 0x0001);
}

TEST_F(ImageFilters, TheMarkOfAChangeIsNeverCleared) {
    settings().spatialFilter = SpatialFilter_Mean;
    std::fill(distance.begin(), distance.end(), 2.0F);
    confidenceAt(30, 30) = 0x0200;
    confidenceAt(0, 0) = 0x0201;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(confidenceAt(30, 30), 0x0200);
    EXPECT_EQ(confidenceAt(0, 0), 0x0200);
}

TEST_F(ImageFilters, TheConfidenceFollowsAFailedSpatialFilterToo) {
    settings().spatialFilter = SpatialFilter_Mean;
    settings().spatMeanSettings.maskSize = FilterMaskSize_MAX;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), (Messages{"Unsupported mask size", ""}));
    EXPECT_EQ(std::count(confidence.begin(), confidence.end(), 0x0201), kPixelCount);
}

TEST_F(ImageFilters, TheConfidenceOfEveryNumberOfPixelsIsUpdated) {
    settings().spatialFilter = SpatialFilter_Mean;
    for (int32_t width = 1; width <= 35; ++width) {
        setSize(width, 1);
        ASSERT_EQ(init(), 0);
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(std::count(confidence.begin(), confidence.end(), 0x0201), width);
    }
}

// --- Workers -------------------------------------------------------------------------------------

class ImageFilterWorkers : public ImageFilters {
 protected:
    ImageFilterWorkers() { settings().applyAmplitudeFilter = 1; }

    void fillImage(Random& random, std::vector<float>& image) const {
        fillWithRoughScene(random, image);
        if (!sceneHasHoles_) {
            std::replace(image.begin(), image.end(), 0.0F, 1.0F);
        }
    }

    /** Filters `frames` random frames anew. The distance of the last one, then its amplitude. */
    std::vector<float> filterFrames(int32_t frames) {
        EXPECT_EQ(init(), 0);
        std::fill(confidence.begin(), confidence.end(), uint16_t{0});
        Random random(161);
        for (int32_t frame = 0; frame < frames; ++frame) {
            threads_.joinAll();
            fillImage(random, distance);
            fillImage(random, normalizedAmplitude);
            EXPECT_EQ(apply(), 0);
        }
        EXPECT_EQ(takeMessages(), Messages{});
        std::vector<float> images = distance;
        images.insert(images.end(), normalizedAmplitude.begin(), normalizedAmplitude.end());
        return images;
    }

    /** Every number of workers gives what the caller's thread alone gives. */
    void expectTheSameFromEveryNumberOfWorkers(int32_t frames) {
        param.numThreads = 0;
        services = {};
        const std::vector<float> expected = filterFrames(frames);
        const std::vector<uint16_t> expectedConfidence = confidence;
        for (int32_t n = 1; n <= kMaxThreads; ++n) {
            useThreads(n);
            const std::vector<float> images = filterFrames(frames);
            EXPECT_EQ(threads_.created, 2 * n);
            EXPECT_TRUE(sameFloats(images.data(), expected.data(), images.size())) << n;
            EXPECT_TRUE(sameValues(confidence.data(), expectedConfidence.data(), confidence.size())) << n;
        }
    }

    bool sceneHasHoles_ = true;
    ThreadServices threads_;
    MutexServices mutex_;
};

TEST_F(ImageFilterWorkers, WithoutThreadsEverythingRunsOnTheCallersThread) {
    useThreads(0);
    settings().temporalFilter = TempFilter_Mean;
    settings().spatialFilter = SpatialFilter_Bilateral;
    for (const int32_t numThreads : {0, -1, kMin}) {
        param.numThreads = numThreads;
        ASSERT_EQ(init(), 0);
        ASSERT_EQ(apply(), 0);
    }
    EXPECT_EQ(threads_.created, 0);
    EXPECT_EQ(mutex_.created, 0);
    EXPECT_EQ(mutex_.locked, 0);
}

TEST_F(ImageFilterWorkers, EveryNumberOfWorkersGivesTheSameTemporalMean) {
    settings().temporalFilter = TempFilter_Mean;
    expectTheSameFromEveryNumberOfWorkers(4);
}

TEST_F(ImageFilterWorkers, EveryNumberOfWorkersGivesTheSameMean) {
    settings().spatialFilter = SpatialFilter_Mean;
    expectTheSameFromEveryNumberOfWorkers(1);
    settings().spatMeanSettings.maskSize = FilterMaskSize_5x5;
    expectTheSameFromEveryNumberOfWorkers(1);
}

TEST_F(ImageFilterWorkers, EveryNumberOfWorkersGivesTheSameBilateralFilter) {
    settings().spatialFilter = SpatialFilter_Bilateral;
    expectTheSameFromEveryNumberOfWorkers(1);
    settings().spatBilateralSettings.maskSize = FilterMaskSize_5x5;
    expectTheSameFromEveryNumberOfWorkers(1);
}

TEST_F(ImageFilterWorkers, WithoutHolesEveryNumberOfWorkersGivesTheSameMedianOf9) {
    settings().spatialFilter = SpatialFilter_Median;
    sceneHasHoles_ = false;
    expectTheSameFromEveryNumberOfWorkers(1);
}

TEST_F(ImageFilterWorkers, EveryWorkerCountsTheHolesOfItsOwnLinesForTheMedianOf9) {
    settings().spatialFilter = SpatialFilter_Median;
    settings().applyAmplitudeFilter = 0;
    Random random(163);
    SCOPED_TRACE(random.seedText());
    std::vector<float> scene(distance.size());
    fillWithRoughScene(random, scene);
    std::vector<float> undivided;
    for (int32_t n = 1; n <= kMaxThreads; ++n) {
        useThreads(n);
        threads_.joinAll();
        ASSERT_EQ(init(), 0);
        std::copy(scene.begin(), scene.end(), distance.begin());
        ASSERT_EQ(apply(), 0);
        // Which holes count as 0 and which as 1e10 begins anew with each worker's share of the lines.
        std::vector<float> expected = scene;
        const int32_t lines = kImageHeight / n;
        for (int32_t t = 0; t < n; ++t) {
            ASSERT_EQ(median3x3(scene.data(), expected.data(), kImageWidth, kImageHeight, t * lines,
                                t == n - 1 ? kImageHeight : (t + 1) * lines),
                      0);
        }
        EXPECT_TRUE(sameFloats(distance.data(), expected.data(), expected.size())) << n;
        if (n == 1) {
            undivided = expected;
        }
        // Otherwise the comparison would not show who counted the holes.
        EXPECT_EQ(sameFloats(undivided.data(), expected.data(), expected.size()), n == 1) << n;
    }
}

TEST_F(ImageFilterWorkers, EveryNumberOfWorkersGivesTheSameMedianOf25) {
    settings().spatialFilter = SpatialFilter_Median;
    settings().spatMedianSettings.maskSize = FilterMaskSize_5x5;
    expectTheSameFromEveryNumberOfWorkers(1);
}

TEST_F(ImageFilterWorkers, EveryNumberOfWorkersGivesTheSameAdaptiveFilterBehindTheFirstFrame) {
    settings().temporalFilter = TempFilter_AdaptiveExponential;
    Random random(162);
    SCOPED_TRACE(random.seedText());
    std::vector<float> first(distance.size()), second(distance.size()), expected;
    fillWithRoughScene(random, first);
    fillWithRoughScene(random, second);
    for (int32_t n = 0; n <= kMaxThreads; ++n) {
        useThreads(n);
        threads_.joinAll();
        ASSERT_EQ(init(), 0);
        // One worker makes the history, so that no other worker already filters its share in the first frame.
        param.numThreads = 0;
        std::copy(first.begin(), first.end(), distance.begin());
        ASSERT_EQ(apply(), 0);
        param.numThreads = n;
        std::copy(second.begin(), second.end(), distance.begin());
        ASSERT_EQ(apply(), 0);
        if (n == 0) {
            expected = distance;
        }
        EXPECT_TRUE(sameFloats(distance.data(), expected.data(), expected.size())) << n;
    }
}

TEST_F(ImageFilterWorkers, AnUnchangedSceneIsUnchangedInTheFirstAdaptiveFrameOfEveryNumberOfWorkers) {
    // A worker that comes late blends its pixels with themselves, which leaves powers of two as they are.
    settings().temporalFilter = TempFilter_AdaptiveExponential;
    for (int32_t n = 1; n <= kMaxThreads; ++n) {
        useThreads(n);
        threads_.joinAll();
        ASSERT_EQ(init(), 0);
        std::fill(distance.begin(), distance.end(), 2.0F);
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(std::count(distance.begin(), distance.end(), 2.0F), kPixelCount);
        EXPECT_EQ(state->tempMeanDist.needsInit, 0);
    }
}

TEST_F(ImageFilterWorkers, TheSourceImageIsCopiedUnderTheMutexByOneWorkerAnImage) {
    useThreads(4);
    ASSERT_EQ(init(), 0);
    settings().spatialFilter = SpatialFilter_Mean;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(mutex_.locked, 2 * 4);
    EXPECT_EQ(mutex_.unlocked, 2 * 4);
    EXPECT_EQ(state->copyInOutImage, 0);
}

TEST_F(ImageFilterWorkers, MoreWorkersThanLinesFailInTheSpatialFilter) {
    setSize(32, 3);
    useThreads(4);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(takeMessages().empty());
    settings().spatialFilter = SpatialFilter_Mean;
    ASSERT_EQ(apply(), 0);
    Messages expected(4, "Invalid number of lines - lower number of threads!");
    expected.emplace_back();
    EXPECT_EQ(takeMessages(), expected);
}

TEST_F(ImageFilterWorkers, MoreWorkersThanPixelsFail) {
    setSize(3, 3);
    useThreads(10);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    ASSERT_EQ(apply(), 0);
    Messages expected(10, "Invalid number of pixels - lower number of threads!");
    expected.emplace_back();
    EXPECT_EQ(takeMessages(), expected);
}

TEST_F(ImageFilterWorkers, AFailureInEveryWorkerStandsInTheHistoryAndTheCallGoesOn) {
    useThreads(3);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    settings().tempMeanSettings.numberOfFrames = 1;
    distance[7] = 3.0F;
    EXPECT_EQ(apply(), 0);
    const char* const message = "temp. mean filter numberOfFrames <= 1";
    EXPECT_EQ(takeMessages(), (Messages{message, message, message, ""}));
    EXPECT_EQ(distance[7], 3.0F);
}

TEST_F(ImageFilterWorkers, AnEarlierErrorOfTheFrameCountsAsFailureOfTheWorkers) {
    useThreads(2);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    reportError("ImageFilter", 1, "earlier");
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), (Messages{"earlier", ""}));
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 1U);
}

TEST_F(ImageFilterWorkers, AWorkerThatCannotBeStartedIsReportedAndTheStartedOnesAreJoined) {
    useThreads(4);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    threads_.createFailsAt = 2;
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), Messages{"Error creating thread"});
    EXPECT_EQ(threads_.joined, 2);
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
}

TEST_F(ImageFilterWorkers, AWorkerThatCannotBeJoinedIsReported) {
    useThreads(4);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    threads_.joinFailsAt = 1;
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), Messages{"Error joining thread"});
    threads_.joinAll();
    EXPECT_EQ(state->tempMeanDist.currentTempBuf, 0U);
}

TEST_F(ImageFilterWorkers, MissingThreadServicesAreReported) {
    useThreads(2);
    ASSERT_EQ(init(), 0);
    settings().applyAmplitudeFilter = 0;
    settings().temporalFilter = TempFilter_Mean;
    services.fctCreateThread = nullptr;
    EXPECT_EQ(apply(), 0);
    services.fctCreateThread = ThreadServices::create;
    services.fctJoinThread = nullptr;
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(takeMessages(), (Messages{"", ""}));
    EXPECT_EQ(threads_.created, 0);
}

TEST_F(ImageFilterWorkers, TheThreadEntryAlwaysReturnsNull) {
    settings().temporalFilter = static_cast<TemporalFilter>(9);
    ImageFilterApplyArgs args = {&input,
                                 distance.data(),
                                 normalizedAmplitude.data(),
                                 &state->tempMeanDist,
                                 scratch.get(),
                                 state.get(),
                                 &services,
                                 1};
    ImageFilterThreadData data = {&args, 0};
    EXPECT_EQ(Call_ApplyFilterOnImage(&data), nullptr);
    EXPECT_EQ(takeMessages(), Messages{"Unknown temporal filter type"});
    settings().temporalFilter = TempFilter_None;
    EXPECT_EQ(Call_ApplyFilterOnImage(&data), nullptr);
    EXPECT_TRUE(takeMessages().empty());
}

TEST_F(ImageFilterWorkers, TheLastOfFiveWorkersTakesTheRest) {
    // 172 lines: 34 each, 36 for the last. 38528 pixels: 7705 each, 7708 for the last.
    settings().temporalFilter = TempFilter_Mean;
    ImageFilterApplyArgs args = {&input,
                                 distance.data(),
                                 normalizedAmplitude.data(),
                                 &state->tempMeanDist,
                                 scratch.get(),
                                 state.get(),
                                 &services,
                                 5};
    for (int32_t t = 0; t < 5; ++t) {
        std::fill(distance.begin(), distance.end(), 1.0F);
        state->tempMeanDist.needsInit = 1;
        ImageFilterThreadData data = {&args, t};
        Call_ApplyFilterOnImage(&data);
        const float* const counts = state->tempMeanDist.tempNoValidPixels;
        EXPECT_EQ(std::count(counts, counts + kPixelCount, 1.0F), t < 4 ? 7705 : 7708);
        EXPECT_EQ(std::find(counts, counts + kPixelCount, 1.0F) - counts, 7705 * t);
    }
    settings().temporalFilter = TempFilter_None;
    settings().spatialFilter = SpatialFilter_Mean;
    for (int32_t t = 0; t < 5; ++t) {
        std::fill(distance.begin(), distance.end(), 2.0F);
        std::fill_n(scratch->inImage, kPixelCount, 1.0F);
        state->copyInOutImage = 0;  // another worker has copied the source
        ImageFilterThreadData data = {&args, t};
        Call_ApplyFilterOnImage(&data);
        const auto line = [&](size_t i) { return static_cast<int32_t>(i / 224); };
        for (size_t i = 0; i < distance.size(); ++i) {
            const int32_t x = static_cast<int32_t>(i % 224);
            const bool written =
                x >= 1 && x <= 222 && line(i) >= std::max(34 * t, 1) && line(i) < (t < 4 ? 34 * t + 34 : 171);
            ASSERT_EQ(distance[i] == 1.0F, written) << i;
        }
    }
}

TEST_F(ImageFilterWorkers, WithoutMutexLockAndUnlockDoNothing) {
    useThreads(0);
    ASSERT_EQ(init(), 0);
    imf_lockMutex(&services, state.get());
    imf_unlockMutex(&services, state.get());
    EXPECT_EQ(mutex_.locked, 0);
    useThreads(1);
    ASSERT_EQ(init(), 0);
    imf_lockMutex(&services, state.get());
    EXPECT_EQ(mutex_.locked, 1);
    imf_unlockMutex(&services, state.get());
    EXPECT_EQ(mutex_.unlocked, 1);
    services.fctMutexLock = nullptr;
    services.fctMutexUnlock = nullptr;
    imf_lockMutex(&services, state.get());
    imf_lockMutex(nullptr, state.get());
    imf_unlockMutex(&services, state.get());
    imf_unlockMutex(nullptr, state.get());
    EXPECT_EQ(mutex_.locked, 1);
}

}  // namespace
