// SPDX-License-Identifier: Apache-2.0
#include "AlgoDistanceImage.h"

#include <cstring>
#include <type_traits>

#include "ALUtil.h"
#include "PacketZelta.h"
#include "QorDICalibInterpreter.h"
#include "QorDescriptors.h"
#include "QorDistanceImageInterface.h"
#include "UtilCommon.h"

namespace {

constexpr int kCalibrationBuffers = static_cast<int>(DICI_Qor::kMeasBuffers);

std::string pipelineError() {
    alif_char_t text[200] = {};
    QorDistanceImage_GetErrorString(text, sizeof text);
    return text;
}

template <class Record>
void zero(Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    std::memset(&record, 0, sizeof record);
}

/** Replaces exposure limits that the sender left open or out of range. */
void completeParameters(QorDistanceImageIFParam& param) {
    if (param.maxExposureTime == 0) {
        param.maxExposureTime = 1000;
    }
    if (param.maxSumExposureTime == 0) {
        param.maxSumExposureTime = param.maxExposureTime;
    }
    if (param.maxSumExposureTime > 30000) {
        param.maxSumExposureTime = 2000;
    }
}

}  // namespace

AlgoDistanceImage::AlgoDistanceImage()
    : TamAlgoSimInterface(kCalibrationBuffers + kMeasBufferCount, "Qor Distance Image") {
    // An initialiser would leave the padding as it was, and the padding leaves the process with the result.
    zero(m_DistanceImageInput);
    zero(m_DistanceImageCalib);
    zero(m_DistanceImageCustom);
    zero(m_DICIaux);
    zero(m_QorRawData);
    zero(m_DIResult);
    zero(m_lastParams);
    for (int i = 0; i < kRawImages; ++i) {
        m_QorRawPhases[i].phaseData = m_QorRawData[i].phaseData;
    }
    m_pilChannels = {channel::kInput, channel::kResult, channel::kProfiling, channel::kDebug};
    m_pilOnceChannels = {channel::kCalibration};
}

void AlgoDistanceImage::getAlgoVersion(AlgoVersion& version) {
    QorDistanceImage_QueryVersion(&version);
}

void AlgoDistanceImage::interpretCalibration() {
    if (DICI_Qor::CalibInterpreter_Apply(m_receivedChunks, m_DistanceImageCalib, m_DICIaux,
                                         m_measBuffers.get(), DICI_Qor::kMeasBuffers) != 0) {
        throw AlgoException(DICI_Qor::GetLastErrorString());
    }
    m_CalibrationInterpreted = true;
}

bool AlgoDistanceImage::collectRawdata(const Packet& chunks) {
    try {
        QorRawPhaseData& slot = m_QorRawData[m_phaseCounter];
        PacketAssign(chunks, channel::kRawData, zeltaGet_QorRawPhaseData, "QorRawPhaseData", &slot,
                     sizeof slot, "QorRawPhaseData", false);
    } catch (const std::runtime_error&) {
        return false;
    }
    return true;
}

void AlgoDistanceImage::assignInput() {
    PacketAssign(m_receivedChunks, channel::kInput, zeltaGet_QorDistanceImageIFInput,
                 "QorDistanceImageIFInput", &m_DistanceImageInput, sizeof m_DistanceImageInput,
                 "QorDistanceImageIFInput", false);
    m_haveDIIFInput = true;
    completeParameters(m_DistanceImageInput.param);
    if (al_memcmp(&m_DistanceImageInput.param, &m_lastParams, sizeof m_lastParams) == 0) {
        m_AlgoInitialized = false;
        m_lastParams = m_DistanceImageInput.param;
    }
}

void AlgoDistanceImage::assignReceivedChunks(bool fromCustomPin) {
    if (fromCustomPin) {
        PacketAssign(m_receivedChunks, channel::kCustomization, zeltaGet_QorDistanceImageCustomization,
                     "QorDistanceImageCustomization", &m_DistanceImageCustom, sizeof m_DistanceImageCustom,
                     "QorDistanceImageCustomization", false);
        m_prioCustom = true;
    }
    if (!m_CalibrationInterpreted && receivedChunksContain(channel::kCalibration)) {
        interpretCalibration();
    }
    if (collectRawdata(m_receivedChunks) && receivedChunksContain(channel::kInput)) {
        m_haveRawData = true;
    }
    if (receivedChunksContain(channel::kInput)) {
        try {
            assignInput();
        } catch (...) {
            // What came before the fault is kept; the flags and the check of the parameters wait for the next
            // good record.
        }
    }
    if (m_prioCustom) {
        m_DistanceImageInput.customization = m_DistanceImageCustom;
    }
}

bool AlgoDistanceImage::initialise() {
    if (!m_haveDIIFInput || m_DistanceImageInput.phaseInfo.sequenceCounter != 0 ||
        !m_CalibrationInterpreted) {
        return false;
    }
    const QorDistanceImageServices services = {.fctGetTime = getTimeFct,
                                               .fctGetSystemTime = getSystemTimeFct};
    if (QorDistanceImage_Init(&m_DistanceImageCalib, &m_DistanceImageInput.freqHoppingTable,
                              &m_DistanceImageInput.param, &m_DistanceImageCustom.extrinsicCalibrationCamera,
                              &services, &m_DIResult.distToCartesian) != 0) {
        throw AlgoException("QorDistanceImage_Init() error in " + pipelineError());
    }
    m_lastMessage = "QorDistanceImage_Init() called successfully";
    m_AlgoInitialized = true;
    return true;
}

void AlgoDistanceImage::applyImage() {
    QorRawdataPhase& image = m_QorRawPhases[m_phaseCounter];
    image.info = m_DistanceImageInput.phaseInfo;
    const alif_int32_t failed =
        QorDistanceImage_Apply(&image, &m_DistanceImageInput.customization, &m_DIResult,
                               m_measBuffers.get() + kCalibrationBuffers, kMeasBufferCount);
    ++m_phaseCounter;
    m_haveRawData = false;
    m_haveDIIFInput = false;
    if (m_DIResult.outputInvalid == 0 || m_phaseCounter >= kRawImages) {
        m_phaseCounter = 0;
    }
    if (failed != 0) {
        m_phaseCounter = 0;
        m_AlgoInitialized = false;
        throw AlgoException("QorDistanceImage_Apply error in " + pipelineError());
    }
}

bool AlgoDistanceImage::processAlgo() {
    bool initialisedNow = false;
    if (!m_AlgoInitialized) {
        if (!initialise()) {
            return false;
        }
        initialisedNow = true;
    }
    if (m_haveDIIFInput && m_haveRawData) {
        applyImage();
    }
    return initialisedNow;
}
