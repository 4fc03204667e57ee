// SPDX-License-Identifier: Apache-2.0

#include "qor/Calibrate.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "calibrating/CalibrationError.h"
#include "calibrating/CameraFile.h"
#include "calibrating/CameraText.h"
#include "calibrating/ResidualPage.h"
#include "calibrating/SpecimenFit.h"
#include "files/UnfinishedFile.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/LengthUnit.h"

namespace qor {
namespace {

struct Options {
    std::vector<std::filesystem::path> recordings;
    std::vector<double> walls;
    std::vector<std::string> references;
    std::string camera;
    std::filesystem::path output;
    std::filesystem::path arrays;
    std::filesystem::path page;
    bool json = false;
    bool quiet = false;
};

calibrating::SpecimenRequest requestOf(const Options& options) {
    calibrating::SpecimenRequest request;
    for (std::size_t k = 0; k < options.recordings.size(); ++k) {
        calibrating::SceneRequest scene;
        scene.recording = options.recordings[k];
        if (!options.walls.empty()) {
            scene.wall = options.walls[k];
        } else if (!options.references.empty()) {
            const FileAndUnit reference = readFileAndUnit(options.references[k]);
            scene.array = reference.file;
            scene.metres = reference.metres;
        }
        request.scenes.push_back(std::move(scene));
    }
    if (!options.camera.empty()) {
        request.camera = calibrating::readCameraFile(options.camera).camera;
    }
    return request;
}

// FOLDER/camera.json has its arrays in FOLDER/camera, and its page is FOLDER/camera.html.
std::filesystem::path beside(const Options& options, const std::filesystem::path& given,
                             const char* extension) {
    std::filesystem::path name = options.output;
    return given.empty() ? name.replace_extension(extension) : given;
}

void writeText(const std::filesystem::path& path, const std::string& text) {
    files::UnfinishedFile file(path);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
}

std::vector<std::string> write(const Options& options, const calibrating::Specimen& specimen) {
    const std::filesystem::path folder = beside(options, options.arrays, "");
    const auto base = std::filesystem::absolute(options.output).parent_path();
    const calibrating::CameraText described = calibrating::describe(
        specimen.camera,
        calibrating::ArrayFolder{folder, std::filesystem::absolute(folder).lexically_relative(base)});
    writeText(options.output, described.text + "\n");
    const std::filesystem::path page = beside(options, options.page, ".html");
    writeText(page, calibrating::residualPage(specimen));
    std::vector<std::string> names{options.output.string(), page.string()};
    for (const std::filesystem::path& file : described.files) {
        names.push_back(file.string());
    }
    return names;
}

nlohmann::ordered_json figuresJson(const calibrating::ResidualFigures& figures) {
    return {{"medianMillimetres", figures.median}, {"percentile99Millimetres", figures.percentile99}};
}

nlohmann::ordered_json frequencyJson(const calibrating::FrequencyResult& result) {
    const calibrating::PhaseFit& phase = result.phase;
    return {{"frequencyHertz", phase.calibration.frequency},
            {"coherence", phase.coherence},
            {"pixels", phase.rows},
            {"outliers", phase.outliers},
            {"coverageOfATurn", result.coverage},
            {"before", figuresJson(result.before)},
            {"after", figuresJson(result.after)},
            {"temperatureFactorsFitted", phase.temperatureFactors},
            {"amplitudeFitted", result.amplitude.isMeasured},
            {"readNoiseCounts", result.noise.isMeasured ? nlohmann::ordered_json(result.noise.readNoise())
                                                        : nlohmann::ordered_json()}};
}

nlohmann::ordered_json toJson(const calibrating::Specimen& specimen, const std::vector<std::string>& names) {
    nlohmann::ordered_json frequencies = nlohmann::ordered_json::array();
    for (const calibrating::FrequencyResult& result : specimen.frequencies) {
        frequencies.push_back(frequencyJson(result));
    }
    nlohmann::ordered_json badPixels = nlohmann::ordered_json::array();
    for (const calibrating::BadPixel& bad : specimen.badPixels) {
        badPixels.push_back({{"index", bad.index}, {"reason", bad.reason}});
    }
    return {{"command", "calibrate"},
            {"version", QOR_VERSION},
            {"recordings", specimen.scenes},
            {"frequencies", frequencies},
            {"badPixels", badPixels},
            {"findings", specimen.findings},
            {"files", names}};
}

void printText(const calibrating::Specimen& specimen, const std::vector<std::string>& names) {
    fmt::print("Calibrated from {}\n\n", counted(specimen.scenes.size(), "recording"));
    fmt::print("              median error mm     99 % below mm    read noise   phases\n");
    fmt::print("              before    after   before    after       counts   covered\n");
    for (const calibrating::FrequencyResult& result : specimen.frequencies) {
        fmt::print("{:>8.2f} MHz {:>8.2f} {:>8.2f} {:>8.2f} {:>8.2f} {:>12} {:>8.0f} %\n",
                   static_cast<double>(result.phase.calibration.frequency) / 1.0e6, result.before.median,
                   result.after.median, result.before.percentile99, result.after.percentile99,
                   result.noise.isMeasured ? fmt::format("{:.2f}", result.noise.readNoise()) : "-",
                   100.0 * result.coverage);
    }
    fmt::print("\nBad pixels: {}\n", specimen.badPixels.size());
    for (const calibrating::BadPixel& bad : specimen.badPixels) {
        fmt::print("  {:>5}  {}\n", bad.index, bad.reason);
        if (&bad - specimen.badPixels.data() >= 14) {
            break;
        }
    }
    fmt::print("\nWritten\n");
    for (const std::string& name : names) {
        fmt::print("  {}\n", printable(name));
    }
}

std::string faultOfCounts(const Options& options) {
    const std::size_t recordings = options.recordings.size();
    if (!options.walls.empty() && options.walls.size() != recordings) {
        return fmt::format(
            "--distance has {}, and there {}.", counted(options.walls.size(), "distance"),
            recordings == 1 ? "is one recording" : fmt::format("are {} recordings", recordings));
    }
    if (!options.references.empty() && options.references.size() != recordings) {
        return fmt::format(
            "--reference has {}, and there {}.", counted(options.references.size(), "file"),
            recordings == 1 ? "is one recording" : fmt::format("are {} recordings", recordings));
    }
    return "";
}

int run(const Options& options) {
    if (const std::string fault = faultOfCounts(options); !fault.empty()) {
        return giveUp("calibrate", options.json, ExitCode::Usage, fault);
    }
    try {
        const calibrating::Specimen specimen = calibrating::calibrate(requestOf(options));
        const std::vector<std::string> names = write(options, specimen);
        if (options.json) {
            printJson(toJson(specimen, names));
        } else if (!options.quiet) {
            printText(specimen, names);
        }
        Complaints complaints("calibrate");
        for (const std::string& sentence : specimen.findings) {
            complaints.add(ExitCode::Findings, sentence);
        }
        return complaints.tell();
    } catch (const std::runtime_error& error) {
        return giveUp("calibrate", options.json, ExitCode::BadData, error.what());
    }
}

void addInputOptions(CLI::App& command, Options& options) {
    command
        .add_option(
            "RECORDINGS", options.recordings,
            "Recordings, each of a flat wall across the optical axis, or of any scene with known distances")
        ->required()
        ->type_name("");
    CLI::Option* const walls =
        command
            .add_option("--distance", options.walls,
                        "Distance of the wall along the optical axis for each recording, metres, or as 50cm; "
                        "without\n"
                        "it, and without --reference, the truth in the recordings counts")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->transform(CLI::AsNumberWithUnit(lengthUnits(), CLI::AsNumberWithUnit::CASE_SENSITIVE))
            ->check(numberFrom(0.001, 1000.0))
            ->type_name("D,...");
    command
        .add_option(
            "--reference", options.references,
            "Radial distances of the pixels for each recording, 172 x 224, in m, cm or mm; 0: not known")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->excludes(walls)
        ->type_name("FILE[:ARRAY][:UNIT],...");
    command
        .add_option("--camera", options.camera,
                    "Where lens, limits, vignetting, dark levels and a known drift come from; by default "
                    "from the first\n"
                    "recording, without its drift")
        ->check(CLI::ExistingFile)
        ->type_name("CAMERA.json");
}

void addOutputOptions(CLI::App& command, Options& options) {
    command
        .add_option("-o,--out", options.output, "The calibration, for qor calibration make and qor import")
        ->required()
        ->check(checkNotEmpty)
        ->type_name("CAMERA.json");
    command
        .add_option("--arrays", options.arrays,
                    "Its arrays; by default a folder beside it, with its name without .json")
        ->check(checkNotEmpty)
        ->type_name("FOLDER");
    command
        .add_option("--page", options.page,
                    "Diagrams of what was left before and is left after; by default beside it, with .html")
        ->check(checkNotEmpty)
        ->type_name("FILE.html");
    command.add_flag("--json", options.json, "Print the figures as JSON");
    command.add_flag("--quiet", options.quiet, "No report; only what is wrong");
}

}  // namespace

void addCalibrate(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "calibrate", "Find the calibration of a camera from recordings of known distances");
    addInputOptions(*command, *options);
    addOutputOptions(*command, *options);
    command->footer(
        "Example:\n"
        "  qor calibrate wall1.zelta wall2.zelta --distance 0.5,0.75 -o camera.json\n"
        "\nExit codes: 0 good; 1 made, but these recordings do not tell everything; 2 usage; 3 nothing was "
        "made\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
