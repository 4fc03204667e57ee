// SPDX-License-Identifier: Apache-2.0
//
// The static block in which the whole pipeline lives: settings, calibration, state, inputs and outputs of
// every stage. Stages receive pointers into it. `ifInput`, `state`, `input`, `output`, `debug` and
// `profiling` leave the process as debug channels, so their layout is a wire format.
#pragma once

#include "ALErrorHandling.h"
#include "ALUtil.h"
#include "AutoExposure.h"
#include "CamToWorldTamver.h"
#include "Distnoise.h"
#include "ImageFilter.h"
#include "IntensityImage.h"
#include "MultiFreq.h"
#include "QorRawToDist.h"
#include "QorRecords.h"
#include "StraylightCorrection.h"
#include "SuspectPixelTreatment.h"
#include "Wiggling.h"

/** Working set of one phase group. */
struct QorMatrices {
    float32_t distance[kPixelCount];   ///< phase, then metres
    uint16_t confidence[kPixelCount];  ///< all sixteen bits
    float32_t xyReal[kPixelCount];
    float32_t xyImag[kPixelCount];
    float32_t phaseAfterSLC[kPixelCount];  ///< after straylight correction
    float32_t amplAfterSLC[kPixelCount];   ///< after straylight correction
};
AL_DESCRIBE(QorMatrices, distance, confidence, xyReal, xyImag, phaseAfterSLC, amplAfterSLC)

struct QorDistanceImageProfiling {
    ALProfilingItem total_frame;  ///< all calls of a frame
    ALProfilingItem total;        ///< one call
    ALProfilingItem rawToDist;
    ALProfilingItem wigglingBackward;
    ALProfilingItem straylight;
    ALProfilingItem wigglingForward;
    ALProfilingItem rawToDistRemaining;
    ALProfilingItem suspectPT;
    ALProfilingItem multiFreq;
    ALProfilingItem camToWorld;
    ALProfilingItem imageFilter;
    ALProfilingItem autoExposure;
    ALProfilingItem distNoise;
};
AL_DESCRIBE(QorDistanceImageProfiling, total_frame, total, rawToDist, wigglingBackward, straylight,
            wigglingForward, rawToDistRemaining, suspectPT, multiFreq, camToWorld, imageFilter, autoExposure,
            distNoise)

struct QorDistanceImageCalib {
    MultiFreqCalib multiFreq;
    CamToWorldCalib camToWorld;
    SuspectPixelTreatmentCalib suspectPT;
    WigglingCalib wiggling;
    ALSLC_Calib straylight;
};
AL_DESCRIBE(QorDistanceImageCalib, multiFreq, camToWorld, suspectPT, wiggling, straylight)

struct QorDistanceImageState {
    int32_t rawToDistActualBuffer;  ///< which of `matrices` is being filled, -1 before the first image
    uint32_t frameCounter;          ///< finished frames
    uint8_t lastUVChangeCounter;    ///< of the unit vectors last copied to a result
    QorMatrices matrices[2];        ///< the current and the previous phase group
    uint32_t histograms[kMaxExposures][kHistogramBins];
    uint32_t lastIntensityPhaseExpTime;
    uint8_t lastIntensityPhaseValid;  ///< an intensity image arrived since the last finished frame
    ALProfilingItem total_frame_profiling;
    QorRawToDistOutput rawToDistOut[2];  ///< one for each of `matrices`
    QorRawToDistState rawToDistState;
    MultiFreqState multiFreq;
    CamToWorldState camToWorld;
    SuspectPixelTreatmentState suspectPT;
    AutoExposureState autoExpState;
    WigglingState wigglingState;
    ALSLC_State slcState;
    IntensityImgState intImg;
    int32_t lastFreqIdx;  ///< frequency of the phase group before the one that completes the frame
};
AL_DESCRIBE(QorDistanceImageState, rawToDistActualBuffer, frameCounter, lastUVChangeCounter, matrices,
            histograms, lastIntensityPhaseExpTime, lastIntensityPhaseValid, total_frame_profiling,
            rawToDistOut, rawToDistState, multiFreq, camToWorld, suspectPT, autoExpState, wigglingState,
            slcState, intImg, lastFreqIdx)

struct QorDistanceImageOutput {
    ImageFilterOutput imageFilter;
    CamToWorldOutput camToWorld;
    MultiFreqOutput multiFreq;
    AutoExposureOutput autoExpOutput;
    DistnoiseOutput distNoise;
    IntensityImgOutput intImg;
};
AL_DESCRIBE(QorDistanceImageOutput, imageFilter, camToWorld, multiFreq, autoExpOutput, distNoise, intImg)

struct QorDistanceImageParam {
    QorRawToDistParam rawToDist;
    MultiFreqParam multiFreq;
    ImageFilterParam imageFilter;
    CamToWorldParam camToWorld;
    AutoExposureParam autoExpParam;
};
AL_DESCRIBE(QorDistanceImageParam, rawToDist, multiFreq, imageFilter, camToWorld, autoExpParam)

/** The stages run one after the other and share one scratch area;
 * nothing in it outlives a stage. */
union QorDistanceImageScratch {
    QorRawToDistScratch rawToDist;
    ImageFilterScratch imageFilter;
    MultiFreqScratch multiFreq;
    AutoExposureScratch autoExpScratch;
    ALSLC_Scratch slcScratch;
    WigglingScratch wiggling;
};

struct QorDistanceImageInput {
    QorRawToDistInput rawToDist;
    ImageFilterInput imageFilter;
    MultiFreqInput multiFreq;
    CamToWorldInput camToWorld;
    SuspectPixelTreatmentInput suspectPT;
    AutoExposureInput autoExpInput;
    WigglingBackwardInput wigglingBackward;
    WigglingForwardInput wigglingForward;
    DistnoiseInput distNoise;
    IntensityImgInput intImg;
};
AL_DESCRIBE(QorDistanceImageInput, rawToDist, imageFilter, multiFreq, camToWorld, suspectPT, autoExpInput,
            wigglingBackward, wigglingForward, distNoise, intImg)

struct QorDistanceImageInOut {
    QorRawToDistInOut rawToDist;
    CamToWorldInOut camToWorld;
    ImageFilterInOut imageFilter;
    SuspectPixelTreatmentInOut suspectPT;
    WigglingBackwardInout wigglingBackward;
    ALSLC_Inout slc;
    WigglingForwardInout wigglingForward;
    DistnoiseInOut distNoise;
};
AL_DESCRIBE(QorDistanceImageInOut, rawToDist, camToWorld, imageFilter, suspectPT, wigglingBackward, slc,
            wigglingForward, distNoise)

struct QorDistanceImageDebug {
    ALErrorHistory perFrameErrors;
    ALErrorHistory errorHistory;
    AlgoVersion algoVersion;
    alif_uint32_t monotonicTimestamp;  ///< the two clocks read together
    AlgoSystemTime systemTime;
};
AL_DESCRIBE(QorDistanceImageDebug, perFrameErrors, errorHistory, algoVersion, monotonicTimestamp, systemTime)

struct QorServicesIntern {
    QorDistanceImageServices ifServices;
    ImageFilterServices imageFilter;
    CamToWorldServices camToWorld;
    MultiFreqServices multiFreq;
};

/** The one block. It is zero when the program starts. Each initialisation overwrites what it sets and leaves
 * the rest as it is. */
struct QorStaticData {
    QorDistanceImageProfiling profiling;
    QorDistanceImageCalib calib;
    QorDistanceImageState state;
    QorDistanceImageOutput output;
    QorDistanceImageParam param;
    QorDistanceImageScratch scratch;
    QorDistanceImageInput input;
    QorDistanceImageInOut inout;
    QorDistanceImageDebug debug;
    QorDistanceImageIFInput ifInput;  ///< copy of the last call's input
    QorDistanceImageIFCalib ifCalib;  ///< copy of the calibration
    QorServicesIntern services;
};

/** State of the image filter. It keeps up to 25 past frames of two images and lies outside the block. */
extern ImageFilterState g_imageFilterState;

/** The address of the block. */
QorStaticData* QorData_Get() noexcept;

/** Does nothing: the block is zero from program start, and no member is reset. */
void QorData_Init() noexcept;
