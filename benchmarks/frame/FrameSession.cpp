// SPDX-License-Identifier: Apache-2.0
#include "FrameSession.h"

#include <stdexcept>

#include "QorDistanceImageInterface.h"
#include "UtilCommon.h"

namespace frame_benchmark {
namespace {

using host_testing::Bytes;
using host_testing::Camera;

constexpr std::size_t kLargestResult = 1U << 21U;

/** What a frame has when everything is asked for. The filters are the ones that most applications choose. */
void askForEverything(QorDistanceImageCustomization& customization) {
    customization.compensateAmbientLightDrift = 1;
    customization.filterSet.temporalFilter = TempFilter_Mean;
    customization.filterSet.spatialFilter = SpatialFilter_Median;
    customization.filterSet.spatMedianSettings.maskSize = FilterMaskSize_3x3;
}

}  // namespace

Camera cameraOf(const Kind& kind) {
    Camera camera;
    const QorDistanceImageIFInput rich = host_testing::richInput();
    if (kind.everything) {
        camera.input.customization = rich.customization;
        askForEverything(camera.input.customization);
        camera.intensityImage = true;
        // Those that the compensation of ambient light knows.
        camera.calib->imagerCalib.frequencies[0] = 47987700.0F;
        camera.calib->imagerCalib.frequencies[1] = 56926000.0F;
    }
    camera.input.param.numExposures = kind.exposures;
    camera.input.param.numFrequencies = kind.frequencies;
    if (kind.frequencies == 2) {
        camera.input.freqHoppingTable = rich.freqHoppingTable;
    }
    return camera;
}

PacketSession::PacketSession(const Kind& kind) : m_result(kLargestResult) {
    Camera camera = cameraOf(kind);
    const Bytes calibration = camera.calibrationPacket();
    m_algorithm->processZelta(calibration.data(), static_cast<int>(calibration.size()), false);
    for (int image = 0; image < camera.imagesPerFrame(); ++image) {
        m_packets.push_back(camera.imagePacket());
    }
}

void PacketSession::takeFrame() {
    for (const Bytes& packet : m_packets) {
        m_algorithm->processZelta(packet.data(), static_cast<int>(packet.size()), false);
        const int size = m_algorithm->getRequiredOutputSize(true);
        if (m_algorithm->packResult(m_result.data(), size) != 0) {
            throw std::runtime_error("a result was not packed");
        }
    }
}

RecordSession::RecordSession(const Kind& kind) {
    Camera camera = cameraOf(kind);
    m_customization = camera.input.customization;
    const QorDistanceImageServices services = {.fctGetTime = getTimeFct,
                                               .fctGetSystemTime = getSystemTimeFct};
    if (QorDistanceImage_Init(camera.calib.get(), &camera.input.freqHoppingTable, &camera.input.param,
                              &camera.input.customization.extrinsicCalibrationCamera, &services,
                              &m_result->distToCartesian) != 0) {
        throw std::runtime_error("the pipeline refused the calibration");
    }
    for (int image = 0; image < camera.imagesPerFrame(); ++image) {
        camera.nextImage();
        m_data.push_back(camera.rawChunk().data);
        m_images.push_back({camera.input.phaseInfo, m_data.back().data()});
    }
}

void RecordSession::takeFrame() {
    AlgoMeasBuffer buffers[kMeasBufferCount] = {};
    for (const QorRawdataPhase& image : m_images) {
        if (QorDistanceImage_Apply(&image, &m_customization, m_result.get(), buffers, kMeasBufferCount) !=
            0) {
            throw std::runtime_error("an image failed");
        }
    }
}

}  // namespace frame_benchmark
