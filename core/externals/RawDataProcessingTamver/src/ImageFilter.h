// SPDX-License-Identifier: Apache-2.0
//
// Image filter: temporal and spatial filters of a finished frame's distance and amplitude. Each of the two
// images may pass one filter over time, then one over its neighbourhood. In both images a pixel of 0 or -0 is
// a hole: nothing was measured there.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

struct ImageFilterInput {
    int32_t width;
    int32_t height;
    ImageFilterSettings settings;
};
AL_DESCRIBE(ImageFilterInput, width, height, settings)

struct ImageFilterOutput {
    int32_t dummy;  ///< the stage works in place
};
AL_DESCRIBE(ImageFilterOutput, dummy)

struct ImageFilterInOut {
    Ref<float32_t> amplitude;  ///< required, neither read nor written
    Ref<float32_t> normalizedAmplitude;
    Ref<float32_t> distance;
    Ref<uint16_t> confidence;
};
AL_DESCRIBE(ImageFilterInOut, amplitude, normalizedAmplitude, distance, confidence)

struct ImageFilterParam {
    int32_t numThreads;
};
AL_DESCRIBE(ImageFilterParam, numThreads)

struct ImageFilterServices {
    FctCreateThread fctCreateThread;
    FctJoinThread fctJoinThread;
    FctMutexCreate fctMutexCreate;
    FctMutexDestroy fctMutexDestroy;
    FctMutexLock fctMutexLock;
    FctMutexUnlock fctMutexUnlock;
};

/** History of one image. */
struct ImFTemporalBuffer {
    float32_t values[kMaxTemporalFrames]
                    [kPixelCount];  ///< ring of past frames; the adaptive filter uses two of them
    float32_t sum[kPixelCount];
    float32_t tempNoValidPixels[kPixelCount];  ///< number of non-zero ring entries, as a float
    uint32_t currentTempBuf;                   ///< ring slot of the current frame
    int32_t needsInit;                         ///< the history must be rebuilt before use
};

/** State of the filter; it stands outside the static block. */
struct ImageFilterState {
    ImFTemporalBuffer tempMeanDist;
    ImFTemporalBuffer tempMeanNormAmp;
    int32_t width;   ///< -1 until the first image
    int32_t height;  ///< -1 until the first image
    uint32_t lastTempMeanFrames;
    TempFilterAdaptExpSettings lastTempAdexpSettings;
    SpatialFilterBilateralSettings lastSpatBilateralSettings;
    float32_t bilatSpatialWeights[25];
    float32_t bilatGaussLUTSlope[64];
    float32_t bilatGaussLUTOffset[64];
    float32_t bilatLUTStep;
    int32_t mutexHandle;
    int32_t mutexAllocated;
    int32_t copyInOutImage;  ///< 1 until one thread has copied the image for the spatial phase
};

/** Working memory of the spatial filters. Only `inImage` is used; the rest keeps the record's layout. */
struct ImageFilterScratch {
    float32_t sorted[1376];                    ///< reserved
    float32_t inImage[kPixelCount];            ///< copy of the image that is filtered
    float32_t m5x5Columns[kMaxThreads][5][5];  ///< reserved, like those below
    float32_t m5x5Bulk10[kMaxThreads][2][10];
    float32_t m5x5Bulk20[kMaxThreads][20];
    float32_t m5x5Sorted[kMaxThreads][25];
};

/** What the workers of one image read. */
struct ImageFilterApplyArgs {
    const ImageFilterInput* input;
    float32_t* inOutImage;        ///< the image that is filtered
    float32_t* adaptImage;        ///< the other image; its change controls the adaptive filter
    ImFTemporalBuffer* tempBuf;   ///< history of the image that is filtered
    ImageFilterScratch* scratch;  ///< needed by spatial filters only
    ImageFilterState* state;
    ImageFilterServices* services;
    int32_t numThreads;  ///< 1 and up
};

/** Argument of one worker. */
struct ImageFilterThreadData {
    ImageFilterApplyArgs* applyArg;
    int32_t threadIdx;  ///< 0 up to numThreads - 1
};

// ---------------------------------------------------------------------------------------------------------------------
// The stage (ImageFilter.cpp)

/**
 * Begins a new history and frees the image size. With `numThreads` above 0 it creates the mutex
 * that the workers share, and fails if that cannot be done; otherwise no service is used. Returns
 * 0, or 1 after a reported failure.
 */
int32_t ImageFilter_Init(ImageFilterState* state, const ImageFilterParam* param,
                         ImageFilterServices* services) noexcept;

/**
 * Filters the normalized amplitude and the distance in place, as the settings ask for each of them, and
 * brings the confidence up to date with a spatially filtered distance: bit 0x0001 is set where the distance
 * is at most 1e-6 and cleared elsewhere, bit 0x0200 is set where that is a change. With `numThreads` below 1
 * everything runs on the caller's thread; otherwise that many workers, at most 10, share pixels and lines.
 *
 * The images have width x height pixels, 38528 at most; the first call fixes the size. Fails for a null
 * pointer or image, another size than before and too many threads. A filter that refuses its
 * settings reports that and leaves the image as it is; the call does not fail. Not re-entrant.
 * Returns 0, or 1 after a reported failure.
 */
int32_t ImageFilter_Apply(ImageFilterState* state, const ImageFilterInput* input, ImageFilterInOut* inout,
                          ImageFilterScratch* scratch, ImageFilterParam* param,
                          ImageFilterServices* services) noexcept;

/**
 * Destroys the mutex, if there is one. Returns 0, or 1 after a reported failure.
 * The pipeline itself does not call it.
 */
int32_t ImageFilter_Clear(ImageFilterState* state, ImageFilterServices* services) noexcept;

// The steps of ImageFilter_Apply.

/**
 * Filters the image that the workers' argument names, on `numThreads` workers or, below 1, as the first of
 * them on the caller's thread. The ring of the temporal mean then moves on to its next slot. `threadData` has
 * one entry a worker. Fails when a worker failed, or cannot be started or waited for; the ring then stays
 * where it is. Returns 0, or 1 after a reported failure.
 */
int32_t executeFiltering(int32_t numThreads, ImageFilterThreadData* threadData,
                         ImageFilterServices* services) noexcept;

/** Thread entry: `arg` is an ImageFilterThreadData. Always null; a failure is in the error history. */
void* Call_ApplyFilterOnImage(void* arg) noexcept;

/** Takes the stage's mutex. Does nothing where none was created. */
void imf_lockMutex(ImageFilterServices* services, ImageFilterState* state) noexcept;

/** Gives the stage's mutex back. Does nothing where none was created. */
void imf_unlockMutex(ImageFilterServices* services, ImageFilterState* state) noexcept;

// ---------------------------------------------------------------------------------------------------------------------
// Temporal filters (ImageFilterTemporal.cpp). Pixels `startIdx` up to but not including `endIdx`.

/**
 * Each pixel becomes the mean of its measurements in the ring of past frames, the current one included; holes
 * do not count, and a pixel that is a hole in all of them becomes 0. The current frame takes the ring's slot
 * `currentTempBuf`, which is the caller's to move on. Fails for a null pointer, fewer than 2 or more than 25
 * frames, and at a pixel with a negative number of measurements, which only a history from elsewhere can
 * have; the pixels before it then have their result. Returns 0, or 1 after a reported failure.
 */
int32_t applyTemporalMeanFilter(float32_t* inOutImage, int32_t startIdx, int32_t endIdx,
                                ImFTemporalBuffer* tempBuf, const TempFilterMeanSettings* settings) noexcept;

/**
 * Exponential smoothing. The weight of the new value grows linearly with the change of the other image,
 * `ampInOut`, since the last frame: `minSDAlpha` for a change of `minSmoothDiff`, `maxSDAlpha` for one of
 * `maxSmoothDiff`, never beyond either. A hole stays 0, and the pixel's smoothing starts anew after it.
 *
 * If the history must be rebuilt, it is made from all `numPixel` pixels of the two images; this
 * call then leaves the image as it is. Fails for a null pointer and settings out of range. Returns
 * 0, or 1 after a reported failure.
 */
int32_t applyTemporalAdExpFilter(float32_t* distInOut, float32_t* ampInOut, int32_t startIdx, int32_t endIdx,
                                 int32_t numPixel, ImageFilterServices* services, ImageFilterState* state,
                                 ImFTemporalBuffer* tempBuf,
                                 const TempFilterAdaptExpSettings* settings) noexcept;

// ---------------------------------------------------------------------------------------------------------------------
// Spatial filters (ImageFilterSpatial.cpp). They read `scratch->inImage` and write `inOutImage`, noCols x
// noRows pixels each, 38528 at most. The lines of a band are `startLine` up to but not including `endLine`,
// limited to those around which the mask fits. Pixels around which it does not fit keep their value.

/** Median of the measurements in the mask; see ImageFilterMedian.h. Returns 0, or 1 for settings or pointers
 * that were refused and reported; a failure of the median itself is not passed on. */
int32_t applySpatialMedianFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                                 int32_t endLine, ImageFilterScratch* scratch,
                                 const SpatialFilterMedianSettings* settings, int32_t threadIdx) noexcept;

/** Mean of the measurements in the mask, 0 if they are fewer than four; holes are filled. Returns 0, or 1
 * after a reported failure. */
int32_t applySpatialMeanFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                               int32_t endLine, ImageFilterScratch* scratch,
                               const SpatialFilterMeanSettings* settings) noexcept;

/**
 * Mean of the measurements in the mask, each weighted by its distance from the centre in the image
 * (`sigmaPixel`, pixels) and by its difference from the centre's value (`sigmaDistance`, in the image's
 * unit). A hole stays a hole. The tables of both weights are made anew when the settings change, under the
 * stage's mutex. A `sigmaDistance` too small for the table fails with that mutex still taken, so that no
 * other worker reads the half-made tables. Returns 0, or 1 after a reported failure.
 */
int32_t applySpatialBilateralFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                                    int32_t endLine, ImageFilterScratch* scratch, ImageFilterState* state,
                                    const SpatialFilterBilateralSettings* settings,
                                    ImageFilterServices* services) noexcept;

/**
 * Zeroes the `maskSizeHN` outermost lines and columns. Fails for a null pointer, a border that does not fit
 * twice into the image, and a width that is no multiple of 4. Returns 0, or 1 after a reported failure.
 * The pipeline itself does not call it.
 */
int32_t zeroImageBorder(float32_t* matrix, int32_t width, int32_t height, int32_t maskSizeHN) noexcept;
