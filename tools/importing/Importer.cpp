// SPDX-License-Identifier: Apache-2.0

#include "importing/Importer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "calibrating/CalibrationRecord.h"
#include "calibrating/NeutralCalibration.h"
#include "importing/ImportError.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/RecordingWriter.h"
#include "recording/TruthRecords.h"
#include "simulation/Image.h"

namespace importing {
namespace {

using simulation::imageHeight;
using simulation::imageWidth;

// Two unique ranges are told apart where small multiples of both are whole multiples of their difference.
bool canBeCombined(double first, double second) {
    const double longer = std::max(simulation::uniqueRange(first), simulation::uniqueRange(second));
    const double shorter = std::min(simulation::uniqueRange(first), simulation::uniqueRange(second));
    const auto isWhole = [](double value) { return std::abs(std::round(value) - value) < 0.05; };
    for (int multiple = 1; multiple <= 9; ++multiple) {
        const double scale = multiple / (longer - shorter);
        if (std::isfinite(scale) && isWhole(longer * scale) && isWhole(shorter * scale)) {
            return true;
        }
    }
    return false;
}

void checkRequest(const ImportRequest& request) {
    for (const double frequency : request.frequencies) {
        if (const std::string fault = simulation::frequencyFault(frequency); !fault.empty()) {
            throw ImportError(fault);
        }
    }
    if (request.frequencies.empty() || request.frequencies.size() > 2) {
        throw ImportError("One or two modulation frequencies are needed.");
    }
    if (request.frequencies.size() == 2 && !canBeCombined(request.frequencies[0], request.frequencies[1])) {
        throw ImportError(
            "From these two modulation frequencies no distance follows: nine times their unique ranges, "
            "or fewer, must be whole multiples of the difference of the ranges. 60MHz,80MHz and "
            "20MHz,100MHz serve.");
    }
    if (request.exposureTimes.empty() || request.exposureTimes.size() > 2 ||
        !std::is_sorted(request.exposureTimes.begin(), request.exposureTimes.end()) ||
        request.exposureTimes.front() < 1) {
        throw ImportError("One or two exposure times above 0 are needed, the shorter first.");
    }
    if (!request.offsets.empty() && request.offsets.size() != request.frequencies.size()) {
        throw ImportError("As many offsets as frequencies are needed.");
    }
}

SizeFit sizeFit(const ImportRequest& request, const StackSize& size, std::vector<std::string>& assumptions) {
    const std::size_t width = size[Axis::Column];
    const std::size_t height = size[Axis::Row];
    const bool isOwnSize = width == imageWidth && height == imageHeight;
    if (!request.fit && !isOwnSize) {
        throw ImportError(
            fmt::format("The pictures have {} x {} pixels, the imager 224 x 172: say with --fit how they "
                        "become so (crop, pad, area, nearest, crop-area or crop-nearest).",
                        width, height));
    }
    const FitKind kind = request.fit.value_or(FitKind::Crop);
    SizeFit fit(kind, width, height);
    if (!isOwnSize) {
        const double samples = fit.samplesPerPixel();
        assumptions.push_back(
            samples > 1.0
                ? fmt::format("A pixel is the mean of {:.2f} samples, so its noise is {:.2f} of theirs.",
                              samples, 1.0 / std::sqrt(samples))
                : "A pixel is one sample, with its noise.");
        if (fit.emptyPixels() > 0) {
            assumptions.push_back(fmt::format(
                "{} pixels have no sample; they come out invalid, as saturated.", fit.emptyPixels()));
        }
    }
    return fit;
}

// A pixel without a sample is marked by the lowest one.
void checkEmptyPixels(const ImportRequest& request, const SizeFit& fit) {
    if (fit.emptyPixels() > 0 && request.camera && request.camera->calibration.minDiff < 1) {
        throw ImportError(
            "The camera has a minDiff below 1, so pixels without a sample would count as measured: set it to "
            "1, or "
            "choose another --fit.");
    }
}

simulation::Lens lensOf(const ImportRequest& request, const StackSize& size,
                        std::vector<std::string>& assumptions) {
    if (request.lens) {
        return *request.lens;
    }
    assumptions.push_back(
        fmt::format("The lens sees {} degrees over the width, without distortion.", request.fieldOfView));
    return calibrating::lensOf(request.fieldOfView, static_cast<double>(size[Axis::Column]),
                               static_cast<double>(size[Axis::Row]));
}

void checkSigns(const PhaseStack& stack, const ImportRequest& request) {
    if (request.isSampleFormatGiven || stack.type().kind != arrays::ElementKind::UnsignedInteger) {
        return;
    }
    if (const auto bits = twosComplementBits(stack.image({}))) {
        throw ImportError(
            fmt::format("The samples look like signed numbers of {} bits that were read without their "
                        "sign: give --signed {}, or --unsigned {} if they are right.",
                        *bits, *bits, *bits));
    }
}

// The images of the first frame, the longest exposure of each frequency.
std::vector<PhaseImages> firstImages(const FrameMaker& maker, const ImportRequest& request,
                                     const StackSize& size) {
    std::vector<PhaseImages> images;
    for (std::size_t k = 0; k < request.frequencies.size(); ++k) {
        images.push_back({request.frequencies[k], maker.fitted({0, k, size[Axis::Exposure] - 1, 0})});
    }
    return images;
}

Reference cutOut(const arrays::Array& array, std::size_t frame, double metres, const SizeFit& fit,
                 const StackSize& size) {
    const std::size_t dimensions = array.shape.size();
    const bool hasFrames = dimensions == 3;
    const std::size_t height = hasFrames ? array.shape[1] : array.shape[0];
    const std::size_t width = array.shape[dimensions - 1];
    std::vector<double> distances;
    distances.reserve(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t offset = (hasFrames ? frame * array.strides[0] : 0) +
                                       y * array.strides[dimensions - 2] + x * array.strides[dimensions - 1];
            const double distance = arrays::numberAt(array, offset) * metres;
            distances.push_back(std::isfinite(distance) && distance > 0.0 ? distance : 0.0);
        }
    }
    const bool isFitted = width == imageWidth && height == imageHeight && size[Axis::Column] != imageWidth;
    const std::vector<double> fitted = isFitted ? distances : fit.nearest().fit(distances, 0.0, -1.0, 1.0e9);
    return {std::vector<float>(fitted.begin(), fitted.end())};
}

// Distances of each frame, or of all frames at once.
class References {
 public:
    References(const ReferenceRequest& request, const SizeFit& fit, const StackSize& size)
        : request_(request), fit_(fit), size_(size), distances_(arrays::readArray(request.file)) {
        check(distances_, request.file);
        if (request.mask) {
            mask_ = arrays::readArray(*request.mask);
            check(*mask_, *request.mask);
        }
    }

    bool isPerFrame() const { return distances_.shape.size() == 3; }

    Reference of(std::size_t frame) const {
        Reference reference = cutOut(distances_, frame, request_.metres, fit_, size_);
        if (mask_) {
            const Reference mask = cutOut(*mask_, frame, 1.0, fit_, size_);
            for (std::size_t i = 0; i < reference.distance.size(); ++i) {
                reference.distance[i] = mask.distance[i] > 0.0F ? reference.distance[i] : 0.0F;
            }
        }
        return reference;
    }

 private:
    void check(const arrays::Array& array, const std::string& name) const {
        const std::vector<std::size_t> source{size_[Axis::Row], size_[Axis::Column]};
        const std::vector<std::size_t> own{imageHeight, imageWidth};
        std::vector<std::size_t> shape = array.shape;
        if (shape.size() == 3 && shape[0] == size_[Axis::Frame]) {
            shape.erase(shape.begin());
        }
        if (shape != source && shape != own) {
            throw ImportError(fmt::format("{} is {}, where {} is needed.", name,
                                          arrays::shapeText(array.shape), arrays::shapeText(source)));
        }
    }

    const ReferenceRequest& request_;
    const SizeFit& fit_;
    const StackSize& size_;
    arrays::Array distances_;
    std::optional<arrays::Array> mask_;
};

std::vector<double> givenOffsets(const ImportRequest& request) {
    std::vector<double> offsets;
    if (request.camera) {
        for (const simulation::FrequencyCalibration& frequency : request.camera->calibration.frequencies) {
            offsets.push_back(static_cast<double>(frequency.phaseWigg[0]));
        }
        return offsets;
    }
    for (std::size_t k = 0; k < request.offsets.size(); ++k) {
        const double turn = 2.0 * std::numbers::pi;
        const double perMetre = turn / simulation::uniqueRange(request.frequencies[k]);
        offsets.push_back(request.offsets[k].value * (request.offsets[k].isMetres ? perMetre : 1.0));
    }
    offsets.resize(request.frequencies.size(), 0.0);
    return offsets;
}

// Which images are opposite, as far as the images tell; a given order is only compared.
PhaseOrder orderOf(const ImportRequest& request, const std::vector<PhaseImages>& images,
                   std::vector<std::string>& assumptions, std::vector<std::string>& warnings) {
    const PairSums sums = pairSumsOf(images.front().images);
    const auto opposite = sums.opposite();
    if (request.order) {
        if (opposite && *opposite != oppositeOfFirst(*request.order)) {
            warnings.push_back(fmt::format(
                "The order {} is given, but the sums of opposite phases agree for {}: they differ by {:.1f} "
                "counts in "
                "the median, in the order given by {:.1f}.",
                textOf(*request.order), textOf(orderWithOpposite(*opposite)), sums.mismatch[*opposite - 1],
                sums.mismatch[oppositeOfFirst(*request.order) - 1]));
        }
        return *request.order;
    }
    if (!opposite) {
        throw ImportError(
            "The order of the phases does not show in their sums; give it, for example --order "
            "0,90,180,270.");
    }
    const PhaseOrder order = orderWithOpposite(*opposite);
    assumptions.push_back(
        fmt::format("The phases follow each other as {}: so the sums of opposite ones agree. Which "
                    "of a pair is first shows only in known distances.",
                    textOf(order)));
    return order;
}

void tellReference(const ReferenceFit& fit, const ImportRequest& request,
                   std::vector<std::string>& warnings) {
    for (const FrequencyFit& frequency : fit.frequencies) {
        if (frequency.betterFrequency) {
            warnings.push_back(
                fmt::format("The distances agree better with a modulation frequency of {:.2f} MHz.",
                            *frequency.betterFrequency / 1.0e6));
        }
    }
    if (request.isReversed && *request.isReversed != fit.isReversed) {
        warnings.push_back("The distances say that the phase turns the other way round than --sign says.");
    }
    if (request.order && fit.isHalfATurnOff()) {
        warnings.push_back(
            "The offsets are near half a turn, as if the order of the phases began at 180 degrees.");
    }
}

// The calibration that is given stays as it is.
void tellCamera(const ReferenceFit& fit, const calibrating::CameraDescription& camera,
                std::vector<std::string>& warnings) {
    constexpr double tolerance = 0.3;  // radians; fixed patterns and harmonics are below that
    for (std::size_t k = 0; k < fit.frequencies.size(); ++k) {
        const double given = static_cast<double>(camera.calibration.frequencies[k].phaseWigg[0]);
        const double found = fit.frequencies[k].right.offset;
        if (std::abs(std::remainder(found - given, 2.0 * std::numbers::pi)) > tolerance) {
            warnings.push_back(fmt::format(
                "The distances say that the phase at distance 0 is {:.2f} radians at {:.2f} MHz; the "
                "camera's phaseWigg[0] is {:.2f}.",
                found, static_cast<double>(camera.calibration.frequencies[k].frequency) / 1.0e6, given));
        }
    }
}

// What the reference settles: order, sense of rotation and offsets.
void settle(const ImportRequest& request, const std::vector<PhaseImages>& images, const Reference& reference,
            ImportResult& result) {
    ReferenceFit fit = fitReference(images, reference, request.order);
    if (!fit.standsOut()) {
        std::string figures;
        for (const FrequencyFit& frequency : fit.frequencies) {
            figures += fmt::format(" {:.3f} one way and {:.3f} the other.", frequency.right.coherence,
                                   frequency.wrong.coherence);
        }
        throw ImportError(
            "The reference distances do not fit the phases one way much better than the other way "
            "round. Coherence:" +
            figures);
    }
    tellReference(fit, request, result.warnings);
    result.order = fit.order;
    result.isReversed = request.isReversed.value_or(fit.isReversed);
    if (request.camera) {
        tellCamera(fit, *request.camera, result.warnings);
    } else if (request.offsets.empty()) {
        for (std::size_t k = 0; k < fit.frequencies.size(); ++k) {
            result.offsets[k] = fit.frequencies[k].right.offset;
        }
    }
    result.reference = std::move(fit);
}

recording::ProcessingSettings processingSettings(const ImportRequest& request) {
    recording::ProcessingSettings settings;
    settings.exposureCount = static_cast<int>(request.exposureTimes.size());
    settings.minAmplitude = request.minAmplitude;
    settings.noiseEstimation = request.intensity.has_value();
    if (request.camera) {
        settings.maxUniqueRange = request.camera->maxUniqueRange;
        settings.straylightCorrection = request.camera->straylight.enable;
        settings.straylightDistanceThreshold = request.camera->straylight.distanceThreshold;
        settings.straylightAmplitudeThreshold = request.camera->straylight.amplitudeThreshold;
    }
    return settings;
}

void checkFit(const ImportRequest& request, const RoundingReport& rounding) {
    if (rounding.outside() > 0 && !request.samples.clip) {
        throw ImportError(
            fmt::format("Of {} samples {} are below 0 and {} above 4095 when they are brought to 12 bits, "
                        "and {} are no numbers: mend --signed, --mid or --scale, or give --clip.",
                        rounding.samples, rounding.below, rounding.above, rounding.notFinite));
    }
}

void writeFrames(const ImportRequest& request, const SizeFit& fit, const simulation::Lens& lens,
                 FrameMaker& maker, const References* references, ImportResult& result) {
    calibrating::CameraDescription camera;
    if (request.camera) {
        camera = *request.camera;
    } else {
        camera.calibration =
            calibrating::neutralCalibration({request.frequencies, result.offsets, fit.fit(lens)});
    }
    recording::ImagePackets packets(camera.calibration, processingSettings(request));
    recording::RecordingWriter writer(request.output);
    writer.write(calibrating::packetOf(camera));
    for (std::size_t frame = 0; frame < result.size[Axis::Frame]; ++frame) {
        std::vector<recording::Record> truth;
        if (references != nullptr && (frame == 0 || references->isPerFrame())) {
            truth.push_back(recording::distanceRecord(references->of(frame).distance));
        }
        for (const simulation::RawImage& image : maker.frame(frame)) {
            std::vector<zelta::ZeltaChunk> chunks;
            chunks.reserve(truth.size());
            for (const recording::Record& record : truth) {
                chunks.push_back(record.chunk(recording::channel::sceneTruth));
            }
            writer.write(packets.packetOf(image, chunks));
            truth.clear();  // it travels with the first image
        }
        checkFit(request, maker.rounding());
    }
    writer.finish();
    result.packets = writer.packets();
    result.bytes = writer.bytes();
}

void warnOfImages(const ImageFigures& figures, std::vector<std::string>& warnings) {
    if (figures.share(figures.saturated) > 0.2) {
        warnings.push_back(fmt::format("{:.1f} % of the pixels have a sample at the limit of the converter.",
                                       100.0 * figures.share(figures.saturated)));
    }
    if (figures.share(figures.asymmetric) > 0.2) {
        warnings.push_back(
            fmt::format("In {:.1f} % of the pixels the sums of opposite phases differ by more than half "
                        "the amplitude: the order of the phases or the bits of a sample may be wrong.",
                        100.0 * figures.share(figures.asymmetric)));
    }
    if (figures.medianAmplitude() < 5.0) {
        warnings.push_back(fmt::format("The median amplitude is {:.1f} counts: there is hardly a signal.",
                                       figures.medianAmplitude()));
    }
    if (figures.share(figures.zeroPhase) > 0.01) {
        warnings.push_back(
            fmt::format("{} pixels have a phase of exactly 0 and so distance 0, which counts as no "
                        "measurement.",
                        figures.zeroPhase));
    }
}

}  // namespace

ImportResult importRecording(const ImportRequest& request) {
    checkRequest(request);
    StackSource source = readStack(request.stack);
    const PhaseStack& stack = source.stack;
    checkSigns(stack, request);
    ImportResult result;
    result.assumptions = std::move(source.assumptions);
    result.size = stack.size();
    result.samples = request.samples;
    const SizeFit fit = sizeFit(request, result.size, result.assumptions);
    checkEmptyPixels(request, fit);
    const simulation::Lens lens =
        request.camera ? request.camera->calibration.lens : lensOf(request, result.size, result.assumptions);

    FramePlan plan{request.samples,
                   PhaseOrder{},
                   false,
                   request.exposureTimes,
                   fit,
                   std::nullopt,
                   request.intensityExposureTime,
                   request.temperature};
    if (request.camera) {
        plan.leastGoodSample = request.camera->calibration.minDiff;
        plan.mostGoodSample = request.camera->calibration.maxDiff;
    }
    if (request.intensity) {
        plan.intensity = arrays::readArray(*request.intensity);
    }
    const std::vector<PhaseImages> images = firstImages(FrameMaker(stack, plan), request, result.size);
    std::optional<References> references;
    result.offsets = givenOffsets(request);
    result.isReversed = request.isReversed.value_or(false);
    if (request.reference) {
        references.emplace(*request.reference, fit, result.size);
        if (request.order) {
            orderOf(request, images, result.assumptions, result.warnings);
        }
        settle(request, images, references->of(0), result);
    } else {
        result.order = orderOf(request, images, result.assumptions, result.warnings);
        if (!request.isReversed) {
            result.assumptions.push_back("The phase grows with the distance (--sign +).");
        }
    }
    plan.order = result.order;
    plan.isReversed = result.isReversed;
    FrameMaker maker(stack, plan);
    writeFrames(request, fit, lens, maker, references ? &*references : nullptr, result);
    result.figures = maker.figures();
    result.rounding = maker.rounding();
    warnOfImages(result.figures, result.warnings);
    return result;
}

}  // namespace importing
