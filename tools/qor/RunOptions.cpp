// SPDX-License-Identifier: Apache-2.0

#include "qor/RunOptions.h"

#include "files/UnfinishedFile.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/RunFolder.h"
#include "recording/Container.h"

namespace qor {

void addPluginOptions(CLI::App& command, RunOptions& options) {
    command.add_option("--plugin", options.plugin, "Plug-in; by default the libqor.so of this command")
        ->type_name("FILE");
    command
        .add_option("--set", options.overrides,
                    "Give a member of a recorded record another value, for example\n"
                    "QorDistanceImageIFInput.customization.minAmplitude=20; may be repeated")
        ->check(checkOverride)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("RECORD.MEMBER=VALUE");
    command
        .add_option(
            "--settings", options.settingsFiles,
            "A file of such values, one a line, # begins a comment; each run writes one, settings.txt.\n"
            "--set goes on top; may be repeated")
        ->check(checkNotEmpty)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("FILE");
}

void addRunOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("RECORDING", options.recording,
                    "Recording: every packet of it is fed once, in order; - for standard input")
        ->required()
        ->type_name("");
    addPluginOptions(command, options);
    command
        .add_option(
            "-o,--out", options.folder,
            "Folder of result.zelta and the pictures, made if needed; NAME.zeltaz writes only the result\n"
            "packets, compressed; - writes them to standard output and the report to standard error")
        ->check(checkNotEmpty)
        ->type_name("FOLDER")
        ->capture_default_str();
    command.add_flag("--force", options.force,
                     "Remove what an earlier run wrote into the folder; other files stay");
    command
        .add_option("--channels", options.channels,
                    "Also write these channels of the results, by name or number; all for every one")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(checkChannel)
        ->type_name("CHANNEL,...");
    command
        .add_option("--frames", options.frames,
                    "Keep results and draw pictures of these frames, numbered from 0; B is not included")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
    command.add_option("--cloud", options.clouds, "Also write point clouds: ply, pcd or ply,pcd")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember({"ply", "pcd"}))
        ->type_name("FORMAT");
    command
        .add_option("--distance-range", options.distanceRange,
                    "Scale of the distance pictures in metres; by default the span of the scene")
        ->check(checkRange)
        ->type_name("MIN:MAX");
    command
        .add_option("--amplitude-range", options.amplitudeRange,
                    "Scale of the amplitude pictures in counts per microsecond; by default from 0 to what\n"
                    "all but the strongest hundredth of the first picture have")
        ->check(checkRange)
        ->type_name("MIN:MAX");
    command
        .add_option("--error-range", options.errorRange,
                    "Scale of the error pictures, from minus to plus this; by default 20, without noise 2")
        ->check(numberFrom(0.001, 1.0e6))
        ->type_name("MM");
    command.add_option("--enlarge", options.enlargement, "Size of a pixel in the colour pictures, 1 to 32")
        ->check(CLI::Range(1, 32))
        ->type_name("N")
        ->capture_default_str();
    command.add_flag("--json", options.json, "Print the figures as JSON");
    command.add_flag("--quiet", options.quiet, "No progress and no report; only what is wrong");
}

bool isOneFile(const std::filesystem::path& out) {
    return files::isStream(out) || recording::isContainerName(out);
}

ReplaySettings replaySettings(const RunOptions& options) {
    ReplaySettings settings;
    settings.recording = options.recording;
    settings.channels = readChannels(options.channels).value();
    settings.results = isOneFile(options.folder) ? options.folder : options.folder / RunFolder::resultName;
    settings.withCoordinates = !options.clouds.empty();
    settings.frames = readFrameSelection(options.frames).value_or(FrameSelection{});
    for (const std::filesystem::path& file : options.settingsFiles) {
        const std::vector<Override> overrides = readSettings(file);
        settings.overrides.insert(settings.overrides.end(), overrides.begin(), overrides.end());
    }
    for (const std::string& text : options.overrides) {
        settings.overrides.push_back(readOverride(text).value());
    }
    return settings;
}

}  // namespace qor
