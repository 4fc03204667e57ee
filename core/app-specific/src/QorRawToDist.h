// SPDX-License-Identifier: Apache-2.0
//
// Raw stage: collects the four phase images of an exposure, merges two exposures, and computes phase,
// amplitude and the first confidence bits of every pixel. Its distance image holds phases in radians.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

struct QorRawToDistInput {
    Ref<const QorRawdataPhase> rawData;  ///< the image of this call
    float32_t minAmp;                    ///< raw counts
    float32_t maxSymmetry;               ///< largest ratio of S to the amplitude
    int32_t auto_exposure_output;        ///< non-zero: fill the histograms
    Ref<const uint8_t> autoExpRoi;       ///< weight per pixel
    Ref<const uint16_t> intensity;       ///< intensity image or null
    uint32_t intensityExposure;          ///< its exposure time
    uint8_t compensateAmbientLightDrift;
};
AL_DESCRIBE(QorRawToDistInput, rawData, minAmp, maxSymmetry, auto_exposure_output, autoExpRoi, intensity,
            intensityExposure, compensateAmbientLightDrift)

struct QorRawToDistOutput {
    Ref<float32_t> distance;             ///< phase, 0 to 2 pi
    Ref<float32_t> normalizedAmplitude;  ///< amplitude per unit of exposure
    Ref<uint16_t> confidence;
    int32_t outputComplete;                    ///< 1 after the last exposure of a frequency
    Ref<uint32_t[kHistogramBins]> histograms;  ///< signal levels, one histogram per exposure
    int32_t expTimes[kMaxExposures];
    float32_t ampNormFactors[kMaxExposures];
    uint32_t numExpTimes;
};
AL_DESCRIBE(QorRawToDistOutput, distance, normalizedAmplitude, confidence, outputComplete, histograms,
            expTimes, ampNormFactors, numExpTimes)

struct QorRawToDistParam {
    int32_t numExposures;  ///< 1 or 2
};
AL_DESCRIBE(QorRawToDistParam, numExposures)

struct QorRawToDistScratch {
    int dummy;
};

struct QorRawToDistInOut {
    int dummy;
};
AL_DESCRIBE(QorRawToDistInOut, dummy)

struct QorRawToDistState {
    int32_t currentExposureIdx;   ///< 0 before the first, 1 before the second exposure
    int32_t lastExposureTime;     ///< of the first exposure
    float32_t lastAmpNormFactor;  ///< of the first exposure
    int32_t currentRawIdx;        ///< phases collected, 0 to 4
    Ref<const QorRawdataPhase> rawPhases[kPhasesPerExposure];  ///< 0, 90, 180, 270 degrees
    int16_t X[kMaxExposures][kPixelCount];  ///< in-phase, raw counts; index 0 the first, 1 the last exposure
    int16_t Y[kMaxExposures][kPixelCount];  ///< quadrature, raw counts
    int16_t S[kMaxExposures][kPixelCount];  ///< symmetry, near 0 for four consistent samples
    uint16_t confidence[kMaxExposures][kPixelCount];
    float32_t invExpTimes[kPixelCount];  ///< reciprocal of the exposure that the pixel comes from
};
AL_DESCRIBE(QorRawToDistState, currentExposureIdx, lastExposureTime, lastAmpNormFactor, currentRawIdx,
            rawPhases, X, Y, S, confidence, invExpTimes)

/** Starts with the first exposure and no phase collected. Null arguments fail. */
int32_t QorRawToDist_Init(QorRawToDistState* state, const QorRawToDistCalib* calib) noexcept;

/**
 * Takes one raw image. After the fourth phase of the last exposure the output images are written and
 * `output->outputComplete` is 1. The raw image's record and data must stay unchanged until the fourth phase
 * of its group has been taken. Fails, with a report, on null arguments, on images that do not belong
 * together, on falling exposure times, on a frequency slot that does not exist, and on missing inputs of
 * histograms or drift compensation.
 */
int32_t QorRawToDist_Apply(QorRawToDistState* state, const QorRawToDistParam* param,
                           const QorRawToDistCalib* calib, const QorRawToDistInput* input,
                           QorRawToDistOutput* output) noexcept;
