// SPDX-License-Identifier: Apache-2.0
#include "golden/RandomSettings.h"

#include <cstddef>
#include <cstring>

#include "golden/Scenes.h"

namespace golden {
namespace {

using host_testing::Camera;
using testing_support::Random;

bool oneIn(Random& random, int32_t times) {
    return random.integer(1, times) == 1;
}

AlgoPoint2D anyPoint(Random& random) {
    return {random.real(-20.0F, 244.0F), random.real(-20.0F, 192.0F)};
}

AlgoPoint2D pointNearCentre(Random& random) {
    return {random.real(60.0F, 164.0F), random.real(50.0F, 122.0F)};
}

void changeFilters(ImageFilterSettings& filters, Random& random) {
    filters.temporalFilter = static_cast<TemporalFilter>(random.integer(0, TempFilter_MAX - 1));
    filters.tempMeanSettings.numberOfFrames = static_cast<alif_uint32_t>(random.integer(1, 25));
    filters.tempAdexpSettings = {random.real(0.0F, 0.1F), random.real(0.0F, 1.0F), random.real(0.1F, 0.5F),
                                 random.real(0.0F, 1.0F)};
    filters.spatialFilter = static_cast<SpatialFilter>(random.integer(0, SpatialFilter_MAX - 1));
    const auto mask = [&] { return static_cast<FilterMaskSize>(random.integer(0, FilterMaskSize_MAX - 1)); };
    filters.spatMedianSettings.maskSize = mask();
    filters.spatMeanSettings.maskSize = mask();
    filters.spatBilateralSettings = {mask(), random.real(0.3F, 3.0F), random.real(0.01F, 0.5F)};
    filters.applyDistanceFilter = random.integer(0, 1);
    filters.applyAmplitudeFilter = random.integer(0, 1);
}

/** One that holds enough pixels, or now and then any, which may be refused. */
void changeRegion(ROIItem& region, Random& random) {
    const bool any = oneIn(random, 40);
    const float least = any ? 1.0F : 40.0F;
    const auto centre = [&] { return any ? anyPoint(random) : pointNearCentre(random); };
    region.type = static_cast<ROIType>(random.integer(ROITypeEllipse, ROITypePolygon));
    region.ellipse = {centre(), random.real(least, 250.0F), random.real(least, 200.0F),
                      random.real(-4.0F, 4.0F)};
    region.rectangle = {centre(), random.real(least, 250.0F), random.real(least, 200.0F),
                        random.real(-4.0F, 4.0F)};
    region.polygon.noPoints = static_cast<alif_uint32_t>(random.integer(any ? 3 : 8, 32));
    for (AlgoPoint2D& point : region.polygon.points2D) {
        point = anyPoint(random);
    }
    region.anchorBound = random.integer(0, 1);
}

void changeExposureControl(AutoExpSettings& control, Random& random) {
    // The pipeline refuses expanded regions and reference points.
    control.applyAutoExposure =
        oneIn(random, 50)
            ? AutoExposureApplyMode_ROIExpansion
            : static_cast<AutoExposureApplyMode>(random.integer(0, AutoExposureApplyMode_Normal));
    control.continuous = static_cast<alif_uint32_t>(random.integer(0, 1));
    control.roiSettings.type =
        oneIn(random, 50) ? AutoExposureROIType_ReferencePoint : AutoExposureROIType_ROIs;
    control.roiSettings.referencePoint = anyPoint(random);
    RegionsOfInterest& regions = control.roiSettings.rois;
    regions.noROIs = static_cast<alif_uint32_t>(oneIn(random, 100) ? 0 : random.integer(1, 3));
    for (alif_uint32_t i = 0; i < regions.noROIs; ++i) {
        changeRegion(regions.ROIs[i], random);
        regions.ROIs[i].ID = static_cast<alif_int32_t>(i);  // equal ones are refused
    }
    control.minLongShortFactor = random.integer(1, 4);
    control.maxLongShortFactor = random.integer(4, 12);
    control.maxNumberOfSaturatedPixels = random.integer(0, 3000);
    control.expTimeLowerLimit = static_cast<alif_uint32_t>(random.integer(0, 300));
}

bool hasDriftFrequencies(const QorDistanceImageIFCalib& calib) {
    return calib.imagerCalib.frequencies[0] == kDriftFrequencies[0];
}

/** Any four bytes, at any of the first `size` bytes of a record. */
void spoil(void* record, std::size_t size, Random& random) {
    const auto at = static_cast<std::size_t>(random.bits()) % (size / 4) * 4;
    const float number = random.anyFloat();
    const std::uint32_t bits = random.bits();
    std::memcpy(static_cast<std::uint8_t*>(record) + at,
                oneIn(random, 2) ? static_cast<const void*>(&number) : &bits, 4);
}

}  // namespace

void changeCustomization(Camera& camera, Random& random) {
    QorDistanceImageCustomization& custom = camera.input.customization;
    custom.disableCalcCartesian = oneIn(random, 8) ? 1 : 0;
    custom.minAmplitude = random.real(0.0F, 60.0F);
    custom.maximumRawSymmetry = random.real(0.05F, 1.0F);
    changeFilters(custom.filterSet, random);
    if (oneIn(random, 4)) {
        custom.extrinsicCalibrationCamera = {random.real(-2.0F, 2.0F), random.real(-2.0F, 2.0F),
                                             random.real(-2.0F, 2.0F), random.real(-3.2F, 3.2F),
                                             random.real(-3.2F, 3.2F), random.real(-3.2F, 3.2F)};
    }
    custom.twoFreqMaxLineDistPercentage = random.real(1.0F, 100.0F);
    custom.filter2FreqAssignment = random.integer(0, 1);
    changeExposureControl(custom.autoExpSet, random);
    custom.enableStraylightCorrection = oneIn(random, 6) ? 1 : 0;
    custom.absDistStraylightThreshold = random.real(0.0F, 0.5F);
    custom.relAmpStraylightThreshold = random.real(0.0F, 0.5F);
    custom.enableNoiseEstimation = camera.intensityImage && oneIn(random, 2) ? 1 : 0;
    custom.distNoiseThreshold = random.real(0.0F, 0.1F);
    // The compensation knows only its own frequencies, and needs intensity images.
    const bool mayCompensate = camera.intensityImage && hasDriftFrequencies(*camera.calib);
    custom.compensateAmbientLightDrift = mayCompensate && oneIn(random, 2) ? 1 : 0;
    camera.input.phaseInfo.illuTemperature = random.real(-20.0F, 90.0F);
}

void changeParameters(Camera& camera, Random& random) {
    QorDistanceImageIFParam& param = camera.input.param;
    param.numExposures = random.integer(1, 2);
    param.numFrequencies = random.integer(1, 2);
    param.maxUniqueRange = oneIn(random, 3) ? random.real(1.0F, 7.0F) : -1.0F;
    param.verticalAssignment = random.integer(0, 1);
    // Times below those of the camera leave nothing to propose, which is refused.
    const int32_t least = oneIn(random, 60) ? 0 : 2000;
    param.maxExposureTime = random.integer(least, 3000);
    param.maxSumExposureTime = random.integer(2 * least, 6000);
    RuvoFrequencyHoppingTable& hopping = camera.input.freqHoppingTable;
    hopping.frequencyHoppingTable[0] = {0, static_cast<alif_uint16_t>(param.numFrequencies - 1), 1};
    hopping.frequencyHoppingTable[1] = {1, 0, 1};
    hopping.frequencyHoppingTableLength = param.numFrequencies;
    camera.intensityImage = random.integer(0, 1) == 1;
    camera.restartFrame();
}

void spoilInput(QorDistanceImageIFInput& input, Random& random) {
    for (int32_t i = random.integer(1, 3); i > 0; --i) {
        if (oneIn(random, 2)) {  // outside the regions, which are nearly all of the record
            spoil(&input, offsetof(QorDistanceImageIFInput, customization) + 116, random);
        } else {
            spoil(&input, sizeof input, random);
        }
    }
}

void spoilCalibration(QorDistanceImageIFCalib& calib, Random& random) {
    QorRawToDistCalib& imager = calib.imagerCalib;
    for (int32_t i = random.integer(1, 4); i > 0; --i) {
        switch (random.integer(0, 5)) {
            case 0:
                spoil(&imager.freqDependent[random.integer(0, 1)], 14 * 4, random);
                break;
            case 1:
                spoil(imager.freqIndependent.badPixelIdx, 16 * 4, random);
                break;
            case 2:
                spoil(imager.frequencies, 5 * 4, random);
                break;
            case 3:
                spoil(&calib.intrinsicCalibration, sizeof calib.intrinsicCalibration, random);
                break;
            case 4:
                spoil(&imager.freqIndependent.minDiff, 4, random);
                break;
            default:
                spoil(&calib, sizeof calib, random);
                break;
        }
    }
}

}  // namespace golden
