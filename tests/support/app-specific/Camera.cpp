// SPDX-License-Identifier: Apache-2.0
#include "Camera.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "QorDescriptors.h"
#include "support/RawImages.h"

namespace host_testing {
namespace {

constexpr float kTwoPi = 6.2831855F;

/** A wall that leans away, seen at one frequency: mean level, modulation and noise of up to `noiseLevel`. */
void takeImage(const QorRawdataPhaseInfo& info, int phaseOfGroup, unsigned int noiseLevel,
               QorRawPhaseData& raw) {
    std::minstd_rand noise(static_cast<unsigned int>(info.sequenceCounter) + 1U);
    std::generate_n(raw.phaseData, kRawRowBytes, [&noise] { return static_cast<std::uint8_t>(noise()); });
    const float exposure = static_cast<float>(info.exposureTime) / 1000.0F;
    const float cycles = info.freqIdx == 0 ? 0.9F : 1.2F;
    testing_support::packImage(raw.phaseData, [&](std::int32_t pixel) {
        const auto column = static_cast<float>(pixel % kImageWidth) / kImageWidth;
        const auto row = static_cast<float>(pixel / kImageWidth) / kImageHeight;
        const float shift =
            kTwoPi * (cycles * (0.2F + 0.6F * column) + 0.25F * static_cast<float>(phaseOfGroup));
        const float level = 1500.0F + exposure * (400.0F + 900.0F * row) * std::cos(shift);
        const float sample =
            level + static_cast<float>(noise() % (2U * noiseLevel + 1U)) - static_cast<float>(noiseLevel);
        return static_cast<int>(std::clamp(sample, 0.0F, 4095.0F));
    });
}

}  // namespace

std::unique_ptr<QorDistanceImageIFCalib> plainCalibration() {
    auto calib = std::make_unique<QorDistanceImageIFCalib>();
    QorRawToDistCalib& imager = calib->imagerCalib;
    for (FreqDependentCalibration& frequency : imager.freqDependent) {
        frequency.ampWigg[0] = 1.0F;
        frequency.phaseWigg[0] = 0.25F;
        for (int pixel = 0; pixel < kPixelCount; ++pixel) {
            frequency.FPPN[pixel] = static_cast<float>(pixel % 17) * 0.001F;
        }
        frequency.refTemperature = 40.0F;
        frequency.temperatureFactor[0] = 0.01F;
    }
    FreqIndependentCalibration& common = imager.freqIndependent;
    common.maxDiff = 4000;
    std::fill_n(common.vignetting, kPixelCount, 1.25F);
    common.badPixelIdx[0] = 300;
    common.badPixelIdx[1] = 20000;
    common.numBadPixel = 2;
    for (int pixel = 0; pixel < kPixelCount; ++pixel) {
        common.FPN[pixel] = static_cast<alif_int16_t>(pixel % 13 - 6);
    }
    imager.frequencies[0] = 60e6F;
    imager.frequencies[1] = 80e6F;
    imager.numberOfFrequencies = 2;
    calib->intrinsicCalibration.fx = 200.0F;
    calib->intrinsicCalibration.fy = 201.0F;
    calib->intrinsicCalibration.mx = 112.0F;
    calib->intrinsicCalibration.my = 86.0F;
    calib->intrinsicCalibration.k1 = -0.05F;
    return calib;
}

QorDistanceImageIFInput plainInput() {
    QorDistanceImageIFInput input = {};
    input.phaseInfo.illuTemperature = 42.5F;
    input.phaseInfo.exposureTime = 1000;
    input.customization.maximumRawSymmetry = 1.0F;
    input.param.numExposures = 1;
    input.param.numFrequencies = 1;
    input.param.maxUniqueRange = -1.0F;
    input.param.maxExposureTime = 2000;
    input.param.maxSumExposureTime = 4000;
    input.freqHoppingTable.frequencyHoppingTable[0] = {0, 0, 1};
    input.freqHoppingTable.frequencyHoppingTableLength = 1;
    return input;
}

QorDistanceImageIFInput richInput() {
    QorDistanceImageIFInput input = plainInput();
    input.param.numExposures = 2;
    input.param.numFrequencies = 2;
    input.freqHoppingTable.frequencyHoppingTable[0] = {0, 1, 1};
    input.freqHoppingTable.frequencyHoppingTable[1] = {1, 0, 1};
    input.freqHoppingTable.frequencyHoppingTableLength = 2;
    QorDistanceImageCustomization& custom = input.customization;
    custom.minAmplitude = 20.0F;
    custom.filterSet.temporalFilter = TempFilter_AdaptiveExponential;
    custom.filterSet.tempMeanSettings.numberOfFrames = 3;
    custom.filterSet.tempAdexpSettings = {0.05F, 0.2F, 0.5F, 0.9F};
    custom.filterSet.spatialFilter = SpatialFilter_Bilateral;
    custom.filterSet.spatBilateralSettings = {FilterMaskSize_3x3, 1.0F, 0.1F};
    custom.filterSet.applyDistanceFilter = 1;
    custom.filterSet.applyAmplitudeFilter = 1;
    custom.extrinsicCalibrationCamera = {0.1F, -0.2F, 0.3F, 0.02F, -0.01F, 0.03F};
    custom.twoFreqMaxLineDistPercentage = 42.0F;
    custom.filter2FreqAssignment = 1;
    custom.autoExpSet.applyAutoExposure = AutoExposureApplyMode_Normal;
    ROIItem& region = custom.autoExpSet.roiSettings.rois.ROIs[0];
    region.type = ROITypeEllipse;
    region.ellipse = {{112.0F, 86.0F}, 200.0F, 150.0F, 0.3F};
    custom.autoExpSet.roiSettings.rois.noROIs = 1;
    custom.autoExpSet.minLongShortFactor = 2;
    custom.autoExpSet.maxLongShortFactor = 8;
    custom.autoExpSet.maxNumberOfSaturatedPixels = 50;
    custom.enableStraylightCorrection = 1;
    custom.absDistStraylightThreshold = 0.5F;
    custom.relAmpStraylightThreshold = 0.5F;
    custom.enableNoiseEstimation = 1;
    custom.distNoiseThreshold = 0.5F;
    return input;
}

Camera::Camera(const LayoutChange& change)
    : m_calibrationLayout(zeltaGet_QorDistanceImageIFCalib, change),
      m_auxiliaryLayout(zeltaGet_QorDICIAuxiliaryParam, change),
      m_inputLayout(zeltaGet_QorDistanceImageIFInput, change),
      m_rawLayout(zeltaGet_QorRawPhaseData, change),
      m_customizationLayout(zeltaGet_QorDistanceImageCustomization, change) {
    std::memset(&auxiliary, 0, sizeof auxiliary);  // its padding too
    auxiliary.version = {1, 2, 3};
    for (alif_uint16_t i = 0; i < std::size(auxiliary.solaRegisters); ++i) {
        auxiliary.solaRegisters[i] = {i, static_cast<alif_uint16_t>(1000U + i)};
    }
    auxiliary.refClock = 24e6F;
    auxiliary.maxExpDurationThresh = -5;
}

int Camera::imagesPerFrame() const {
    return kPhasesPerExposure * input.param.numExposures * input.param.numFrequencies +
           (intensityImage ? 1 : 0);
}

void Camera::nextImage() {
    if (++m_imageOfFrame == imagesPerFrame()) {
        m_imageOfFrame = 0;
        ++m_frames;
    }
    QorRawdataPhaseInfo& info = input.phaseInfo;
    info.sequenceCounter = m_imageOfFrame;
    info.frameCounter = static_cast<alif_uint16_t>((info.frameCounter + 1) & 0xFFF);
    info.timestamp = 100U * static_cast<alif_uint32_t>(m_frames + 1);
    const int image = m_imageOfFrame - (intensityImage ? 1 : 0);
    info.intensityMeasurement = image < 0 ? 1 : 0;
    if (image < 0) {
        info.freqIdx = 0;
        info.exposureTime = 500;
        return;
    }
    const int group = image / kPhasesPerExposure;
    info.freqIdx = group / std::max(input.param.numExposures, 1);
    info.exposureTime = group % std::max(input.param.numExposures, 1) == 0 ? 400 : 1600;
}

OwnedChunk Camera::rawChunk() const {
    QorRawPhaseData raw;
    const int image = input.phaseInfo.sequenceCounter - (intensityImage ? 1 : 0);
    if (scene) {
        scene(input.phaseInfo, image, raw);
    } else {
        takeImage(input.phaseInfo, image, noiseLevel, raw);
    }
    return m_rawLayout.chunk(kRawDataChannel, &raw);
}

Bytes Camera::calibrationPacket() const {
    return packetOf({calibrationChunk(), auxiliaryChunk()});
}

Bytes Camera::imagePacket() {
    nextImage();
    return packetOf({inputChunk(), rawChunk()});
}

Bytes Camera::inputPacket() const {
    return packetOf({inputChunk()});
}

Bytes Camera::rawPacket() const {
    return packetOf({rawChunk()});
}

Bytes Camera::customizationPacket() const {
    return packetOf({m_customizationLayout.chunk(kCustomizationChannel, &input.customization)});
}

}  // namespace host_testing
