// SPDX-License-Identifier: Apache-2.0

#include "recording/CameraRecords.h"

#include <string>

#include "recording/Channels.h"
#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace recording {
namespace {

constexpr unsigned int pixels = simulation::pixelCount;
constexpr unsigned int frequencySlots = simulation::largestFrequencyCount;
constexpr unsigned int badPixelSlots = simulation::largestBadPixelCount;

Member point(std::string name, Dimensions dimensions = {}) {
    return structure(std::move(name), {float32("x"), float32("y")}, std::move(dimensions));
}

Member pose(std::string name) {
    return structure(std::move(name), {float32("transX"), float32("transY"), float32("transZ"),
                                       float32("rotX"), float32("rotY"), float32("rotZ")});
}

Member calibrationDescription() {
    return structure(
        "QorDistanceImageIFCalib",
        {structure(
             "imagerCalib",
             {structure("freqDependent",
                        {float32("ampWigg", {5}), float32("phaseWigg", {7}), float32("xyCorrection", {2}),
                         float32("FPPN", {pixels}), float32("refTemperature"),
                         float32("temperatureFactor", {3}), float32("noiseParameter", {4})},
                        {frequencySlots}),
              structure(
                  "freqIndependent",
                  {int16("minDiff"), int16("maxDiff"), float32("vignetting", {pixels}),
                   int32("badPixelIdx", {badPixelSlots}), int32("numBadPixel"), int16("FPN", {pixels})}),
              float32("frequencies", {frequencySlots}), int32("numberOfFrequencies")}),
         structure("intrinsicCalibration", {float32("fx"), float32("fy"), float32("mx"), float32("my"),
                                            float32("alpha"), float32("k1"), float32("k2"), float32("k5"),
                                            float32("k3"), float32("k4"), pose("internalTransRot")}),
         float32("unitVectors", {3 * pixels})});
}

Member auxiliaryDescription() {
    return structure(
        "QorDICIAuxiliaryParam",
        {structure("version", {uint32("major"), uint32("minor"), uint32("patch")}), uint8("MAC", {6}),
         structure("solaRegisters", {uint16("address"), uint16("value")}, {29}), uint8("PWMdutyCycle"),
         float32("refClock"), int32("illuWarmUpTime"), int32("expTimeStep"), int32("expTimeGray"),
         float32("maxDutyCycleThresh"), int32("maxExpDurationThresh")});
}

Member regionOfInterest() {
    return structure(
        "ROIs",
        {structure("polygon", {point("points2D", {32}), uint32("noPoints")}),
         structure("ellipse", {point("center"), float32("lengthMajorAxis"), float32("lengthMinorAxis"),
                               float32("angle")}),
         structure("rectangle", {point("center"), float32("width"), float32("height"), float32("angle")}),
         int32("type"), int32("ID"), int32("anchorBound")},
        {64});
}

Member filterSettings() {
    return structure("filterSet",
                     {int32("temporalFilter"), structure("tempMeanSettings", {uint32("numberOfFrames")}),
                      structure("tempAdexpSettings", {float32("minSmoothDiff"), float32("minSDAlpha"),
                                                      float32("maxSmoothDiff"), float32("maxSDAlpha")}),
                      int32("spatialFilter"), structure("spatMedianSettings", {int32("maskSize")}),
                      structure("spatMeanSettings", {int32("maskSize")}),
                      structure("spatBilateralSettings",
                                {int32("maskSize"), float32("sigmaPixel"), float32("sigmaDistance")}),
                      int32("applyDistanceFilter"), int32("applyAmplitudeFilter")});
}

Member autoExposureSettings() {
    return structure(
        "autoExpSet",
        {int32("applyAutoExposure"), uint32("continuous"),
         structure("roiSettings", {point("referencePoint"),
                                   structure("rois", {regionOfInterest(), uint32("noROIs")}), int32("type")}),
         int32("minLongShortFactor"), int32("maxLongShortFactor"), int32("maxNumberOfSaturatedPixels"),
         uint32("expTimeLowerLimit")});
}

Member inputDescription() {
    return structure(
        "QorDistanceImageIFInput",
        {structure("phaseInfo",
                   {uint32("timestamp"), int32("sequenceCounter"), int32("freqIdx"), int32("exposureTime"),
                    uint16("frameCounter"), float32("illuTemperature"), int32("intensityMeasurement")}),
         structure(
             "customization",
             {int32("disableCalcCartesian"), float32("minAmplitude"), float32("maximumRawSymmetry"),
              filterSettings(), pose("extrinsicCalibrationCamera"), float32("twoFreqMaxLineDistPercentage"),
              int32("filter2FreqAssignment"), autoExposureSettings(), uint8("enableStraylightCorrection"),
              float32("absDistStraylightThreshold"), float32("relAmpStraylightThreshold"),
              uint8("enableNoiseEstimation"), float32("distNoiseThreshold"),
              uint8("compensateAmbientLightDrift")}),
         structure("param",
                   {int32("numExposures"), int32("numFrequencies"), float32("maxUniqueRange"),
                    int32("verticalAssignment"), int32("maxExposureTime"), int32("maxSumExposureTime")}),
         structure("freqHoppingTable",
                   {structure("frequencyHoppingTable",
                              {uint16("fid"), uint16("nextline"), uint16("numlines")}, {frequencySlots}),
                    int32("frequencyHoppingTableLength")})});
}

Member rawImageDescription() {
    return structure("QorRawPhaseData", {uint8("phaseData", {simulation::rawImageBytes})});
}

template <typename T, typename Values>
void setArray(Record& record, const std::string& expression, const Values& values) {
    record.set<T>(expression, std::vector<T>(values.begin(), values.end()));
}

// No filter is on. With these values spatialFilter or temporalFilter alone switches one on.
void prepareFilters(Record& record) {
    const std::string filters = "QorDistanceImageIFInput.customization.filterSet.";
    record.set<int>(filters + "applyDistanceFilter", 1);
    record.set<unsigned int>(filters + "tempMeanSettings.numberOfFrames", 4U);
    // Counts per microsecond: the amplitude of a wall at 2 m is about 1.
    record.set<float>(filters + "tempAdexpSettings.minSmoothDiff", 0.02F);
    record.set<float>(filters + "tempAdexpSettings.minSDAlpha", 0.2F);
    record.set<float>(filters + "tempAdexpSettings.maxSmoothDiff", 0.2F);
    record.set<float>(filters + "tempAdexpSettings.maxSDAlpha", 1.0F);
    record.set<float>(filters + "spatBilateralSettings.sigmaPixel", 1.0F);
    record.set<float>(filters + "spatBilateralSettings.sigmaDistance", 0.05F);  // metres
}

void setAutoExposure(Record& record, const AutoExposureSettings& settings) {
    const std::string param = "QorDistanceImageIFInput.param.";
    record.set<int>(param + "maxExposureTime", settings.longestExposure);
    // Each exposure may be as long as that; 0 would mean the algorithm's own limit.
    record.set<int>(param + "maxSumExposureTime", 2 * settings.longestExposure);
    const std::string control = "QorDistanceImageIFInput.customization.autoExpSet.";
    record.set<int>(control + "applyAutoExposure", 1);
    record.set<int>(control + "minLongShortFactor", settings.minLongShortFactor);
    record.set<int>(control + "maxLongShortFactor", settings.maxLongShortFactor);
    record.set<int>(control + "maxNumberOfSaturatedPixels", settings.saturatedPixels);
    constexpr int rectangle = 2;
    const std::string regions = control + "roiSettings.rois.";
    record.set<unsigned int>(regions + "noROIs", 1U);
    record.set<int>(regions + "ROIs[0].type", rectangle);
    constexpr auto width = static_cast<float>(simulation::imageWidth);
    constexpr auto height = static_cast<float>(simulation::imageHeight);
    record.set<float>(regions + "ROIs[0].rectangle.center.x", width / 2.0F);
    record.set<float>(regions + "ROIs[0].rectangle.center.y", height / 2.0F);
    record.set<float>(regions + "ROIs[0].rectangle.width", width);
    record.set<float>(regions + "ROIs[0].rectangle.height", height);
}

}  // namespace

void setFrequency(Record& record, const std::string& slot,
                  const simulation::FrequencyCalibration& frequency) {
    setArray<float>(record, slot + ".ampWigg", frequency.ampWigg);
    setArray<float>(record, slot + ".phaseWigg", frequency.phaseWigg);
    setArray<float>(record, slot + ".xyCorrection", frequency.xyCorrection);
    setArray<float>(record, slot + ".FPPN", frequency.FPPN);
    record.set<float>(slot + ".refTemperature", frequency.refTemperature);
    setArray<float>(record, slot + ".temperatureFactor", frequency.temperatureFactor);
    setArray<float>(record, slot + ".noiseParameter", frequency.noiseParameter);
}

Record calibrationRecord(const simulation::Calibration& calibration) {
    Record record(calibrationDescription());
    const std::string imager = "QorDistanceImageIFCalib.imagerCalib.";
    for (std::size_t k = 0; k < calibration.frequencies.size(); ++k) {
        setFrequency(record, element(imager + "freqDependent", k), calibration.frequencies[k]);
        record.set<float>(element(imager + "frequencies", k), calibration.frequencies[k].frequency);
    }
    record.set<int>(imager + "numberOfFrequencies", static_cast<int>(calibration.frequencies.size()));
    const std::string pixel = imager + "freqIndependent.";
    record.set<short>(pixel + "minDiff", calibration.minDiff);
    record.set<short>(pixel + "maxDiff", calibration.maxDiff);
    setArray<float>(record, pixel + "vignetting", calibration.vignetting);
    for (std::size_t k = 0; k < calibration.badPixelIdx.size(); ++k) {
        record.set<int>(element(pixel + "badPixelIdx", k), calibration.badPixelIdx[k]);
    }
    record.set<int>(pixel + "numBadPixel", static_cast<int>(calibration.badPixelIdx.size()));
    setArray<short>(record, pixel + "FPN", calibration.FPN);

    const auto setLens = [&record](const char* name, double value) {
        record.set<float>(std::string("QorDistanceImageIFCalib.intrinsicCalibration.") + name,
                          static_cast<float>(value));
    };
    setLens("fx", calibration.lens.fx);
    setLens("fy", calibration.lens.fy);
    setLens("mx", calibration.lens.mx);
    setLens("my", calibration.lens.my);
    setLens("alpha", calibration.lens.alpha);
    setLens("k1", calibration.lens.k1);
    setLens("k2", calibration.lens.k2);
    setLens("k5", calibration.lens.k5);
    setLens("k3", calibration.lens.k3);
    setLens("k4", calibration.lens.k4);
    setArray<float>(record, "QorDistanceImageIFCalib.unitVectors", calibration.unitVectors);
    return record;
}

Record auxiliaryRecord(std::uint64_t serialNumber) {
    Record record(auxiliaryDescription());
    record.set<unsigned int>("QorDICIAuxiliaryParam.version.major", 1);
    // An address of the locally administered range, whose lower bytes are the camera's number.
    std::vector<unsigned char> address{0x02, 0, 0, 0, 0, 0};
    for (std::size_t k = 0; k < 5; ++k) {
        address[5 - k] = static_cast<unsigned char>((serialNumber >> (8 * k)) & 0xFFU);
    }
    record.set<unsigned char>("QorDICIAuxiliaryParam.MAC", address);
    return record;
}

std::vector<std::uint8_t> calibrationPacket(const simulation::Calibration& calibration,
                                            std::uint64_t serialNumber,
                                            const std::vector<zelta::ZeltaChunk>& more) {
    const Record record = calibrationRecord(calibration);
    const Record auxiliary = auxiliaryRecord(serialNumber);
    std::vector<zelta::ZeltaChunk> chunks{record.chunk(channel::calibration),
                                          auxiliary.chunk(channel::auxiliary)};
    chunks.insert(chunks.end(), more.begin(), more.end());
    return recording::packetOf(chunks);
}

ImagePackets::ImagePackets(const simulation::Calibration& calibration, const ProcessingSettings& settings)
    : input_(inputDescription()), rawImage_(rawImageDescription()) {
    const std::string customization = "QorDistanceImageIFInput.customization.";
    input_.set<float>(customization + "minAmplitude", settings.minAmplitude);
    input_.set<float>(customization + "maximumRawSymmetry", settings.maximumRawSymmetry);
    input_.set<float>(customization + "twoFreqMaxLineDistPercentage", settings.twoFreqMaxLineDistPercentage);
    input_.set<unsigned char>(customization + "enableStraylightCorrection",
                              settings.straylightCorrection ? 1 : 0);
    input_.set<float>(customization + "absDistStraylightThreshold", settings.straylightDistanceThreshold);
    input_.set<float>(customization + "relAmpStraylightThreshold", settings.straylightAmplitudeThreshold);
    input_.set<unsigned char>(customization + "enableNoiseEstimation", settings.noiseEstimation ? 1 : 0);
    prepareFilters(input_);
    const std::string param = "QorDistanceImageIFInput.param.";
    input_.set<int>(param + "numExposures", settings.exposureCount);
    input_.set<int>(param + "numFrequencies", static_cast<int>(calibration.frequencies.size()));
    input_.set<float>(param + "maxUniqueRange", settings.maxUniqueRange);
    if (settings.autoExposure) {
        setAutoExposure(input_, *settings.autoExposure);
    }
    const std::string hopping = "QorDistanceImageIFInput.freqHoppingTable.frequencyHoppingTable";
    for (std::size_t k = 0; k < calibration.frequencyHoppingTable.size(); ++k) {
        const simulation::HoppingEntry& entry = calibration.frequencyHoppingTable[k];
        input_.set<unsigned short>(element(hopping, k) + ".fid", entry.fid);
        input_.set<unsigned short>(element(hopping, k) + ".nextline", entry.nextline);
        input_.set<unsigned short>(element(hopping, k) + ".numlines", entry.numlines);
    }
    input_.set<int>(hopping + "Length", static_cast<int>(calibration.frequencyHoppingTable.size()));
}

std::vector<std::uint8_t> ImagePackets::packetOf(const simulation::RawImage& image,
                                                 const std::vector<zelta::ZeltaChunk>& more) {
    if (image.phaseData.size() != simulation::rawImageBytes) {
        throw RecordError("A raw image has 58128 bytes.");
    }
    const std::string info = "QorDistanceImageIFInput.phaseInfo.";
    input_.set<unsigned int>(info + "timestamp", image.timestamp);
    input_.set<int>(info + "sequenceCounter", image.sequenceCounter);
    input_.set<int>(info + "freqIdx", image.freqIdx);
    input_.set<int>(info + "exposureTime", image.exposureTime);
    input_.set<unsigned short>(info + "frameCounter", image.frameCounter);
    input_.set<float>(info + "illuTemperature", image.illuTemperature);
    input_.set<int>(info + "intensityMeasurement", image.intensityMeasurement ? 1 : 0);
    rawImage_.set<unsigned char>("QorRawPhaseData.phaseData", image.phaseData);
    std::vector<zelta::ZeltaChunk> chunks{input_.chunk(channel::input), rawImage_.chunk(channel::rawImage)};
    chunks.insert(chunks.end(), more.begin(), more.end());
    return recording::packetOf(chunks);
}

bool beginsFrame(const zelta::Packet& packet) {
    const zelta::ZeltaChunk* const input = findChunk(packet, channel::input);
    if (input == nullptr) {
        return false;
    }
    try {
        return numberOf(*input, "QorDistanceImageIFInput.phaseInfo.sequenceCounter") == 0.0;
    } catch (const RecordError&) {
        return false;
    }
}

}  // namespace recording
