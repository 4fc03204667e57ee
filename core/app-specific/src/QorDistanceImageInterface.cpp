// SPDX-License-Identifier: Apache-2.0
//
// The driver: the only place that knows the order of the stages. It has three rhythms. Every image is booked
// and goes to the raw stage. A finished phase group, the four phases of every exposure at one frequency,
// becomes a distance image. A finished frame, the phase groups of all frequencies, becomes the result.
// QorDistanceImageStages.cpp says how each stage is called.
#include "QorDistanceImageInterface.h"

#include <cstdio>

#include "ALErrorHandling.h"
#include "ALUtil.h"
#include "QorData.h"
#include "QorDistanceImageKernels.h"
#include "QorDistanceImageStages.h"

extern "C" {
const alif_char_t* const g_vStr = "Qor Version AL_VERSION_MAJOR.AL_VERSION_MINOR.AL_VERSION_PATCH";
}

namespace {

using driver::Call;
using driver::kSourceFile;

int32_t g_initCalled = 0;     ///< QorDistanceImage_Init finished without error
int32_t dataInitialized = 0;  ///< the block and the error histories are set up

void initErrorHistories(QorStaticData& data) noexcept {
    dataInitialized = 1;
    QorData_Init();
    ErrorHandling_Init(&data.debug.errorHistory, ALERR_HT_PER_RUN_HISTORY, 1);
    ErrorHandling_Init(&data.debug.perFrameErrors, ALERR_HT_PER_FRAME_HISTORY, 1);
}

/** Errors can be recorded even before the first initialisation. */
QorStaticData& ensureDataInitialized() noexcept {
    QorStaticData& data = *QorData_Get();
    if (dataInitialized == 0) {
        initErrorHistories(data);
    }
    return data;
}

// ---------------------------------------------------------------------------------------------------------------------
// Checks

int32_t checkInitArguments(const QorDistanceImageIFCalib* ruvoCalib,
                           const RuvoFrequencyHoppingTable* ruvoFreqHoppingTable,
                           const QorDistanceImageIFParam* param,
                           const AlgoExtrinsicCalibration* userCalibration,
                           const QorDistanceImageServices* services,
                           const QorDistToCartesian* distToCartesian) noexcept {
    if (ruvoCalib == nullptr) {
        return reportFailure(kSourceFile, "calib struct cannot be NULL.");
    }
    if (param == nullptr) {
        return reportFailure(kSourceFile, "param struct cannot be NULL.");
    }
    if (services == nullptr) {
        return reportFailure(kSourceFile, "services cannot be NULL.");
    }
    if (ruvoFreqHoppingTable == nullptr) {
        return reportFailure(kSourceFile, "Frequency hopping table cannot be NULL.");
    }
    if (services->fctGetTime == nullptr) {
        return reportFailure(kSourceFile, "services->fctGetTime cannot be NULL.");
    }
    if (userCalibration == nullptr) {
        return reportFailure(kSourceFile, "Parameter userCalibration cannot be NULL.");
    }
    if (distToCartesian == nullptr) {
        return reportFailure(kSourceFile, "Parameter distToCartesian cannot be NULL.");
    }
    return 0;
}

int32_t checkApplyArguments(const QorRawdataPhase* ruvoRawData,
                            const QorDistanceImageCustomization* diCustomization,
                            const QorDistanceImageIFOutput* result, const AlgoMeasBuffer* measBuffer,
                            alif_uint32_t measBuffersArraySize) noexcept {
    if (g_initCalled == 0) {
        return reportFailure(kSourceFile, "Init(..) must be called successfully before Apply(..)");
    }
    if (measBuffersArraySize < kMeasBufferCount) {
        return reportFailure(kSourceFile, "Not enough measurement buffers provided");
    }
    if (measBuffer == nullptr) {
        return reportFailure(kSourceFile, "zelta array pointer cannot be null.");
    }
    if (ruvoRawData == nullptr) {
        return reportFailure(kSourceFile, "Raw data pointer cannot be null.");
    }
    if (diCustomization == nullptr) {
        return reportFailure(kSourceFile, "Customization pointer cannot be null.");
    }
    if (result == nullptr) {
        return reportFailure(kSourceFile, "Result pointer cannot be null.");
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Initialisation

int32_t initStages(QorStaticData& data, const AlgoExtrinsicCalibration& userCalibration,
                   QorDistToCartesian& distToCartesian) noexcept {
    using namespace driver;
    data.state.rawToDistActualBuffer = -1;
    data.state.frameCounter = 0;
    // The wiggling tables are built once more after the straylight correction. The repetition changes nothing
    // and is kept.
    if (initRawToDist(data) != 0 || initWiggling(data) != 0 || initStraylight(data) != 0 ||
        buildWigglingTables(data) != 0 || initSuspectPixels(data) != 0 || initAutoExposure(data) != 0 ||
        initIntensityImage(data) != 0 || initMultiFreq(data) != 0 || initImageFilter(data) != 0 ||
        initCamToWorld(data, userCalibration) != 0) {
        return 1;
    }
    distToCartesian.cameraCalibration = data.state.camToWorld.currentCalib;
    return copyUnitVectors(data, distToCartesian);
}

// ---------------------------------------------------------------------------------------------------------------------
// One image

int32_t finishPhaseGroup(Call& call) noexcept;
int32_t finishFrame(Call& call) noexcept;

/** The part of a call that concerns the image itself. */
int32_t processImage(Call& call, bool& frameFinished) noexcept {
    QorStaticData& data = call.data;
    if (driver::updateTimeMapping(data) != 0) {
        return reportFailure(kSourceFile);
    }
    driver::offerDebugChannels(call);
    call.result.width = kImageWidth;
    call.result.height = kImageHeight;
    if (driver::chooseWorkingSet(call) != 0 || driver::takeIntensityImage(call) != 0 ||
        driver::rawToDist(call) != 0) {
        return 1;
    }
    if (call.rawToDistOut().outputComplete == 0) {
        return 0;
    }
    if (finishPhaseGroup(call) != 0) {
        return 1;
    }
    if (data.output.multiFreq.outputComplete == 0) {
        data.state.lastFreqIdx = call.info().freqIdx;
        return 0;
    }
    frameFinished = true;
    return finishFrame(call);
}

/** The straylight correction works on the raw phasor; the two wiggling steps lead there and back. */
int32_t correctPhase(Call& call) noexcept {
    if (!call.correctsStraylight() && call.customization().enableNoiseEstimation == 0) {
        return 0;
    }
    if (driver::wigglingBackward(call) != 0) {
        return 1;
    }
    if (!call.correctsStraylight()) {
        return 0;
    }
    return driver::correctStraylight(call) != 0 ? 1 : driver::wigglingForward(call);
}

int32_t finishPhaseGroup(Call& call) noexcept {
    if (correctPhase(call) != 0 || driver::rawToDistRemaining(call) != 0 ||
        driver::repairSuspectPixels(call) != 0 || driver::multiFreq(call) != 0) {
        return 1;
    }
    return 0;
}

int32_t deliverFrame(Call& call) noexcept {
    QorDistanceImageState& state = call.data.state;
    DistanceImage_NarrowConfidence(call.confidence(), call.result.confidence);
    call.result.outputInvalid = 0;
    state.lastIntensityPhaseValid = 0;
    driver::offerResult(call);
    call.result.frameCounter = state.frameCounter;
    ++state.frameCounter;
    return driver::deliverExposureProposal(call);
}

int32_t finishFrame(Call& call) noexcept {
    if (driver::deliverNoiseAndIntensity(call) != 0 || driver::autoExposure(call) != 0) {
        return 1;
    }
    driver::applyVignetting(call);
    if (driver::imageFilter(call) != 0 || driver::camToWorld(call) != 0) {
        return 1;
    }
    return deliverFrame(call);
}

}  // namespace

alif_int32_t QorDistanceImage_Init(const QorDistanceImageIFCalib* ruvoCalib,
                                   const RuvoFrequencyHoppingTable* ruvoFreqHoppingTable,
                                   const QorDistanceImageIFParam* param,
                                   const AlgoExtrinsicCalibration* userCalibration,
                                   const QorDistanceImageServices* services,
                                   QorDistToCartesian* distToCartesian) noexcept {
    QorStaticData& data = *QorData_Get();
    g_initCalled = 0;
    initErrorHistories(data);
    if (checkInitArguments(ruvoCalib, ruvoFreqHoppingTable, param, userCalibration, services,
                           distToCartesian) != 0) {
        return 1;
    }
    data.ifCalib = *ruvoCalib;
    data.ifInput.param = *param;
    data.ifInput.freqHoppingTable = *ruvoFreqHoppingTable;
    data.services.ifServices = *services;
    Timestamp_t startTime = 0;
    al_initProfiling(&startTime, services->fctGetTime);  // hosts may count the readings of their clock
    if (initStages(data, *userCalibration, *distToCartesian) != 0) {
        return 1;
    }
    g_initCalled = 1;
    return 0;
}

alif_int32_t QorDistanceImage_Apply(const QorRawdataPhase* ruvoRawData,
                                    const QorDistanceImageCustomization* diCustomization,
                                    QorDistanceImageIFOutput* result, AlgoMeasBuffer* measBuffer,
                                    alif_uint32_t measBuffersArraySize) noexcept {
    QorStaticData& data = ensureDataInitialized();
    if (checkApplyArguments(ruvoRawData, diCustomization, result, measBuffer, measBuffersArraySize) != 0) {
        return 1;
    }
    Call call = {.data = data,
                 .rawData = *ruvoRawData,
                 .result = *result,
                 .measBuffers = measBuffer,
                 .measBufferCount = measBuffersArraySize,
                 .nextMeasBuffer = 0,
                 .startTime = 0,
                 .current = 0};
    al_initProfiling(&call.startTime, data.services.ifServices.fctGetTime);
    const Timestamp_t saveStartTime = call.startTime;
    ErrorHandling_Init(&data.debug.perFrameErrors, ALERR_HT_PER_FRAME_HISTORY, 1);
    data.ifInput.customization = *diCustomization;
    data.ifInput.phaseInfo = ruvoRawData->info;
    result->outputInvalid = 1;
    result->coord3Dinvalid = 1;
    result->intensityInvalid = 1;
    result->distanceNoiseInvalid = 1;
    result->timestamp = ruvoRawData->info.timestamp;
    QorDistanceImage_QueryVersion(&data.debug.algoVersion);

    bool frameFinished = false;
    if (processImage(call, frameFinished) != 0) {
        return 1;
    }
    driver::bookTotals(call, saveStartTime, frameFinished);
    return 0;
}

alif_int32_t QorDistanceImage_GetErrorString(alif_char_t* errorString, alif_int32_t strArraySize) noexcept {
    const QorStaticData& data = ensureDataInitialized();
    if (errorString == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (strArraySize < 1) {
        return reportFailure(kSourceFile);
    }
    errorString[0] = 0;
    if (data.debug.perFrameErrors.numValidEntries > 0) {
        const ALErrorDescription& first = data.debug.perFrameErrors.entries[0];
        std::snprintf(errorString, static_cast<size_t>(strArraySize), "%s(%d): %s", first.file, first.line,
                      first.errorMsg);
    }
    return 0;
}

alif_int32_t QorDistanceImage_QueryVersion(AlgoVersion* version) noexcept {
    if (version == nullptr) {
        return reportFailure(kSourceFile);
    }
    version->major = 0;
    version->minor = 3;
    version->patch = 6;
    return 0;
}
