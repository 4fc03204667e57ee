// SPDX-License-Identifier: Apache-2.0

#include "qor/ChannelSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

namespace qor {
namespace {

enum class Often { Once, EachImage, EachFrame };

struct ResultChannel {
    int number;
    std::string_view name;
    std::string_view holds;
    bool inShortForm;
    Often often;
    double bytes;  // of a chunk, with its definition and marks
};

using namespace recording;

constexpr std::array resultChannels{
    ResultChannel{channel::result, "result", "the images of a finished frame; always written", true,
                  Often::EachFrame, 1'503'148},
    ResultChannel{channel::input, "input", "the settings of an image, as the algorithm read them", true,
                  Often::EachImage, 21'504},
    ResultChannel{channel::rawImage, "raw", "the samples of an image, packed", false, Often::EachImage,
                  58'232},
    ResultChannel{channel::calibration, "calibration", "the calibration, as the algorithm read it", true,
                  Often::Once, 1'311'028},
    ResultChannel{channel::state, "state", "the whole state of the pipeline after an image", false,
                  Often::EachImage, 15'469'908},
    ResultChannel{channel::pipelineInput, "pipeline-input", "what the pipeline took in", false,
                  Often::EachImage, 21'700},
    ResultChannel{channel::pipelineOutput, "pipeline-output", "what its first stages gave out", false,
                  Often::EachImage, 116'200},
    ResultChannel{channel::debug, "debug", "the errors that its stages met", true, Often::EachImage, 6'456},
    ResultChannel{channel::profiling, "profiling", "the time that its stages took", true, Often::EachImage,
                  872},
    ResultChannel{channel::calibrationError, "calibration-error", "what is wrong with the calibration", false,
                  Often::Once, 640},
    ResultChannel{channel::auxiliary, "auxiliary", "serial number and registers of the camera", false,
                  Often::Once, 476},
};

}  // namespace

std::optional<int> channelNumber(const std::string& text) {
    const auto* const named =
        std::find_if(resultChannels.begin(), resultChannels.end(),
                     [&text](const ResultChannel& candidate) { return candidate.name == text; });
    if (named != resultChannels.end()) {
        return named->number;
    }
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && rest == end && number >= 0 ? std::optional(number) : std::nullopt;
}

bool ChannelSelection::add(const std::string& text) {
    if (text == "all") {
        all_ = true;
        return true;
    }
    const std::optional<int> number = channelNumber(text);
    if (number) {
        channels_.insert(*number);
    }
    return number.has_value();
}

bool ChannelSelection::isInShortForm() const {
    const auto isShort = [](int number) {
        return std::any_of(
            resultChannels.begin(), resultChannels.end(),
            [number](const ResultChannel& known) { return known.number == number && known.inShortForm; });
    };
    return !all_ && std::all_of(channels_.begin(), channels_.end(), isShort);
}

std::uint64_t ChannelSelection::expectedBytes(std::uint64_t frames, double imagesPerFrame) const {
    const auto count = static_cast<double>(frames);
    double bytes = 0.0;
    for (const ResultChannel& known : resultChannels) {
        if (contains(known.number)) {
            const double times = known.often == Often::Once        ? 1.0
                                 : known.often == Often::EachFrame ? count
                                                                   : count * imagesPerFrame;
            bytes += known.bytes * times;
        }
    }
    return static_cast<std::uint64_t>(std::llround(bytes));
}

std::optional<ChannelSelection> readChannels(const std::vector<std::string>& texts) {
    ChannelSelection selection;
    for (const std::string& text : texts) {
        if (!selection.add(text)) {
            return std::nullopt;
        }
    }
    return selection;
}

std::string checkChannel(const std::string& text) {
    return readChannels({text})
               ? ""
               : "\"" + text + "\" is no channel; write one of the names below, a number, or all";
}

std::string checkOneChannel(const std::string& text) {
    return channelNumber(text) ? ""
                               : "\"" + text + "\" is no channel; write a name such as input, or a number";
}

std::string channelList() {
    std::string text = "Channels of a result:\n";
    for (const ResultChannel& known : resultChannels) {
        text += fmt::format("  {:<18} {}  {}\n", known.name, known.number, known.holds);
    }
    return text;
}

}  // namespace qor
