// SPDX-License-Identifier: Apache-2.0
//
// Members of recorded records that get another value on the way to the plug-in.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "recording/RecordingReader.h"

namespace qor {

// The record is named by the first part of the expression. Values are numbers or names, as
// recording::withNumbers takes them.
struct Override {
    std::string expression;
    std::string value;
    std::string origin = "--set";  // the start of a sentence about a fault

    std::string recordName() const;
    std::string text() const { return expression + "=" + value; }
};

// "RECORD.MEMBER=VALUE", with any blanks around its parts; none for a text without a name or a value.
std::optional<Override> readOverride(const std::string& text);

std::string checkOverride(const std::string& text);

// The overrides of a file: one per line; "#" begins a comment; empty lines are skipped. Throws
// recording::RecordError with a sentence that names the file and the line,
// recording::RecordingError if the file cannot be read.
std::vector<Override> readSettings(const std::filesystem::path& file);

// Writes the values into every chunk of the packet whose record has the name. Returns for each override
// whether there was such a chunk. Throws recording::RecordError with a sentence.
std::vector<bool> applyOverrides(const std::vector<Override>& overrides, recording::RecordedPacket& packet);

// Looks into the recording until each override has found its record and fits there; the reader gives the same
// packets afterwards. Throws recording::RecordError if one is no expression, does not fit or finds no record;
// in a recording from a pipe, within its first 256 MB.
void checkOverrides(const std::vector<Override>& overrides, recording::RecordingReader& reader);

}  // namespace qor
