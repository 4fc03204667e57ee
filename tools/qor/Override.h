// SPDX-License-Identifier: Apache-2.0
//
// Members of recorded records that get another value on the way to the plug-in.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "recording/RecordingReader.h"

namespace qor {

// The record is named by the first part of the expression.
struct Override {
    std::string expression;
    std::string value;

    std::string recordName() const;
    std::string text() const { return expression + "=" + value; }
};

// "RECORD.MEMBER=VALUE"; none for anything else.
std::optional<Override> readOverride(const std::string& text);

std::string checkOverride(const std::string& text);

// Writes the values into every chunk of the packet whose record has the name. Returns for each override
// whether there was one. Throws recording::RecordError with a sentence.
std::vector<bool> applyOverrides(const std::vector<Override>& overrides, recording::RecordedPacket& packet);

// Reads the recording until each override has found its record and fits there. Throws
// recording::RecordError if one is no expression, does not fit or finds none, or if the recording comes
// through a pipe, which leaves nothing to replay.
void checkOverrides(const std::vector<Override>& overrides, const std::filesystem::path& recordingPath);

}  // namespace qor
