// SPDX-License-Identifier: Apache-2.0

#include "qor/DirectPipeline.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "QorDistanceImageInterface.h"
#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace qor {
namespace {

// A group of phases stays in use until its last image; no group of a frame is longer than this.
constexpr std::size_t keptImages = 8;
constexpr std::size_t measBufferCount = 22;

static_assert(simulation::pixelCount == kPixelCount);
static_assert(simulation::rawImageBytes == kRawPhaseBytes);
static_assert(simulation::largestFrequencyCount == kFrequencySlots);
static_assert(simulation::largestBadPixelCount == kMaxBadPixels);

Timestamp_t monotonicTime() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<Timestamp_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

AlgoSystemTime systemTime() {
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    constexpr std::int64_t perSecond = 1'000'000'000;
    return {static_cast<alif_uint32_t>(now.count() / perSecond),
            static_cast<alif_uint32_t>(now.count() % perSecond)};
}

void copyFrequency(const simulation::FrequencyCalibration& from, FreqDependentCalibration& to) {
    std::copy(from.ampWigg.begin(), from.ampWigg.end(), to.ampWigg);
    std::copy(from.phaseWigg.begin(), from.phaseWigg.end(), to.phaseWigg);
    std::copy(from.xyCorrection.begin(), from.xyCorrection.end(), to.xyCorrection);
    std::copy(from.FPPN.begin(), from.FPPN.end(), to.FPPN);
    to.refTemperature = from.refTemperature;
    std::copy(from.temperatureFactor.begin(), from.temperatureFactor.end(), to.temperatureFactor);
    std::copy(from.noiseParameter.begin(), from.noiseParameter.end(), to.noiseParameter);
}

void copyCalibration(const simulation::Calibration& from, QorDistanceImageIFCalib& to) {
    QorRawToDistCalib& imager = to.imagerCalib;
    for (std::size_t k = 0; k < from.frequencies.size(); ++k) {
        copyFrequency(from.frequencies[k], imager.freqDependent[k]);
        imager.frequencies[k] = from.frequencies[k].frequency;
    }
    imager.numberOfFrequencies = static_cast<alif_int32_t>(from.frequencies.size());
    FreqIndependentCalibration& pixels = imager.freqIndependent;
    pixels.minDiff = from.minDiff;
    pixels.maxDiff = from.maxDiff;
    std::copy(from.vignetting.begin(), from.vignetting.end(), pixels.vignetting);
    std::copy(from.badPixelIdx.begin(), from.badPixelIdx.end(), pixels.badPixelIdx);
    pixels.numBadPixel = static_cast<alif_int32_t>(from.badPixelIdx.size());
    std::copy(from.FPN.begin(), from.FPN.end(), pixels.FPN);
    const auto number = [](double value) { return static_cast<alif_float32_t>(value); };
    AlgoIntrinsicCalibration& lens = to.intrinsicCalibration;
    lens.fx = number(from.lens.fx);
    lens.fy = number(from.lens.fy);
    lens.mx = number(from.lens.mx);
    lens.my = number(from.lens.my);
    lens.alpha = number(from.lens.alpha);
    lens.k1 = number(from.lens.k1);
    lens.k2 = number(from.lens.k2);
    lens.k5 = number(from.lens.k5);
    lens.k3 = number(from.lens.k3);
    lens.k4 = number(from.lens.k4);
    std::copy(from.unitVectors.begin(), from.unitVectors.end(), to.unitVectors);
}

RuvoFrequencyHoppingTable hoppingTable(const simulation::Calibration& calibration) {
    RuvoFrequencyHoppingTable table{};
    for (std::size_t k = 0; k < calibration.frequencyHoppingTable.size(); ++k) {
        const simulation::HoppingEntry& entry = calibration.frequencyHoppingTable[k];
        table.frequencyHoppingTable[k] = {entry.fid, entry.nextline, entry.numlines};
    }
    table.frequencyHoppingTableLength = static_cast<alif_int32_t>(calibration.frequencyHoppingTable.size());
    return table;
}

// The pipeline's own words about its latest failure.
PipelineError failure(const std::string& what) {
    std::array<alif_char_t, 256> text{};
    QorDistanceImage_GetErrorString(text.data(), static_cast<alif_int32_t>(text.size()));
    return PipelineError(what + (text[0] != '\0' ? ": " + std::string(text.data()) : "."));
}

}  // namespace

struct DirectPipeline::Records {
    struct KeptImage {
        QorRawdataPhase phase{};
        std::vector<std::uint8_t> data;
    };
    QorDistanceImageCustomization customization{};
    QorDistanceImageIFOutput result{};
    std::array<AlgoMeasBuffer, measBufferCount> measBuffers{};
    std::array<KeptImage, keptImages> images;
    std::size_t nextImage = 0;
};

DirectPipeline::DirectPipeline(const simulation::Calibration& calibration, const PipelineSettings& settings)
    : records_(std::make_unique<Records>()) {
    records_->customization.minAmplitude = settings.minAmplitude;
    records_->customization.maximumRawSymmetry = settings.maximumRawSymmetry;

    const auto ifCalib = std::make_unique<QorDistanceImageIFCalib>();
    copyCalibration(calibration, *ifCalib);
    const RuvoFrequencyHoppingTable hopping = hoppingTable(calibration);
    QorDistanceImageIFParam param{};
    param.numExposures = settings.exposureCount;
    param.numFrequencies = static_cast<alif_int32_t>(calibration.frequencies.size());
    param.maxUniqueRange = -1.0F;  // whatever the frequencies can tell
    const AlgoExtrinsicCalibration pose{};
    QorDistanceImageServices services{};
    services.fctGetTime = monotonicTime;
    services.fctGetSystemTime = systemTime;
    if (QorDistanceImage_Init(ifCalib.get(), &hopping, &param, &pose, &services,
                              &records_->result.distToCartesian) != 0) {
        throw failure("The pipeline refuses the calibration");
    }
}

DirectPipeline::~DirectPipeline() = default;

std::optional<PipelineFrame> DirectPipeline::process(const simulation::RawImage& image) {
    if (image.phaseData.size() != simulation::rawImageBytes) {
        throw PipelineError("A raw image has 58128 bytes.");
    }
    Records::KeptImage& kept = records_->images[records_->nextImage];
    records_->nextImage = (records_->nextImage + 1) % keptImages;
    kept.data = image.phaseData;
    QorRawdataPhaseInfo& info = kept.phase.info;
    info.timestamp = image.timestamp;
    info.sequenceCounter = image.sequenceCounter;
    info.freqIdx = image.freqIdx;
    info.exposureTime = image.exposureTime;
    info.frameCounter = image.frameCounter;
    info.illuTemperature = image.illuTemperature;
    info.intensityMeasurement = image.intensityMeasurement ? 1 : 0;
    kept.phase.phaseData = kept.data.data();

    QorDistanceImageIFOutput& result = records_->result;
    if (QorDistanceImage_Apply(&kept.phase, &records_->customization, &result, records_->measBuffers.data(),
                               static_cast<alif_uint32_t>(measBufferCount)) != 0) {
        throw failure("The pipeline failed");
    }
    if (result.outputInvalid != 0) {
        return std::nullopt;
    }
    PipelineFrame frame;
    frame.distance.assign(std::begin(result.distance), std::end(result.distance));
    frame.amplitude.assign(std::begin(result.normalizedAmplitude), std::end(result.normalizedAmplitude));
    frame.confidence.assign(std::begin(result.confidence), std::end(result.confidence));
    frame.frameCounter = result.frameCounter;
    frame.timestamp = result.timestamp;
    return frame;
}

std::string DirectPipeline::version() {
    AlgoVersion version{};
    QorDistanceImage_QueryVersion(&version);
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

}  // namespace qor
