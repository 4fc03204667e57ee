// SPDX-License-Identifier: Apache-2.0

#include "qor/Simulate.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "files/StandardOutput.h"
#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/ExposureLoop.h"
#include "qor/Interruption.h"
#include "qor/LengthUnit.h"
#include "qor/Progress.h"
#include "qor/Report.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/RecordingWriter.h"
#include "recording/TruthRecords.h"
#include "simulation/Camera.h"

namespace qor {
namespace {

struct Options {
    std::string scene = "room";
    std::optional<std::uint64_t> noiseSeed;
    std::optional<double> wallDistance;  // metres; none: the scene
    int frames = 1;
    std::vector<std::int32_t> exposures{1000};
    std::vector<double> frequencies{60.0e6};
    std::uint64_t seed = 1;
    bool noNoise = false;
    bool noWiggling = false;
    bool noFixedPattern = false;
    bool intensityImage = false;
    std::filesystem::path straylight;
    double ambient = 0.0;
    double temperature = 42.5;
    float minAmplitude = recording::ProcessingSettings{}.minAmplitude;
    std::vector<std::string> brightnessSteps;
    bool autoExposure = false;
    std::int32_t longestExposure = recording::AutoExposureSettings{}.longestExposure;
    std::int32_t saturatedPixels = recording::AutoExposureSettings{}.saturatedPixels;
    std::filesystem::path plugin;
    std::filesystem::path file = "out/simulate.zelta";
    bool json = false;
    bool quiet = false;
};

struct Outcome {
    int frames = 0;
    std::size_t packets = 0;
    std::uint64_t bytes = 0;
    double seconds = 0.0;
    bool interrupted = false;
    std::vector<ExposedFrame> exposed;  // with auto exposure, each frame
};

simulation::CameraSettings cameraSettings(const Options& options) {
    simulation::CameraSettings settings;
    settings.scene = options.wallDistance ? simulation::wallAt(*options.wallDistance)
                                          : simulation::sceneNamed(options.scene);
    settings.frequencies = options.frequencies;
    settings.exposureTimes = options.exposures;
    settings.seed = options.seed;
    settings.noiseSeed = options.noiseSeed;
    settings.photonNoise = !options.noNoise;
    settings.wiggling = !options.noWiggling;
    settings.fixedPattern = !options.noFixedPattern;
    settings.intensityImage = options.intensityImage;
    if (!options.straylight.empty()) {
        settings.straylight =
            std::make_shared<const simulation::Straylight>(simulation::readPointSpread(options.straylight));
    }
    settings.ambient = options.ambient;
    settings.temperature = options.temperature;
    for (const std::string& step : options.brightnessSteps) {
        settings.brightnessSteps.push_back(readBrightnessStep(step).value());
    }
    return settings;
}

recording::SimulationSettings simulationSettings(const simulation::CameraSettings& camera) {
    recording::SimulationSettings settings;
    settings.scene = camera.scene.name;
    settings.nearest = camera.scene.nearest;
    settings.furthest = camera.scene.furthest;
    settings.seed = camera.seed;
    settings.photonNoise = camera.photonNoise;
    settings.ambient = camera.ambient;
    settings.temperature = camera.temperature;
    settings.frequencies = camera.frequencies;
    settings.exposureTimes = camera.exposureTimes;
    return settings;
}

recording::ProcessingSettings processingSettings(const Options& options) {
    recording::ProcessingSettings processing;
    processing.exposureCount = static_cast<int>(options.exposures.size());
    processing.minAmplitude = options.minAmplitude;
    processing.noiseEstimation = options.intensityImage;
    if (options.autoExposure) {
        processing.autoExposure.emplace();
        processing.autoExposure->longestExposure = options.longestExposure;
        processing.autoExposure->saturatedPixels = options.saturatedPixels;
    }
    return processing;
}

// The plug-in and the loop that follows its proposals.
struct AutoExposure {
    AutoExposure(const Options& options, const std::vector<std::uint8_t>& calibration)
        : algorithm(options.plugin.empty() ? plugin::defaultPlugin() : options.plugin),
          loop(algorithm, calibration) {}

    plugin::Plugin algorithm;
    ExposureLoop loop;
};

// The packets of a frame. The truth travels with the first image of the first frame for which it holds.
std::vector<std::vector<std::uint8_t>> packetsOf(recording::ImagePackets& packets,
                                                 const simulation::Frame& frame, bool withTruth) {
    std::vector<std::vector<std::uint8_t>> made;
    std::vector<recording::Record> truth;
    std::vector<zelta::ZeltaChunk> chunks;
    if (withTruth) {
        truth.push_back(recording::sceneRecord(*frame.truth));
        truth.push_back(recording::frequencyRecord(*frame.truth));
        chunks = {truth[0].chunk(recording::channel::sceneTruth),
                  truth[1].chunk(recording::channel::frequencyTruth)};
    }
    for (const simulation::RawImage& image : frame.images) {
        made.push_back(packets.packetOf(image, chunks));
        chunks.clear();
    }
    return made;
}

// Has the plug-in look at the frame and gives the camera the times that it proposes.
ExposedFrame follow(ExposureLoop& loop, const std::vector<std::vector<std::uint8_t>>& packets,
                    double brightness, simulation::Camera& camera) {
    std::optional<ExposedFrame> exposed;
    for (const std::vector<std::uint8_t>& packet : packets) {
        if (auto finished = loop.process(packet, camera.settings().exposureTimes)) {
            exposed = std::move(finished);
        }
    }
    if (!exposed) {
        throw plugin::PluginError("The plug-in finished no frame.");
    }
    exposed->brightness = brightness;
    try {
        camera.setExposureTimes(exposed->proposedTimes);
    } catch (const std::invalid_argument& error) {
        throw plugin::PluginError("The plug-in proposes " + exposureText(exposed->proposedTimes) + ". " +
                                  error.what());
    }
    return *exposed;
}

Outcome record(const Options& options, simulation::Camera& camera,
               const recording::SimulationSettings& settings) {
    const recording::Record simulated = recording::recordOf(settings);
    const std::vector<std::uint8_t> calibration = recording::calibrationPacket(
        camera.calibration(), options.seed, {simulated.chunk(recording::channel::simulation)});
    std::optional<AutoExposure> autoExposure;
    if (options.autoExposure) {
        autoExposure.emplace(options, calibration);
    }
    recording::RecordingWriter writer(options.file);
    listenForInterruption();
    Progress progress("qor simulate", options.quiet);
    writer.write(calibration);
    recording::ImagePackets packets(camera.calibration(), processingSettings(options));
    Outcome outcome;
    std::shared_ptr<const simulation::Truth> truth;
    while (outcome.frames < options.frames && !outcome.interrupted) {
        const double brightness = camera.brightness();
        const simulation::Frame frame = camera.nextFrame();
        const auto made = packetsOf(packets, frame, frame.truth != truth);
        truth = frame.truth;
        for (const std::vector<std::uint8_t>& packet : made) {
            writer.write(packet);
        }
        if (autoExposure) {
            outcome.exposed.push_back(follow(autoExposure->loop, made, brightness, camera));
        }
        ++outcome.frames;
        progress.update(static_cast<double>(outcome.frames) / options.frames,
                        static_cast<std::size_t>(outcome.frames));
        outcome.interrupted = outcome.frames < options.frames && interrupted();
    }
    writer.finish();
    outcome.packets = writer.packets();
    outcome.bytes = writer.bytes();
    outcome.seconds = progress.seconds();
    return outcome;
}

nlohmann::ordered_json toJson(const Options& options, const Outcome& outcome,
                              const recording::SimulationSettings& simulated, const Complaints& complaints) {
    nlohmann::ordered_json document{{"command", "simulate"}, {"version", QOR_VERSION}};
    document.update(simulationJson(simulated));
    document["frames"] = outcome.frames;
    document["packets"] = outcome.packets;
    document["bytes"] = outcome.bytes;
    document["interrupted"] = outcome.interrupted;
    document["files"] = {options.file.string()};
    document["findings"] = complaints.sentences();
    if (options.autoExposure) {
        document["autoExposure"] = {{"longestExposureMicroseconds", options.longestExposure},
                                    {"saturatedPixelsAllowed", options.saturatedPixels},
                                    {"frames", exposureJson(outcome.exposed)}};
    }
    return document;
}

int report(const Options& options, const Outcome& outcome, const recording::SimulationSettings& simulated) {
    Complaints complaints("simulate");
    if (outcome.interrupted) {
        complaints.add(ExitCode::Findings,
                       fmt::format("interrupted after {} of {} frames; the recording holds these.",
                                   outcome.frames, options.frames));
    }
    if (options.json) {
        printJson(toJson(options, outcome, simulated, complaints));
    } else if (!options.quiet) {
        fmt::print("Simulated {}: {}\n\n", counted(static_cast<std::uint64_t>(outcome.frames), "frame"),
                   describe(simulated));
        fmt::print("Written\n  {}   {}, {}\n", files::nameOf(options.file),
                   counted(outcome.packets, "packet"), byteText(outcome.bytes));
        if (options.autoExposure) {
            printExposure(outcome.exposed);
        }
    }
    return complaints.tell();
}

int run(const Options& options) {
    if (files::isStandardOutput(options.file)) {
        files::standardOutputForData();
    }
    std::unique_ptr<simulation::Camera> camera;
    try {
        camera = std::make_unique<simulation::Camera>(cameraSettings(options));
    } catch (const std::invalid_argument& error) {
        return giveUp("simulate", options.json, ExitCode::Usage, error.what());
    }
    try {
        // The times at the start; auto exposure changes them.
        const recording::SimulationSettings settings = simulationSettings(camera->settings());
        return report(options, record(options, *camera, settings), settings);
    } catch (const std::runtime_error& error) {
        return giveUp("simulate", options.json, ExitCode::BadData, error.what());
    }
}

std::string sceneList() {
    std::string text = "Scenes:\n";
    for (const simulation::Scene& scene : simulation::namedScenes()) {
        text += fmt::format("  {:<6} {}\n", scene.name, scene.description);
    }
    return text;
}

// The scene, the camera and what the recording asks for.
void addCameraOptions(CLI::App& command, Options& options) {
    std::vector<std::string> sceneNames;
    for (const simulation::Scene& scene : simulation::namedScenes()) {
        sceneNames.push_back(scene.name);
    }
    command.add_option("--scene", options.scene, "Scene, one of those below")
        ->check(CLI::IsMember(sceneNames))
        ->type_name("NAME")
        ->capture_default_str();
    command
        .add_option(
            "--wall", options.wallDistance,
            "In place of a scene, the wall at this distance along the optical axis: metres, or as 50cm")
        ->transform(CLI::AsNumberWithUnit(lengthUnits(), CLI::AsNumberWithUnit::CASE_SENSITIVE))
        ->check(numberFrom(0.05, 100.0))
        ->excludes("--scene")
        ->type_name("D");
    command.add_option("--frames", options.frames, "Frames to simulate")
        ->check(CLI::Range(1, 100000))
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--exposures", options.exposures,
                    "One or two exposure times in microseconds, shorter first")
        ->delimiter(',')
        ->expected(1, 2)
        ->type_name("T1[,T2]")
        ->default_str("1000");
    command
        .add_option("--frequencies", options.frequencies,
                    "One or two modulation frequencies in Hz, or with a unit: 60MHz,80MHz")
        ->delimiter(',')
        ->expected(1, 2)
        ->transform(
            CLI::AsNumberWithUnit(std::map<std::string, double>{{"Hz", 1.0}, {"kHz", 1.0e3}, {"MHz", 1.0e6}},
                                  CLI::AsNumberWithUnit::CASE_INSENSITIVE))
        ->type_name("F1[,F2]")
        ->default_str("60MHz");
    command.add_option("--seed", options.seed, "Selects the specimen of the camera and its noise")
        ->check(checkSeed)
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--noise-seed", options.noiseSeed,
                    "Selects other noise of the same specimen, as of another recording of it")
        ->check(checkSeed)
        ->type_name("N");
    command.add_option("--ambient", options.ambient, "Ambient light in kilolux, 0 to 1000")
        ->check(numberFrom(0.0, 1000.0))
        ->type_name("KLX")
        ->capture_default_str();
    command
        .add_option("--temperature", options.temperature,
                    "Temperature of the illumination in degrees Celsius, -100 to 200")
        ->check(numberFrom(-100.0, 200.0))
        ->type_name("C")
        ->capture_default_str();
    command.add_flag("--no-noise", options.noNoise,
                     "No photon and read noise; the rounding to 12 bits remains");
    command.add_flag("--no-wiggling", options.noWiggling,
                     "A sensor whose correlation function is a pure sine");
    command.add_flag("--no-fixed-pattern", options.noFixedPattern, "A sensor whose pixels are all alike");
    command
        .add_option("--straylight", options.straylight,
                    "Let the lens scatter light by this point spread function: 449 x 345 floats,\n"
                    "for example the algorithm's own, share/qor/straylight_psf.f32 of the installation")
        ->type_name("FILE");
    command.add_flag("--intensity-image", options.intensityImage,
                     "Begin each frame with an intensity image, and ask for the noise of the distances");
    command
        .add_option("--min-amplitude", options.minAmplitude,
                    "Smallest amplitude of a valid pixel in raw counts, as the recording sets it")
        ->check(numberFrom(0.0, 1.0e6))
        ->type_name("COUNTS")
        ->capture_default_str();
    command
        .add_option("--brightness-steps", options.brightnessSteps,
                    "From a frame on, the scene returns FACTOR times its light: 10:0.05,20:1\n"
                    "is dark from frame 10 and bright again from frame 20")
        ->delimiter(',')
        ->check(checkBrightnessStep)
        ->type_name("FRAME:FACTOR,...");
}

void addExposureControlOptions(CLI::App& command, Options& options) {
    CLI::Option* const autoExposure =
        command.add_flag("--auto-exposure", options.autoExposure,
                         "Run the plug-in as well and use the exposure times that it proposes for the next\n"
                         "frame; --exposures gives those of the first");
    command
        .add_option("--max-exposure", options.longestExposure,
                    "Longest exposure time that may be proposed, microseconds")
        ->needs(autoExposure)
        ->check(CLI::Range(50, 1000000))
        ->type_name("T")
        ->capture_default_str();
    command
        .add_option("--max-saturated", options.saturatedPixels,
                    "Pixels that may be saturated in the shorter exposure")
        ->needs(autoExposure)
        ->check(CLI::Range(0, 38528))
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--plugin", options.plugin,
                    "Plug-in that proposes them; by default the libqor.so of this command")
        ->needs(autoExposure)
        ->type_name("FILE");
}

void addOutputOptions(CLI::App& command, Options& options) {
    command
        .add_option("-o,--out", options.file,
                    "The recording; missing folders are made; - writes it to standard output and\n"
                    "the report to standard error")
        ->check(checkRecordingName)
        ->type_name("FILE.zelta")
        ->capture_default_str();
    command.add_flag("--json", options.json, "Print what was made as JSON");
    command.add_flag("--quiet", options.quiet, "No progress and no report; only what is wrong");
}

}  // namespace

void addSimulate(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "simulate",
        "Write a recording of the raw images that a camera would take of a synthetic scene, and the truth");
    addCameraOptions(*command, *options);
    addExposureControlOptions(*command, *options);
    addOutputOptions(*command, *options);
    command->footer(sceneList() +
                    "\nExample:\n"
                    "  qor simulate --scene room --exposures 400,1600 --frames 3 --out room.zelta\n"
                    "\nExit codes: 0 good; 1 interrupted; 2 usage; 3 the recording could not be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
