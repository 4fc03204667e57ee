// SPDX-License-Identifier: Apache-2.0
//
// What the subcommands share in reading their command line and printing texts.

#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/Camera.h"

namespace qor {

struct Range {
    double minimum = 0.0;
    double maximum = 1.0;
};

// "MIN:MAX", two numbers, the second above the first; none if the text is something else.
std::optional<Range> readRange(const std::string& text);

// "FRAME:FACTOR", a whole number and a number from 0 to 1000; none if the text is something else.
std::optional<simulation::BrightnessStep> readBrightnessStep(const std::string& text);

// Checks of options. They return an empty text for a good value, otherwise what is wrong with it.
std::string checkRange(const std::string& text);
std::string checkBrightnessStep(const std::string& text);
std::string checkSeed(const std::string& text);
std::string checkPacketNumber(const std::string& text);
std::string checkNotEmpty(const std::string& text);

// NAME.zelta, NAME.zeltaz, "-", or something that takes bytes as they come.
std::string checkRecordingName(const std::string& text);
std::function<std::string(const std::string&)> numberFrom(double least, double most);

std::string joined(const std::vector<std::string>& texts, std::string_view separator);

// "60 MHz + 80 MHz" and "250 us + 2000 us".
std::string frequencyText(const std::vector<double>& hertz);
std::string exposureText(const std::vector<std::int32_t>& microseconds);

// A measurement with so many decimals; "-" if there is none.
std::string numberText(const std::optional<double>& value, int decimals);

// The same in a document: null if there is none, or if it is no number.
nlohmann::ordered_json orNull(const std::optional<double>& value);

// "3 packets", "1 packet".
std::string counted(std::uint64_t count, const std::string& noun);

// "58.1 kB": bytes in powers of a thousand.
std::string byteText(std::uint64_t bytes);

// A text from a file, made safe for a terminal: anything but printable ASCII becomes \xNN.
std::string printable(std::string_view text);

// The JSON of a command that ends with this sentence instead of its report: {"command", "version", "error"}.
void printJsonError(const std::string& command, const std::string& sentence);

// Writes one JSON document to standard output. Bytes that are not UTF-8 are replaced.
void printJson(const nlohmann::ordered_json& document);

}  // namespace qor
