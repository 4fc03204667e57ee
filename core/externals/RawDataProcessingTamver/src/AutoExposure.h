// SPDX-License-Identifier: Apache-2.0
//
// Auto exposure: from the signal level histograms of a frame to a proposal for the next exposure times.
#pragma once

#include "QorRecords.h"
#include "Ref.h"
#include "RegionOfInterest.h"

inline constexpr int32_t kMaxExposureCandidates = 500;

/** Settings for one number of exposures. */
struct SingleAlgoSettings {
    float32_t saturationCheckQuantile;       ///< share of pixels that must stay below saturation
    float32_t expTimeFactorBetweenSettings;  ///< ratio of neighbouring candidate times
    uint32_t numExpTimesBase;                ///< base times to try
};
AL_DESCRIBE(SingleAlgoSettings, saturationCheckQuantile, expTimeFactorBetweenSettings, numExpTimesBase)

struct AutoExposureInput {
    AutoExpSettings settings;
    SingleAlgoSettings specificSettings[kMaxExposures];  ///< by number of exposures - 1
    Ref<uint32_t[kHistogramBins]> histograms;            ///< one per exposure
    uint32_t numExposures;
    uint32_t expTimes[kMaxExposures];  ///< of the measured frame, the shorter first, microseconds
};
AL_DESCRIBE(AutoExposureInput, settings, specificSettings, histograms, numExposures, expTimes)

struct AutoExposureParam {
    int32_t maxExpTime;
    int32_t maxSumExpTime;
    int32_t minExpTime;
    int32_t expTimeDiscretization;
    int32_t maintainIntegerFactor;
    uint32_t score_x_kneepoints[5];  ///< signal levels
    float32_t score_slopes[5];
    uint32_t numPieces;
    float32_t hysteresis;
    int32_t imgWidth;
    int32_t imgHeight;
};
AL_DESCRIBE(AutoExposureParam, maxExpTime, maxSumExpTime, minExpTime, expTimeDiscretization,
            maintainIntegerFactor, score_x_kneepoints, score_slopes, numPieces, hysteresis, imgWidth,
            imgHeight)

struct AutoExposureState {
    AutoExpSettings settings;                                       ///< those that the list was built for
    int32_t currExposures[kMaxExposures];                           ///< times last seen
    uint32_t validExpTimes[kMaxExposureCandidates][kMaxExposures];  ///< candidates (short, long)
    uint32_t numValidExpTimes;
    float32_t score_measure;    ///< score of the frame, -1 at start
    float32_t score_predicted;  ///< best score predicted last time, -1 at start
    float32_t score_diff;
};
AL_DESCRIBE(AutoExposureState, settings, currExposures, validExpTimes, numValidExpTimes, score_measure,
            score_predicted, score_diff)

struct AutoExposureOutput {
    uint32_t newExpTimes[kMaxExposures];  ///< the proposal
    int32_t numExposures;
    int32_t autoExpReady;
    float32_t score_predicted;
    float32_t score_measured;
    float32_t score_diff;
    uint8_t roi[kPixelCount];  ///< weight of each pixel in the histograms
    int32_t roi_width;
    int32_t roi_height;
};
AL_DESCRIBE(AutoExposureOutput, newExpTimes, numExposures, autoExpReady, score_predicted, score_measured,
            score_diff, roi, roi_width, roi_height)

struct AutoExposureScratch {
    uint32_t cumHistos[kMaxExposures][kHistogramBins + 1];
    uint32_t cumMeanHistos[kMaxExposures][kHistogramBins + 1];
    RegionOfInterestScratch roiScratch;
    RegionOfInterestOutput roiOutput;
};
