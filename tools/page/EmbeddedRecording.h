// SPDX-License-Identifier: Apache-2.0
//
// Frames of a recording as a part of a page.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace page {

struct EmbeddedRecording {
    std::string name;
    std::string data;        // compressed, base 64
    std::size_t frames = 0;  // in it
    std::size_t left = 0;    // frames that were wanted, but did not fit
    std::string damage;      // why the recording cannot be read any further; empty if it can
};

// What comes before the first frame, and the frames that are wanted, as long as the data stays within `limit`
// bytes. Throws recording::RecordingError if there is no such recording, or if not one frame fits.
EmbeddedRecording embed(const std::filesystem::path& recording, std::uint64_t limit,
                        const std::function<bool(std::size_t frame)>& wanted);

// The element of the page that holds it.
std::string elementOf(const EmbeddedRecording& recording);

}  // namespace page
