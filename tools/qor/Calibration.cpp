// SPDX-License-Identifier: Apache-2.0

#include "qor/Calibration.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "calibrating/CameraFile.h"
#include "calibrating/CameraText.h"
#include "files/StandardOutput.h"
#include "files/UnfinishedFile.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "recording/RecordingWriter.h"

namespace qor {
namespace {

struct ShowOptions {
    std::filesystem::path recording;
    std::filesystem::path arrays;
    std::filesystem::path output;
};

struct MakeOptions {
    std::filesystem::path camera;
    std::filesystem::path output;
    bool json = false;
    bool quiet = false;
};

// Names of arrays are read from the folder of the file that names them.
std::optional<calibrating::ArrayFolder> arrayFolder(const ShowOptions& options) {
    if (options.arrays.empty()) {
        return std::nullopt;
    }
    const std::filesystem::path base = options.output.empty() || files::isStandardOutput(options.output)
                                           ? std::filesystem::current_path()
                                           : std::filesystem::absolute(options.output).parent_path();
    return calibrating::ArrayFolder{options.arrays,
                                    std::filesystem::absolute(options.arrays).lexically_relative(base)};
}

int show(const ShowOptions& options) {
    try {
        const calibrating::CameraDescription camera = calibrating::cameraOfRecording(options.recording);
        const calibrating::CameraText described = calibrating::describe(camera, arrayFolder(options));
        if (options.output.empty()) {
            fmt::print("{}\n", described.text);
        } else {
            const std::string text = described.text + "\n";
            files::UnfinishedFile file(options.output);
            file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
            file.finish();
        }
        std::vector<calibrating::Fault> findings = calibrating::faultsOf(camera);
        const std::vector<calibrating::Fault> doubts = calibrating::doubtsOf(camera);
        findings.insert(findings.end(), doubts.begin(), doubts.end());
        return findings.empty()
                   ? ExitCode::Good
                   : complain("calibration show", ExitCode::Findings, calibrating::textOf(findings));
    } catch (const std::runtime_error& error) {
        return complain("calibration show", ExitCode::BadData, error.what());
    }
}

nlohmann::ordered_json toJson(const MakeOptions& options, const calibrating::CameraFile& file,
                              const recording::RecordingWriter& writer) {
    nlohmann::ordered_json frequencies = nlohmann::ordered_json::array();
    for (const simulation::FrequencyCalibration& frequency : file.camera.calibration.frequencies) {
        frequencies.push_back(frequency.frequency);
    }
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const calibrating::Fault& doubt : file.doubts) {
        findings.push_back(doubt.key + ": " + doubt.sentence);
    }
    return {{"command", "calibration"},          {"version", QOR_VERSION}, {"frequenciesHertz", frequencies},
            {"neutral", file.neutral},           {"findings", findings},   {"bytes", writer.bytes()},
            {"files", {options.output.string()}}};
}

void printText(const MakeOptions& options, const calibrating::CameraFile& file,
               const recording::RecordingWriter& writer) {
    if (!file.neutral.empty()) {
        fmt::print("Neutral, as the file does not name them\n");
        for (const std::string& key : file.neutral) {
            fmt::print("  {}\n", printable(key));
        }
        fmt::print("\n");
    }
    fmt::print("Written\n  {}   {}\n", files::nameOf(options.output), byteText(writer.bytes()));
}

int make(const MakeOptions& options) {
    if (files::isStandardOutput(options.output)) {
        files::standardOutputForData();
    }
    try {
        const calibrating::CameraFile file = calibrating::readCameraFile(options.camera);
        recording::RecordingWriter writer(options.output);
        writer.write(calibrating::packetOf(file.camera));
        writer.finish();
        if (options.json) {
            printJson(toJson(options, file, writer));
        } else if (!options.quiet) {
            printText(options, file, writer);
        }
        return file.doubts.empty()
                   ? ExitCode::Good
                   : complain("calibration make", ExitCode::Findings, calibrating::textOf(file.doubts));
    } catch (const std::runtime_error& error) {
        if (options.json) {
            printJsonError("calibration", error.what());
        }
        return complain("calibration make: " + options.camera.string(), ExitCode::BadData, error.what());
    }
}

void addShowCalibration(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* command = app.add_subcommand("show", "Print the calibration of a recording as JSON");
    command->add_option("RECORDING", options->recording, "Recording, - for standard input")
        ->required()
        ->type_name("");
    command
        ->add_option("--arrays", options->arrays,
                     "Write the arrays there as .npy files; without it they are summarised")
        ->check(checkNotEmpty)
        ->type_name("FOLDER");
    command->add_option("-o,--out", options->output, "Write the JSON there")
        ->check(checkNotEmpty)
        ->type_name("CAMERA.json");
    command->footer(
        "Example:\n"
        "  qor calibration show a.zelta --arrays camera -o camera.json\n"
        "\nExit codes: 0 good; 1 something is wrong with the calibration; 2 usage; 3 there is none\n");
    command->callback([options, &exitCode] { exitCode = show(*options); });
}

void addMakeCalibration(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<MakeOptions>();
    CLI::App* command =
        app.add_subcommand("make", "Make the calibration packet of a camera from a file of JSON");
    command->add_option("CAMERA", options->camera, "Description of the camera, docs/your-camera.md")
        ->required()
        ->check(CLI::ExistingFile)
        ->type_name("CAMERA.json");
    command
        ->add_option("-o,--out", options->output,
                     "The recording of this one packet; qor concat puts it before images")
        ->required()
        ->check(checkRecordingName)
        ->type_name("CAL.zelta");
    command->add_flag("--json", options->json, "Print what was made as JSON");
    command->add_flag("--quiet", options->quiet, "No report; only what is wrong");
    command->footer(
        "Example:\n"
        "  qor calibration make camera.json -o cal.zelta\n"
        "\nExit codes: 0 good; 1 made, but something is probably wrong; 2 usage; 3 nothing was made\n");
    command->callback([options, &exitCode] { exitCode = make(*options); });
}

}  // namespace

void addCalibration(CLI::App& app, int& exitCode) {
    CLI::App* command =
        app.add_subcommand("calibration", "Show the calibration of a camera as text, or make one from it");
    command->require_subcommand(1);
    addShowCalibration(*command, exitCode);
    addMakeCalibration(*command, exitCode);
}

}  // namespace qor
