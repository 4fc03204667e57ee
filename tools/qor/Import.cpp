// SPDX-License-Identifier: Apache-2.0

#include "qor/Import.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "calibrating/CalibrationError.h"
#include "calibrating/CameraFile.h"
#include "calibrating/NeutralCalibration.h"
#include "importing/Importer.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/LengthUnit.h"

namespace qor {
namespace {

struct Options {
    std::vector<std::string> files;
    std::vector<std::string> arrays;
    std::string axes;
    std::string format;
    int signedBits = 0;
    int unsignedBits = 0;
    double mid = 0.0;
    double scale = 1.0;
    bool clip = false;
    std::string order = "auto";
    std::string sign;
    std::vector<std::string> offsets;
    std::vector<double> frequencies;
    std::vector<double> exposures{1000.0};
    std::string fit;
    std::vector<double> intrinsics;
    double fieldOfView = calibrating::usualFieldOfView;
    std::string camera;
    std::string reference;
    std::string mask;
    std::string intensity;
    int intensityExposure = 200;
    double temperature = 0.0;
    double minAmplitude = 20.0;
    std::filesystem::path output;
    bool json = false;
    bool quiet = false;
};

// "0.35rad", "1.2m"; radians where no unit is given. None for another text.
std::optional<importing::PhaseOffset> readOffset(const std::string& text) {
    importing::PhaseOffset offset;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, offset.value);
    const std::string unit(rest, end);
    if (error != std::errc{} || !std::isfinite(offset.value) ||
        !(unit.empty() || unit == "rad" || unit == "m")) {
        return std::nullopt;
    }
    offset.isMetres = unit == "m";
    return offset;
}

importing::SampleFormat sampleFormat(const Options& options, const CLI::App& command,
                                     const std::optional<calibrating::CameraDescription>& camera) {
    importing::SampleFormat format;
    format.isSigned = options.signedBits > 0;
    const int bits = format.isSigned ? options.signedBits : options.unsignedBits;
    format.bits = bits > 0 ? static_cast<unsigned int>(bits) : 12U;
    if (command.count("--mid") > 0) {
        format.mid = options.mid;
    } else if (camera && camera->mid != calibrating::middleOfSamples) {
        format.mid = camera->mid;
    }
    if (command.count("--scale") > 0) {
        format.scale = options.scale;
    }
    format.clip = options.clip;
    return format;
}

// What --frequencies adds to the camera's own. Throws std::invalid_argument where they differ.
std::vector<double> frequenciesOf(const Options& options, const calibrating::CameraDescription& camera) {
    std::vector<double> frequencies;
    for (const simulation::FrequencyCalibration& frequency : camera.calibration.frequencies) {
        frequencies.push_back(static_cast<double>(frequency.frequency));
    }
    const bool isSame = std::ranges::equal(options.frequencies, frequencies,
                                           [](double a, double b) { return std::abs(a / b - 1.0) < 1.0e-6; });
    if (!options.frequencies.empty() && !isSame) {
        throw std::invalid_argument("--frequencies says " + frequencyText(options.frequencies) +
                                    ", the camera has " + frequencyText(frequencies) + ".");
    }
    return frequencies;
}

importing::ImportRequest requestOf(const Options& options, const CLI::App& command,
                                   std::optional<calibrating::CameraDescription> camera) {
    importing::ImportRequest request;
    request.frequencies = camera ? frequenciesOf(options, *camera) : options.frequencies;
    request.camera = std::move(camera);
    request.stack.files = options.files;
    request.stack.arrays = options.arrays;
    if (!options.axes.empty()) {
        request.stack.axes = importing::readAxes(options.axes);
    }
    request.stack.format = arrays::readRawFormat(options.format);
    request.stack.frequencies = request.frequencies.size();
    request.stack.exposures = options.exposures.size();
    for (const double exposure : options.exposures) {
        request.exposureTimes.push_back(static_cast<std::int32_t>(std::lround(exposure)));
    }
    request.samples = sampleFormat(options, command, request.camera);
    request.isSampleFormatGiven = options.signedBits > 0 || options.unsignedBits > 0;
    request.order = importing::readPhaseOrder(options.order);
    if (!options.sign.empty()) {
        request.isReversed = options.sign == "-";
    }
    for (const std::string& offset : options.offsets) {
        request.offsets.push_back(readOffset(offset).value());
    }
    request.fit = importing::readFitKind(options.fit);
    if (!options.intrinsics.empty()) {
        request.lens.emplace();
        request.lens->fx = options.intrinsics[0];
        request.lens->fy = options.intrinsics[1];
        request.lens->mx = options.intrinsics[2];
        request.lens->my = options.intrinsics[3];
    }
    request.fieldOfView = options.fieldOfView;
    if (!options.reference.empty()) {
        const FileAndUnit reference = readFileAndUnit(options.reference);
        request.reference = {reference.file, reference.metres, std::nullopt};
        if (!options.mask.empty()) {
            request.reference->mask = options.mask;
        }
    }
    if (!options.intensity.empty()) {
        request.intensity = options.intensity;
    }
    request.intensityExposureTime = options.intensityExposure;
    request.temperature = static_cast<float>(options.temperature);
    request.minAmplitude = static_cast<float>(options.minAmplitude);
    request.output = options.output;
    return request;
}

nlohmann::ordered_json agreementJson(const importing::Agreement& agreement) {
    return {{"coherence", agreement.coherence},
            {"offsetRadians", agreement.offset},
            {"residualMillimetres", 1000.0 * agreement.residual}};
}

nlohmann::ordered_json referenceJson(const importing::ReferenceFit& fit,
                                     const std::vector<double>& frequencies) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (std::size_t k = 0; k < fit.frequencies.size(); ++k) {
        list.push_back({{"frequencyHertz", frequencies[k]},
                        {"right", agreementJson(fit.frequencies[k].right)},
                        {"otherSense", agreementJson(fit.frequencies[k].wrong)}});
    }
    return {{"pixels", fit.pixels}, {"frequencies", list}};
}

nlohmann::ordered_json toJson(const importing::ImportRequest& request,
                              const importing::ImportResult& result) {
    const importing::ImageFigures& figures = result.figures;
    nlohmann::ordered_json document{{"command", "import"},
                                    {"version", QOR_VERSION},
                                    {"frames", result.size[importing::Axis::Frame]},
                                    {"frequenciesHertz", request.frequencies},
                                    {"exposureTimesMicroseconds", request.exposureTimes},
                                    {"order", importing::textOf(result.order)},
                                    {"sign", result.isReversed ? "-" : "+"},
                                    {"offsetsRadians", result.offsets},
                                    {"samples",
                                     {{"count", result.rounding.samples},
                                      {"below", result.rounding.below},
                                      {"above", result.rounding.above},
                                      {"notFinite", result.rounding.notFinite},
                                      {"largestRoundingCounts", result.rounding.largestRounding}}},
                                    {"saturatedShare", figures.share(figures.saturated)},
                                    {"asymmetricShare", figures.share(figures.asymmetric)},
                                    {"zeroDistancePixels", figures.zeroPhase},
                                    {"medianAmplitudeCounts", figures.medianAmplitude()},
                                    {"reference", nullptr},
                                    {"assumptions", result.assumptions},
                                    {"findings", result.warnings},
                                    {"packets", result.packets},
                                    {"bytes", result.bytes},
                                    {"files", {request.output.string()}}};
    if (result.reference) {
        document["reference"] = referenceJson(*result.reference, request.frequencies);
    }
    return document;
}

void printReference(const importing::ReferenceFit& fit, const std::vector<double>& frequencies) {
    fmt::print("\nReference, {}\n", counted(fit.pixels, "pixel"));
    fmt::print("               coherence  residual mm  offset rad   coherence the other way round\n");
    for (std::size_t k = 0; k < fit.frequencies.size(); ++k) {
        const importing::FrequencyFit& frequency = fit.frequencies[k];
        fmt::print("  {:>7.2f} MHz    {:>8.4f}     {:>8.2f}    {:>8.4f}   {:>8.4f}\n", frequencies[k] / 1.0e6,
                   frequency.right.coherence, 1000.0 * frequency.right.residual, frequency.right.offset,
                   frequency.wrong.coherence);
    }
}

void printText(const importing::ImportRequest& request, const importing::ImportResult& result) {
    const importing::ImageFigures& figures = result.figures;
    fmt::print("Imported {}: {}, {}\n", counted(result.size[importing::Axis::Frame], "frame"),
               frequencyText(request.frequencies), exposureText(request.exposureTimes));
    if (!result.assumptions.empty()) {
        fmt::print("\nAssumed\n");
        for (const std::string& sentence : result.assumptions) {
            fmt::print("  {}\n", printable(sentence));
        }
    }
    if (result.reference) {
        printReference(*result.reference, request.frequencies);
    }
    fmt::print("\nFound\n");
    fmt::print("  order of the phases      {:>12}\n", importing::textOf(result.order));
    fmt::print("  sense of rotation        {:>12}\n", result.isReversed ? "-" : "+");
    fmt::print("  saturated pixels         {:>10.2f} %\n", 100.0 * figures.share(figures.saturated));
    fmt::print("  asymmetric pixels        {:>10.2f} %\n", 100.0 * figures.share(figures.asymmetric));
    fmt::print("  median amplitude         {:>10.1f} counts\n", figures.medianAmplitude());
    fmt::print("  pixels of distance 0     {:>10}\n", figures.zeroPhase);
    if (result.rounding.largestRounding > 0.0) {
        fmt::print("  rounded, by at most      {:>10.3f} counts\n", result.rounding.largestRounding);
    }
    if (result.rounding.outside() > 0) {
        fmt::print("  clipped samples          {:>10} of {}\n", result.rounding.outside(),
                   result.rounding.samples);
    }
    fmt::print("\nWritten\n  {}   {}, {}\n", request.output.string(), counted(result.packets, "packet"),
               byteText(result.bytes));
}

int run(const Options& options, const CLI::App& command) {
    if (options.frequencies.empty() && options.camera.empty()) {
        return giveUp("import", options.json, ExitCode::Usage,
                      "--frequencies is required, or --camera with a file that has them.");
    }
    try {
        calibrating::CameraFile file;
        std::optional<calibrating::CameraDescription> camera;
        if (!options.camera.empty()) {
            file = calibrating::readCameraFile(options.camera);
            camera = std::move(file.camera);
        }
        const importing::ImportRequest request = requestOf(options, command, std::move(camera));
        importing::ImportResult result = importing::importRecording(request);
        for (const calibrating::Fault& doubt : file.doubts) {
            result.warnings.push_back(doubt.key + ": " + doubt.sentence);
        }
        if (options.json) {
            printJson(toJson(request, result));
        } else if (!options.quiet) {
            printText(request, result);
        }
        Complaints complaints("import");
        for (const std::string& sentence : result.warnings) {
            complaints.add(ExitCode::Findings, sentence);
        }
        return complaints.tell();
    } catch (const std::invalid_argument& error) {
        return giveUp("import", options.json, ExitCode::Usage, error.what());
    } catch (const calibrating::CalibrationError& error) {
        return giveUp("import", options.json, ExitCode::BadData, options.camera + ": " + error.what());
    } catch (const std::exception& error) {
        return giveUp("import", options.json, ExitCode::BadData, error.what());
    }
}

// A check of an option by a reader that gives nothing for a text it does not know.
template <typename Reader>
std::function<std::string(const std::string&)> readBy(Reader reader, std::string sentence) {
    return [reader, sentence](const std::string& text) {
        return reader(text) ? std::string() : "\"" + text + "\" " + sentence;
    };
}

void addInputOptions(CLI::App& command, Options& options) {
    command
        .add_option("FILE", options.files,
                    "Raw phases: one .npy, .npz or .png file or one without a header (--format); four of\n"
                    "them, one a phase; or a pattern such as shot_{frame}_{phase}.png")
        ->required()
        ->type_name("");
    command
        .add_option("--arrays", options.arrays,
                    "Names in an .npz archive: one stack, or four arrays, one a phase")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("NAME,...");
    command
        .add_option("--axes", options.axes,
                    "What the dimensions of an array are, in their order: frame, freq, exposure, phase, y, x")
        ->check(readBy(importing::readAxes, "is no list of frame, freq, exposure, phase, y and x."))
        ->type_name("AXIS,...");
    command
        .add_option("--format", options.format,
                    "Samples of files without a header and the size of a picture: u16le,640x480;\n"
                    "u, i or f, the bits, le or be")
        ->check(readBy(arrays::readRawFormat, "is no format like u16le,640x480."))
        ->type_name("TYPE,WxH");
}

void addSampleOptions(CLI::App& command, Options& options) {
    CLI::Option* const isSigned =
        command.add_option("--signed", options.signedBits, "Samples are signed numbers of so many bits")
            ->check(CLI::Range(2, 32))
            ->type_name("BITS");
    command
        .add_option("--unsigned", options.unsignedBits,
                    "Samples are unsigned numbers of so many bits; by default 12")
        ->check(CLI::Range(2, 32))
        ->excludes(isSigned)
        ->type_name("BITS");
    command
        .add_option("--mid", options.mid,
                    "Sample without modulated light; by default the middle of the range, 0 for signed ones")
        ->check(numberFrom(-1.0e10, 1.0e10))
        ->type_name("SAMPLE");
    command
        .add_option("--scale", options.scale,
                    "Counts of 12 bits for one count of a sample; by default 1, less where more bits need it")
        ->check(numberFrom(1.0e-9, 1.0e9))
        ->type_name("FACTOR");
    command.add_flag("--clip", options.clip, "Let samples that do not fit 12 bits become 0 or 4095");
}

void addPhaseOptions(CLI::App& command, Options& options) {
    command
        .add_option(
            "--frequencies", options.frequencies,
            "One or two modulation frequencies in Hz, or with a unit: 60MHz,80MHz; needed without --camera")
        ->delimiter(',')
        ->expected(1, 2)
        ->allow_extra_args(false)
        ->transform(
            CLI::AsNumberWithUnit(std::map<std::string, double>{{"Hz", 1.0}, {"kHz", 1.0e3}, {"MHz", 1.0e6}},
                                  CLI::AsNumberWithUnit::CASE_INSENSITIVE))
        ->type_name("F1[,F2]");
    command
        .add_option("--exposures", options.exposures,
                    "One or two exposure times, shorter first, as 1000us or 1ms")
        ->delimiter(',')
        ->expected(1, 2)
        ->allow_extra_args(false)
        ->transform(CLI::AsNumberWithUnit(std::map<std::string, double>{{"us", 1.0}, {"ms", 1.0e3}},
                                          CLI::AsNumberWithUnit::CASE_SENSITIVE))
        ->check(CLI::Range(1.0, 1.0e6))
        ->type_name("T1[,T2]")
        ->default_str("1000us");
    command
        .add_option("--order", options.order,
                    "Degrees of the phases in the order of the images, as 0,180,90,270; auto takes it from\n"
                    "the images")
        ->check(CLI::IsMember({"auto"}) |
                CLI::Validator(readBy(importing::readPhaseOrder, "is no order of 0, 90, 180 and 270."), ""))
        ->type_name("ORDER")
        ->capture_default_str();
    command
        .add_option("--sign", options.sign,
                    "Sense of rotation: + where the phase of an echo from further away is larger")
        ->check(CLI::IsMember({"+", "-"}))
        ->type_name("+|-");
    command
        .add_option("--offset", options.offsets,
                    "Phase at distance 0, for each frequency: radians, or metres as 1.2m")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(readBy(readOffset, "is no offset like 0.35rad or 1.2m."))
        ->type_name("OFFSET,...");
}

void addGeometryOptions(CLI::App& command, Options& options) {
    command
        .add_option("--fit", options.fit,
                    "How pictures of another size become 224 x 172: crop, pad, area (mean), nearest,\n"
                    "crop-area or crop-nearest (the largest part of the same proportions)")
        ->check(
            readBy(importing::readFitKind, "is none of crop, pad, area, nearest, crop-area, crop-nearest."))
        ->type_name("HOW");
    command
        .add_option("--intrinsics", options.intrinsics,
                    "Focal lengths and principal point of the pictures as they come, pixels")
        ->delimiter(',')
        ->expected(4)
        ->type_name("FX,FY,CX,CY");
    command.add_option("--fov", options.fieldOfView, "Field of view over the width of the pictures, degrees")
        ->excludes("--intrinsics")
        ->check(numberFrom(1.0, 170.0))
        ->type_name("DEGREES")
        ->capture_default_str();
}

void addCameraOption(CLI::App& command, Options& options) {
    command
        .add_option(
            "--camera", options.camera,
            "Calibration of the camera, as for qor calibration make; it has the frequencies, the lens\n"
            "and the phases at distance 0")
        ->check(CLI::ExistingFile)
        ->excludes("--intrinsics")
        ->excludes("--fov")
        ->excludes("--offset")
        ->type_name("CAMERA.json");
}

void addTruthOptions(CLI::App& command, Options& options) {
    CLI::Option* const reference =
        command
            .add_option(
                "--reference", options.reference,
                "Known distances, in m, cm or mm: they settle order, sense of rotation and offsets, and\n"
                "travel along as truth, so that qor run prints errors")
            ->type_name("FILE[:ARRAY][:UNIT]");
    command.add_option("--mask", options.mask, "Pixels of the reference that count: those that are not 0")
        ->needs(reference)
        ->type_name("FILE[:ARRAY]");
    CLI::Option* const intensity =
        command
            .add_option(
                "--intensity", options.intensity,
                "Pictures without modulated light, 0 to 4095; the noise of distances is estimated then")
            ->type_name("FILE[:ARRAY]");
    command
        .add_option("--intensity-exposure", options.intensityExposure, "Their exposure time, microseconds")
        ->needs(intensity)
        ->check(CLI::Range(1, 1000000))
        ->type_name("T")
        ->capture_default_str();
    command.add_option("--temperature", options.temperature, "Of the illumination, degrees Celsius")
        ->check(numberFrom(-100.0, 200.0))
        ->type_name("C")
        ->capture_default_str();
    command
        .add_option("--min-amplitude", options.minAmplitude,
                    "Raw counts below which the recording asks for pixels to be invalid")
        ->check(numberFrom(0.0, 1.0e6))
        ->type_name("COUNTS")
        ->capture_default_str();
}

}  // namespace

void addImport(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("import", "Make a recording from the raw phases of another camera");
    addInputOptions(*command, *options);
    addSampleOptions(*command, *options);
    addPhaseOptions(*command, *options);
    addGeometryOptions(*command, *options);
    addCameraOption(*command, *options);
    addTruthOptions(*command, *options);
    command->add_option("-o,--out", options->output, "The recording; its folders are made if needed")
        ->required()
        ->check(checkRecordingName)
        ->type_name("FILE.zelta");
    command->add_flag("--json", options->json, "Print what was found and assumed as JSON");
    command->add_flag("--quiet", options->quiet, "No report; only what is wrong");
    command->footer(
        "Example:\n"
        "  qor import scene.npz --arrays raw --axes freq,phase,y,x --frequencies 60MHz,80MHz -o a.zelta\n"
        "\nExit codes: 0 good; 1 written, but something is probably wrong; 2 usage; 3 nothing was written\n");
    command->callback([options, command, &exitCode] { exitCode = run(*options, *command); });
}

}  // namespace qor
