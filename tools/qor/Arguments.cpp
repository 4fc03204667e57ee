// SPDX-License-Identifier: Apache-2.0

#include "qor/Arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "files/UnfinishedFile.h"
#include "qor/Reception.h"
#include "recording/Container.h"

namespace qor {
namespace {

// Without a sign, in 64 bits.
bool isWholeNumber(const std::string& text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

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

std::optional<simulation::BrightnessStep> readBrightnessStep(const std::string& text) {
    simulation::BrightnessStep step;
    const char* const end = text.data() + text.size();
    const auto [colon, error] = std::from_chars(text.data(), end, step.frame);
    if (error != std::errc{} || colon == end || *colon != ':' ||
        !CLI::detail::lexical_cast(std::string(colon + 1, end), step.factor) ||
        !(step.factor >= 0.0 && step.factor <= 1000.0)) {
        return std::nullopt;
    }
    return step;
}

std::string checkBrightnessStep(const std::string& text) {
    return readBrightnessStep(text) ? ""
                                    : "\"" + text +
                                          "\" is no step in brightness; write FRAME:FACTOR, for example "
                                          "10:0.05, with a factor from 0 "
                                          "to 1000";
}

std::string checkSeed(const std::string& text) {
    return isWholeNumber(text) ? "" : "\"" + text + "\" is no whole number from 0 to 18446744073709551615";
}

std::string checkPacketNumber(const std::string& text) {
    return isWholeNumber(text) ? ""
                               : "\"" + text + "\" is no number of a packet; these are 0, 1, 2 and so on";
}

std::string checkNotEmpty(const std::string& text) {
    return text.empty() ? "an empty name is no name" : "";
}

std::string checkRecordingName(const std::string& text) {
    if (files::isStream(text)) {
        return "";
    }
    const std::filesystem::path path = text;
    const bool good = path.has_stem() && (path.extension() == ".zelta" || recording::isContainerName(path));
    return good ? ""
                : "\"" + text +
                      "\" is no name of a recording; write FOLDER/NAME.zelta, or NAME.zeltaz for a "
                      "compressed one";
}

std::function<std::string(const std::string&)> numberFrom(double least, double most) {
    return [least, most](const std::string& text) {
        double value = 0.0;
        const bool good = CLI::detail::lexical_cast(text, value) && value >= least && value <= most;
        return good ? "" : fmt::format("\"{}\" is no number from {:g} to {:g}", text, least, most);
    };
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
    return fmt::format("{}", fmt::join(texts, separator));
}

std::string frequencyText(const std::vector<double>& hertz) {
    std::vector<std::string> texts;
    texts.reserve(hertz.size());
    for (const double frequency : hertz) {
        texts.push_back(fmt::format("{:g} MHz", frequency / 1.0e6));
    }
    return joined(texts, " + ");
}

std::string exposureText(const std::vector<std::int32_t>& microseconds) {
    std::vector<std::string> texts;
    texts.reserve(microseconds.size());
    for (const std::int32_t exposure : microseconds) {
        texts.push_back(fmt::format("{} us", exposure));
    }
    return joined(texts, " + ");
}

std::string numberText(const std::optional<double>& value, int decimals) {
    return value ? fmt::format("{:.{}f}", *value, decimals) : "-";
}

nlohmann::ordered_json orNull(const std::optional<double>& value) {
    return value && std::isfinite(*value) ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string byteText(std::uint64_t bytes) {
    constexpr std::array units{"kB", "MB", "GB", "TB"};
    if (bytes < 1000) {
        return fmt::format("{} bytes", bytes);
    }
    double value = static_cast<double>(bytes) / 1000.0;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < units.size()) {
        value /= 1000.0;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        if (code >= 32 && code < 127) {
            result += letter;
        } else {
            result += fmt::format("\\x{:02x}", code);
        }
    }
    return result;
}

void printJsonError(const std::string& command, const std::string& sentence) {
    printJson({{"command", command}, {"version", QOR_VERSION}, {"error", sentence}});
}

void printJson(const nlohmann::ordered_json& document) {
    const std::string text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    if (Reception* const reception = currentReception()) {
        reception->document = text;
        return;
    }
    fmt::print("{}\n", text);
}

}  // namespace qor
