// SPDX-License-Identifier: Apache-2.0
//
// Image filter: temporal and spatial filters of a finished frame's distance and amplitude.
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

struct ImageFilterScratch {
    float32_t sorted[1376];  ///< reserved
    float32_t inImage[kPixelCount];
    float32_t m5x5Columns[kMaxThreads][5][5];
    float32_t m5x5Bulk10[kMaxThreads][2][10];
    float32_t m5x5Bulk20[kMaxThreads][20];
    float32_t m5x5Sorted[kMaxThreads][25];
};
