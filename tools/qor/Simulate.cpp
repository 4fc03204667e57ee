// SPDX-License-Identifier: Apache-2.0

#include "qor/Simulate.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "qor/Accuracy.h"
#include "qor/DirectPipeline.h"
#include "qor/ExitCode.h"
#include "qor/Pictures.h"
#include "simulation/Camera.h"

namespace qor {
namespace {

struct Options {
    std::string scene = "room";
    int frames = 1;
    std::vector<std::int32_t> exposures{1000};
    std::vector<double> frequencies{60.0e6};
    std::uint64_t seed = 1;
    bool noNoise = false;
    bool noWiggling = false;
    bool noFixedPattern = false;
    bool intensityImage = false;
    double ambient = 0.0;
    double temperature = 42.5;
    PipelineSettings pipeline;
    std::filesystem::path folder = "out/simulate";
    std::string distanceRange;
    std::string amplitudeRange;
    double errorRange = 0.0;  // millimetres; 0 chooses by the noise
    int enlargement = 4;
    bool json = false;
};

struct Outcome {
    AccuracySummary accuracy;
    std::vector<std::filesystem::path> files;
};

// "MIN:MAX", two numbers, the second above the first.
std::optional<Range> readRange(const std::string& text) {
    const std::size_t colon = text.find(':');
    Range range;
    if (colon == std::string::npos || !CLI::detail::lexical_cast(text.substr(0, colon), range.minimum) ||
        !CLI::detail::lexical_cast(text.substr(colon + 1), range.maximum) ||
        !(range.maximum > range.minimum) || !(range.maximum - range.minimum < 1.0e6)) {
        return std::nullopt;
    }
    return range;
}

std::string checkRange(const std::string& text) {
    return readRange(text) ? "" : "\"" + text + "\" is no range; write MIN:MAX, for example 0.5:2.5";
}

std::string checkSeed(const std::string& text) {
    std::uint64_t seed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
    return error == std::errc{} && end == text.data() + text.size()
               ? ""
               : "\"" + text + "\" is no whole number from 0 to 18446744073709551615";
}

std::function<std::string(const std::string&)> numberFrom(double least, double most) {
    return [least, most](const std::string& text) {
        double value = 0.0;
        const bool good = CLI::detail::lexical_cast(text, value) && value >= least && value <= most;
        return good ? "" : fmt::format("\"{}\" is no number from {:g} to {:g}", text, least, most);
    };
}

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : separator) + text;
    }
    return all;
}

std::string frequencyText(const std::vector<double>& frequencies) {
    std::vector<std::string> texts;
    texts.reserve(frequencies.size());
    for (const double frequency : frequencies) {
        texts.push_back(fmt::format("{:g} MHz", frequency / 1.0e6));
    }
    return joined(texts, " + ");
}

std::string exposureText(const std::vector<std::int32_t>& exposures) {
    std::vector<std::string> texts;
    texts.reserve(exposures.size());
    for (const std::int32_t exposure : exposures) {
        texts.push_back(fmt::format("{} us", exposure));
    }
    return joined(texts, " + ");
}

std::string describe(const Options& options) {
    std::string text = fmt::format("scene {}, {}, {}, seed {}, {}", options.scene,
                                   frequencyText(options.frequencies), exposureText(options.exposures),
                                   options.seed, options.noNoise ? "no photon noise" : "photon noise");
    if (options.ambient > 0.0) {
        text += fmt::format(", {:g} klx", options.ambient);
    }
    return text;
}

simulation::CameraSettings cameraSettings(const Options& options) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed(options.scene);
    settings.frequencies = options.frequencies;
    settings.exposureTimes = options.exposures;
    settings.seed = options.seed;
    settings.photonNoise = !options.noNoise;
    settings.wiggling = !options.noWiggling;
    settings.fixedPattern = !options.noFixedPattern;
    settings.intensityImage = options.intensityImage;
    settings.ambient = options.ambient;
    settings.temperature = options.temperature;
    return settings;
}

PictureSettings pictureSettings(const Options& options) {
    PictureSettings settings;
    settings.folder = options.folder;
    settings.subtitle = describe(options);
    const simulation::Scene& scene = simulation::sceneNamed(options.scene);
    settings.distance = readRange(options.distanceRange).value_or(Range{scene.nearest, scene.furthest});
    settings.amplitude = readRange(options.amplitudeRange).value_or(settings.amplitude);
    const double standardRange = options.noNoise ? 2.0 : 20.0;
    settings.error = (options.errorRange > 0.0 ? options.errorRange : standardRange) / 1000.0;
    settings.enlargement = options.enlargement;
    return settings;
}

// Simulates and processes every frame; the pictures are those of the last.
Outcome runFrames(const Options& options, simulation::Camera& camera) {
    PipelineSettings pipelineSettings = options.pipeline;
    pipelineSettings.exposureCount = static_cast<int>(options.exposures.size());
    DirectPipeline pipeline(camera.calibration(), pipelineSettings);
    Accuracy accuracy(options.frequencies);
    std::optional<PipelineFrame> last;
    std::shared_ptr<const simulation::Truth> lastTruth;
    for (int k = 0; k < options.frames; ++k) {
        const simulation::Frame frame = camera.nextFrame();
        for (const simulation::RawImage& image : frame.images) {
            if (std::optional<PipelineFrame> finished = pipeline.process(image)) {
                accuracy.add(*frame.truth, finished->distance, finished->confidence);
                last = std::move(finished);
                lastTruth = frame.truth;
            }
        }
    }
    Outcome outcome;
    outcome.accuracy = accuracy.summary();
    if (last) {
        outcome.files = writePictures(pictureSettings(options), *last, *lastTruth, accuracy);
    }
    return outcome;
}

void printNoise(const std::vector<AmplitudeBin>& bins) {
    fmt::print("\nStandard deviation of the distance error\n");
    fmt::print("  raw amplitude      pixels    measured   predicted   ratio\n");
    for (const AmplitudeBin& bin : bins) {
        fmt::print("  {:>4.0f} .. {:>4.0f}   {:>10}  {:>7.2f} mm  {:>7.2f} mm   {:.3f}\n", bin.from, bin.to,
                   bin.pixels, 1000.0 * bin.measured, 1000.0 * bin.predicted, bin.ratio());
    }
    const simulation::SensorProperties sensor;
    fmt::print(
        "  predicted = c / (4 pi f) * |d theta / d phi| / R * sqrt(V + 2 r^2 + 1/6)\n"
        "  R raw amplitude; V = 2 g^2 N, what it is above {:.0f} counting twice; N electrons per sample;\n"
        "  g = {:g} counts per electron; r = {:g} counts of read noise; 1/6 from the rounding to 12 bits\n",
        sensor.suppressionKnee, sensor.countsPerElectron, sensor.readNoise);
}

void printText(const Options& options, const Outcome& outcome) {
    const AccuracySummary& a = outcome.accuracy;
    fmt::print("Simulated {} {}: {}\n\n", options.frames, options.frames == 1 ? "frame" : "frames",
               describe(options));
    fmt::print("  finished frames        {:>9}\n", a.frames);
    fmt::print("  valid pixels           {:>9.2f} %\n", 100.0 * a.validShare());
    fmt::print("  median absolute error  {:>9.3f} mm   {} valid pixels of at least {:g} counts\n",
               1000.0 * a.medianError, a.judgedPixels, judgedAmplitude);
    fmt::print("  99th percentile        {:>9.3f} mm   {} of them away from edges\n",
               1000.0 * a.percentile99Error, a.judgedPixelsOffEdges);
    fmt::print("  mean error             {:>9.3f} mm\n", 1000.0 * a.meanError);
    if (a.pixelsBeyondUniqueRange > 0) {
        fmt::print("  beyond unique range    {:>9.2f} %    these are compared modulo {:.4f} m\n",
                   100.0 * static_cast<double>(a.pixelsBeyondUniqueRange) / static_cast<double>(a.pixels),
                   simulation::uniqueRange(options.frequencies[0]));
    }
    if (!options.noNoise && options.frequencies.size() == 1) {
        printNoise(a.bins);
    }
    fmt::print("\nWritten\n");
    for (const std::filesystem::path& path : outcome.files) {
        fmt::print("  {}\n", path.string());
    }
}

nlohmann::ordered_json toJson(const Options& options, const Outcome& outcome) {
    const AccuracySummary& a = outcome.accuracy;
    nlohmann::ordered_json noise = nlohmann::ordered_json::array();
    for (const AmplitudeBin& bin : a.bins) {
        noise.push_back({{"fromCounts", bin.from},
                         {"toCounts", bin.to},
                         {"pixels", bin.pixels},
                         {"measuredMetres", bin.measured},
                         {"predictedMetres", bin.predicted},
                         {"ratio", bin.ratio()}});
    }
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const std::filesystem::path& path : outcome.files) {
        files.push_back(path.string());
    }
    return {{"command", "simulate"},
            {"version", QOR_VERSION},
            {"scene", options.scene},
            {"seed", options.seed},
            {"frequenciesHertz", options.frequencies},
            {"exposuresMicroseconds", options.exposures},
            {"photonNoise", !options.noNoise},
            {"ambientKilolux", options.ambient},
            {"temperatureCelsius", options.temperature},
            {"simulatedFrames", options.frames},
            {"finishedFrames", a.frames},
            {"pixels", a.pixels},
            {"validShare", a.validShare()},
            {"judgedPixels", a.judgedPixels},
            {"judgedPixelsOffEdges", a.judgedPixelsOffEdges},
            {"pixelsBeyondUniqueRange", a.pixelsBeyondUniqueRange},
            {"medianErrorMetres", a.medianError},
            {"percentile99ErrorMetres", a.percentile99Error},
            {"meanErrorMetres", a.meanError},
            {"noise", noise},
            {"files", files}};
}

int report(const Options& options, const Outcome& outcome) {
    if (options.json) {
        fmt::print("{}\n", toJson(options, outcome).dump(2));
    } else if (outcome.accuracy.frames > 0) {
        printText(options, outcome);
    }
    if (outcome.accuracy.frames == 0) {
        fmt::print(
            stderr,
            "qor simulate: the pipeline finished none of the {} simulated frames; nothing was written.\n",
            options.frames);
        return ExitCode::Findings;
    }
    if (outcome.accuracy.validPixels == 0) {
        fmt::print(stderr, "qor simulate: no pixel of the finished frames is valid.\n");
        return ExitCode::Findings;
    }
    return ExitCode::Good;
}

int run(const Options& options) {
    std::unique_ptr<simulation::Camera> camera;
    try {
        camera = std::make_unique<simulation::Camera>(cameraSettings(options));
    } catch (const std::invalid_argument& error) {
        fmt::print(stderr, "qor simulate: {}\n", error.what());
        return ExitCode::Usage;
    }
    try {
        return report(options, runFrames(options, *camera));
    } catch (const std::runtime_error& error) {
        fmt::print(stderr, "qor simulate: {}\n", error.what());
        return ExitCode::BadData;
    }
}

std::string sceneList() {
    std::string text = "Scenes:\n";
    for (const simulation::Scene& scene : simulation::namedScenes()) {
        text += fmt::format("  {:<6} {}\n", scene.name, scene.description);
    }
    return text;
}

}  // namespace

void addSimulate(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "simulate",
        "Simulate raw images of a synthetic scene, process them, compare the distances with the truth");
    std::vector<std::string> sceneNames;
    for (const simulation::Scene& scene : simulation::namedScenes()) {
        sceneNames.push_back(scene.name);
    }
    command->add_option("--scene", options->scene, "Scene, one of those below")
        ->check(CLI::IsMember(sceneNames))
        ->type_name("NAME")
        ->capture_default_str();
    command->add_option("--frames", options->frames, "Frames to simulate")
        ->check(CLI::Range(1, 100000))
        ->type_name("N")
        ->capture_default_str();
    command
        ->add_option("--exposures", options->exposures,
                     "One or two exposure times in microseconds, shorter first")
        ->delimiter(',')
        ->expected(1, 2)
        ->type_name("T1[,T2]")
        ->default_str("1000");
    command
        ->add_option("--frequencies", options->frequencies,
                     "One or two modulation frequencies in Hz, or with a unit: 60MHz,80MHz")
        ->delimiter(',')
        ->expected(1, 2)
        ->transform(
            CLI::AsNumberWithUnit(std::map<std::string, double>{{"Hz", 1.0}, {"kHz", 1.0e3}, {"MHz", 1.0e6}},
                                  CLI::AsNumberWithUnit::CASE_INSENSITIVE))
        ->type_name("F1[,F2]")
        ->default_str("60MHz");
    command->add_option("--seed", options->seed, "Selects the specimen of the camera and its noise")
        ->check(checkSeed)
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--ambient", options->ambient, "Ambient light in kilolux, 0 to 1000")
        ->check(numberFrom(0.0, 1000.0))
        ->type_name("KLX")
        ->capture_default_str();
    command
        ->add_option("--temperature", options->temperature,
                     "Temperature of the illumination in degrees Celsius, -100 to 200")
        ->check(numberFrom(-100.0, 200.0))
        ->type_name("C")
        ->capture_default_str();
    command->add_flag("--no-noise", options->noNoise,
                      "No photon and read noise; the rounding to 12 bits remains");
    command->add_flag("--no-wiggling", options->noWiggling,
                      "A sensor whose correlation function is a pure sine");
    command->add_flag("--no-fixed-pattern", options->noFixedPattern, "A sensor whose pixels are all alike");
    command->add_flag("--intensity-image", options->intensityImage,
                      "Begin each frame with an intensity image");
    command
        ->add_option("--min-amplitude", options->pipeline.minAmplitude,
                     "Raw counts below which a pixel is invalid")
        ->check(numberFrom(0.0, 1.0e6))
        ->type_name("COUNTS")
        ->capture_default_str();
    command->add_option("-o,--out", options->folder, "Folder of the pictures; made if it is not there")
        ->type_name("FOLDER")
        ->capture_default_str();
    command
        ->add_option("--distance-range", options->distanceRange,
                     "Scale of distance.png in metres; by default the span of the scene")
        ->check(checkRange)
        ->type_name("MIN:MAX");
    command
        ->add_option("--amplitude-range", options->amplitudeRange,
                     "Scale of amplitude.png in counts per microsecond")
        ->check(checkRange)
        ->type_name("MIN:MAX")
        ->default_str("0:3");
    command
        ->add_option("--error-range", options->errorRange,
                     "Scale of error.png: plus and minus so much; by default 20, without noise 2")
        ->check(numberFrom(0.001, 1.0e6))
        ->type_name("MM");
    command->add_option("--enlarge", options->enlargement, "Size of a pixel in the colour pictures, 1 to 32")
        ->check(CLI::Range(1, 32))
        ->type_name("N")
        ->capture_default_str();
    command->add_flag("--json", options->json, "Print the figures as JSON");
    command->footer(sceneList() +
                    "\nExit codes: 0 good, 1 no finished frame or no valid pixel, 2 usage,\n"
                    "            3 the pipeline failed or a picture could not be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
