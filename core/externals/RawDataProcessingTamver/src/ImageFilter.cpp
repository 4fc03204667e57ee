// SPDX-License-Identifier: Apache-2.0
//
// The frame around the filters: what is filtered, on which worker, and how the confidence changes.
#include "ImageFilter.h"

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "ImageFilterSpatialKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/ImageFilter";

/** The first image fixes the size; later images must have the same. */
int32_t checkSize(ImageFilterState& state, int32_t width, int32_t height) noexcept {
    const bool isFirstImage = state.height == -1;
    if (!isFirstImage && height != state.height) {
        return reportFailure(kSourceFile, "Matrix height cannot change between apply calls (need re-init)!");
    }
    if (!isFirstImage && width != state.width) {
        return reportFailure(kSourceFile, "Matrix width cannot change between apply calls (need re-init)!");
    }
    if (int64_t{width} * height > kPixelCount) {
        return reportFailure(kSourceFile);  // the history has no room for them
    }
    state.height = height;
    state.width = width;
    return 0;
}

/** Asks for a new history where the settings make the old one useless. */
void detectChanges(ImageFilterState& state, const ImageFilterSettings& settings) noexcept {
    bool historyIsVoid = settings.temporalFilter == TempFilter_None;
    const uint32_t numberOfFrames = settings.tempMeanSettings.numberOfFrames;
    if (settings.temporalFilter == TempFilter_Mean && numberOfFrames != state.lastTempMeanFrames) {
        historyIsVoid = true;
        state.lastTempMeanFrames = numberOfFrames;
    }
    const bool sameAdexpSettings = al_memcmp(&settings.tempAdexpSettings, &state.lastTempAdexpSettings,
                                             sizeof(TempFilterAdaptExpSettings)) == 1;
    if (!sameAdexpSettings) {
        historyIsVoid = true;
        state.lastTempAdexpSettings = settings.tempAdexpSettings;
    }
    if (historyIsVoid) {
        state.tempMeanDist.needsInit = 1;
        state.tempMeanNormAmp.needsInit = 1;
    }
}

// --- A worker ------------------------------------------------------------------------------------

/** A worker's share of pixels or lines. */
struct Share {
    int32_t each;   ///< the share of every worker but the last
    int32_t begin;  ///< first of this worker
    int32_t end;    ///< one after its last; the last worker takes the rest
};

Share shareOf(int32_t total, int32_t threadIdx, int32_t numThreads) noexcept {
    const int32_t each = al_truncate(static_cast<float32_t>(total) / static_cast<float32_t>(numThreads));
    const int32_t begin = threadIdx * each;
    return {.each = each, .begin = begin, .end = threadIdx == numThreads - 1 ? total : begin + each};
}

int32_t applyTemporalMean(const ImageFilterApplyArgs& args, const Share& pixels) noexcept {
    imf_lockMutex(args.services, args.state);
    if (args.tempBuf->needsInit != 0) {
        al_mem_zero(args.tempBuf, sizeof *args.tempBuf);
    }
    imf_unlockMutex(args.services, args.state);
    return applyTemporalMeanFilter(args.inOutImage, pixels.begin, pixels.end, args.tempBuf,
                                   &args.input->settings.tempMeanSettings);
}

int32_t applyTemporalFilter(const ImageFilterApplyArgs& args, const Share& pixels) noexcept {
    const ImageFilterSettings& settings = args.input->settings;
    switch (settings.temporalFilter) {
        case TempFilter_None:
            return 0;
        case TempFilter_Mean:
            return applyTemporalMean(args, pixels);
        case TempFilter_AdaptiveExponential:
            return applyTemporalAdExpFilter(args.inOutImage, args.adaptImage, pixels.begin, pixels.end,
                                            args.input->width * args.input->height, args.services, args.state,
                                            args.tempBuf, &settings.tempAdexpSettings);
        default:
            return reportFailure(kSourceFile, "Unknown temporal filter type");
    }
}

/** The first worker that arrives copies the image that all workers' spatial filters read. */
int32_t copySourceImage(const ImageFilterApplyArgs& args) noexcept {
    imf_lockMutex(args.services, args.state);
    int32_t failed = 0;
    if (args.state->copyInOutImage != 0) {
        const int32_t pixelCount = args.input->width * args.input->height;
        failed = al_memcpy(args.scratch->inImage, args.inOutImage,
                           pixelCount * static_cast<int32_t>(sizeof(float32_t)));
        args.state->copyInOutImage = 0;
    }
    imf_unlockMutex(args.services, args.state);
    return failed == 0 ? 0 : reportFailure(kSourceFile);
}

int32_t applySpatialFilter(const ImageFilterApplyArgs& args, const Share& lines, int32_t threadIdx) noexcept {
    const ImageFilterInput& input = *args.input;
    const ImageFilterSettings& settings = input.settings;
    switch (settings.spatialFilter) {
        case SpatialFilter_Median:
            return applySpatialMedianFilter(args.inOutImage, input.width, input.height, lines.begin,
                                            lines.end, args.scratch, &settings.spatMedianSettings, threadIdx);
        case SpatialFilter_Mean:
            return applySpatialMeanFilter(args.inOutImage, input.width, input.height, lines.begin, lines.end,
                                          args.scratch, &settings.spatMeanSettings);
        case SpatialFilter_Bilateral:
            return applySpatialBilateralFilter(args.inOutImage, input.width, input.height, lines.begin,
                                               lines.end, args.scratch, args.state,
                                               &settings.spatBilateralSettings, args.services);
        default:
            return reportFailure(kSourceFile, "Unknown spatial filter type");
    }
}

/**
 * One worker's share of the image: its pixels over time, then its lines in space. No worker waits
 * for the others in between. So the worker that copies the source image may copy pixels that a
 * slower worker has not filtered yet.
 */
int32_t applyFilterOnImageMultiThread(const ImageFilterThreadData& threadData) noexcept {
    const ImageFilterApplyArgs& args = *threadData.applyArg;
    const int32_t threadIdx = threadData.threadIdx;
    const Share pixels = shareOf(args.input->width * args.input->height, threadIdx, args.numThreads);
    if (pixels.each < 1) {
        return reportFailure(kSourceFile, "Invalid number of pixels - lower number of threads!");
    }
    if (applyTemporalFilter(args, pixels) != 0) {
        return 1;
    }
    if (args.input->settings.spatialFilter == SpatialFilter_None) {
        return 0;
    }
    const Share lines = shareOf(args.input->height, threadIdx, args.numThreads);
    if (lines.each < 1) {
        return reportFailure(kSourceFile, "Invalid number of lines - lower number of threads!");
    }
    if (args.scratch == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (copySourceImage(args) != 0) {
        return 1;
    }
    return applySpatialFilter(args, lines, threadIdx);
}

/** Starts the workers and waits for all that were started. */
int32_t runOnThreads(int32_t numThreads, ImageFilterThreadData* threadData,
                     const ImageFilterServices* services) noexcept {
    if (numThreads > kMaxThreads || services == nullptr || services->fctCreateThread == nullptr ||
        services->fctJoinThread == nullptr) {
        return reportFailure(kSourceFile);
    }
    int32_t threadHandles[kMaxThreads] = {};
    int32_t started = 0;
    while (started < numThreads && services->fctCreateThread(Call_ApplyFilterOnImage, &threadData[started],
                                                             &threadHandles[started]) == 0) {
        ++started;
    }
    bool joined = true;
    for (int32_t t = 0; t < started; ++t) {
        joined = services->fctJoinThread(threadHandles[t]) == 0 && joined;
    }
    if (started < numThreads) {
        return reportFailure(kSourceFile, "Error creating thread");
    }
    if (!joined) {
        return reportFailure(kSourceFile, "Error joining thread");
    }
    return ErrorHandling_PerFrameErrorOccured() == 0 ? 0 : reportFailure(kSourceFile);
}

int32_t checkApplyArguments(const ImageFilterState* state, const ImageFilterInput* input,
                            const ImageFilterInOut* inout, const ImageFilterParam* param,
                            const ImageFilterServices* services) noexcept {
    if (state == nullptr) {
        return reportFailure(kSourceFile, "State pointer is NULL");
    }
    if (input == nullptr) {
        return reportFailure(kSourceFile, "Input pointer is NULL");
    }
    if (inout == nullptr) {
        return reportFailure(kSourceFile, "InOut pointer is NULL");
    }
    if (services == nullptr) {
        return reportFailure(kSourceFile, "Service pointer is NULL");
    }
    if (input->height < 1) {
        return reportFailure(kSourceFile, "height must be > 0");
    }
    if (input->width < 1) {
        return reportFailure(kSourceFile, "width must be > 0");
    }
    if (inout->distance == nullptr) {
        return reportFailure(kSourceFile, "distance pointer is NULL");
    }
    if (inout->amplitude == nullptr) {
        return reportFailure(kSourceFile, "amplitude pointer is NULL");
    }
    if (inout->normalizedAmplitude == nullptr) {
        return reportFailure(kSourceFile, "normalized amplitude pointer is NULL");
    }
    if (inout->confidence == nullptr) {
        return reportFailure(kSourceFile, "confidence pointer is NULL");
    }
    if (param == nullptr) {
        return reportFailure(kSourceFile);
    }
    return 0;
}

/** Neither filter is chosen. */
bool isIdle(const ImageFilterSettings& settings) noexcept {
    return settings.spatialFilter == SpatialFilter_None && settings.temporalFilter == TempFilter_None;
}

}  // namespace

int32_t ImageFilter_Init(ImageFilterState* state, const ImageFilterParam* param,
                         ImageFilterServices* services) noexcept {
    if (state == nullptr) {
        return reportFailure(kSourceFile, "State pointer is NULL");
    }
    if (services == nullptr || param == nullptr) {
        return reportFailure(kSourceFile);
    }
    const bool needsMutex = param->numThreads > 0;
    if (needsMutex && services->fctMutexCreate == nullptr) {
        return reportFailure(kSourceFile);
    }
    state->tempMeanDist.needsInit = 1;
    state->tempMeanNormAmp.needsInit = 1;
    state->width = -1;
    state->height = -1;
    state->lastTempMeanFrames = 0;
    state->lastTempAdexpSettings = {};
    state->lastSpatBilateralSettings = {};
    state->mutexAllocated = 0;
    if (needsMutex) {
        if (services->fctMutexCreate(&state->mutexHandle) != 0) {
            return reportFailure(kSourceFile);
        }
        state->mutexAllocated = 1;
    }
    return 0;
}

int32_t ImageFilter_Apply(ImageFilterState* state, const ImageFilterInput* input, ImageFilterInOut* inout,
                          ImageFilterScratch* scratch, ImageFilterParam* param,
                          ImageFilterServices* services) noexcept {
    if (checkApplyArguments(state, input, inout, param, services) != 0 ||
        checkSize(*state, input->width, input->height) != 0) {
        return 1;
    }
    const ImageFilterSettings& settings = input->settings;
    detectChanges(*state, settings);
    if (param->numThreads > kMaxThreads) {
        return reportFailure(kSourceFile, "Number of threads exceeds maximum");
    }

    static ImageFilterApplyArgs applyArgs;
    static ImageFilterThreadData threadData[kMaxThreads];
    applyArgs.input = input;
    applyArgs.scratch = scratch;
    applyArgs.state = state;
    applyArgs.services = services;
    applyArgs.numThreads = al_maxi(param->numThreads, 1);
    for (int32_t t = 0; t < kMaxThreads; ++t) {
        threadData[t] = {&applyArgs, t};
    }

    // A failure in here goes to the error history; the frame continues without that filter.
    const auto filterImage = [&](int32_t wanted, float32_t* image, float32_t* other,
                                 ImFTemporalBuffer& history) {
        if (wanted == 0 || isIdle(settings)) {
            history.needsInit = 1;
            return;
        }
        applyArgs.inOutImage = image;
        applyArgs.adaptImage = other;
        applyArgs.tempBuf = &history;
        executeFiltering(param->numThreads, threadData, services);
    };
    float32_t* const distance = inout->distance;
    float32_t* const normalizedAmplitude = inout->normalizedAmplitude;
    filterImage(settings.applyAmplitudeFilter, normalizedAmplitude, distance, state->tempMeanNormAmp);
    filterImage(settings.applyDistanceFilter, distance, normalizedAmplitude, state->tempMeanDist);
    if (settings.applyDistanceFilter != 0 && settings.spatialFilter != SpatialFilter_None) {
        ImageFilter_UpdateConfidence(distance, inout->confidence, input->width * input->height);
    }
    return 0;
}

int32_t ImageFilter_Clear(ImageFilterState* state, ImageFilterServices* services) noexcept {
    if (state == nullptr) {
        return reportFailure(kSourceFile, "State pointer is NULL");
    }
    if (state->mutexAllocated == 0) {
        return 0;
    }
    if (services == nullptr || services->fctMutexDestroy == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (services->fctMutexDestroy(state->mutexHandle) != 0) {
        return reportFailure(kSourceFile, "Mutex destruction failed");
    }
    state->mutexAllocated = 0;
    return 0;
}

int32_t executeFiltering(int32_t numThreads, ImageFilterThreadData* threadData,
                         ImageFilterServices* services) noexcept {
    const ImageFilterApplyArgs& args = *threadData[0].applyArg;
    args.state->copyInOutImage = 1;
    if (numThreads < 1) {
        if (applyFilterOnImageMultiThread(threadData[0]) != 0) {
            return reportFailure(kSourceFile);
        }
    } else if (runOnThreads(numThreads, threadData, services) != 0) {
        return 1;
    }
    if (args.input->settings.temporalFilter == TempFilter_Mean) {
        uint32_t& slot = args.tempBuf->currentTempBuf;
        ++slot;
        if (slot >= args.input->settings.tempMeanSettings.numberOfFrames) {
            slot = 0;
        }
    }
    return 0;
}

void* Call_ApplyFilterOnImage(void* arg) noexcept {
    applyFilterOnImageMultiThread(*static_cast<const ImageFilterThreadData*>(arg));
    return nullptr;
}

void imf_lockMutex(ImageFilterServices* services, ImageFilterState* state) noexcept {
    if (state->mutexAllocated != 0 && services != nullptr && services->fctMutexLock != nullptr) {
        services->fctMutexLock(state->mutexHandle);
    }
}

void imf_unlockMutex(ImageFilterServices* services, ImageFilterState* state) noexcept {
    if (state->mutexAllocated != 0 && services != nullptr && services->fctMutexUnlock != nullptr) {
        services->fctMutexUnlock(state->mutexHandle);
    }
}
