// SPDX-License-Identifier: Apache-2.0
//
// Auto exposure: from the signal level histograms of a frame to a proposal for the next exposure times.
//
// A score function rates how useful a pixel is by its signal level. For each candidate of a list of exposure
// times (AutoExposureCandidates) the stage predicts from the histograms of the measured frame what score that
// frame would have had (AutoExposureScore). The best candidate within the saturation limit is proposed,
// unless the candidate nearest to the present times is nearly as good; then the times do not change. The
// proposal goes out with the result. The host decides whether to follow it.
#pragma once

#include "AutoExposureScore.h"
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
    uint32_t score_x_kneepoints[kMaxScorePieces];  ///< signal levels
    float32_t score_slopes[kMaxScorePieces];
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
    uint32_t cumHistos[kMaxExposures][kCumulativeBins];
    uint32_t cumMeanHistos[kMaxExposures][kCumulativeBins];
    RegionOfInterestScratch roiScratch;
    RegionOfInterestOutput roiOutput;
};

/**
 * Prepares the stage: checks `param`, sets its hysteresis and raises its discretization to at least 1,
 * empties `state`, and lets every pixel of `output->roi` count. A `maxExpTime` below `minExpTime` allows no
 * exposure: the call then succeeds without further checks and leaves `output->roi` as it is.
 *
 * 0, or 1 with a report: a null pointer, a minExpTime off the grid of the discretization, a score function
 * that is not 1 to 5 pieces with positive slopes and rising knee points up to 2048, an image of no pixels or
 * more than 38528.
 */
int32_t AutoExposure_Init(AutoExposureParam* param, AutoExposureState* state,
                          AutoExposureOutput* output) noexcept;

/**
 * Proposes exposure times for the next frame in `output->newExpTimes`: those of the measured frame where the
 * mode is off or the call fails. With one exposure a new proposal stands at index 0, and index 1 becomes 0.
 * `input->settings` are compared byte by byte with those that the list was built for; where they differ,
 * regions and candidates are built anew (see settingsChanged).
 *
 * 0, or 1 with a report: a null pointer, a number of exposures other than 1 and 2, a mode other than off and
 * normal, regions by reference point, failed settings, a second exposure that is not longer than the first,
 * a list without candidates, no candidate with a score.
 */
int32_t AutoExposure_Apply(const AutoExposureInput* input, const AutoExposureParam* param,
                           AutoExposureState* state, AutoExposureScratch* scratch,
                           AutoExposureOutput* output) noexcept;

/**
 * Takes over `input->settings`: rasters the regions into `output->roi`, where any region makes a pixel count
 * from the next frame on, and builds the list of candidates. The settings count as taken over even if the
 * call fails.
 *
 * 0, or 1 with a report: a null pointer, a number of exposures other than 1 and 2, regions that cannot be
 * rastered or hold fewer than 10 pixels, no base times, no candidate within the limits.
 */
int32_t settingsChanged(AutoExposureState* state, AutoExposureOutput* output, AutoExposureScratch* scratch,
                        const AutoExposureParam* param, const AutoExposureInput* input) noexcept;
