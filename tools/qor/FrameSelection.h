// SPDX-License-Identifier: Apache-2.0
//
// Which frames of a recording are selected: A:B:STEP, from A on, before B, every STEP-th.

#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>

namespace qor {

struct FrameSelection {
    std::size_t from = 0;
    std::size_t end = std::numeric_limits<std::size_t>::max();  // the first that is not selected
    std::size_t step = 1;

    bool contains(std::size_t frame) const {
        return frame >= from && frame < end && (frame - from) % step == 0;
    }

    // How many of the first `frames` frames are selected.
    std::size_t countOf(std::size_t frames) const {
        const std::size_t last = std::min(end, frames);
        return last <= from ? 0 : (last - from - 1) / step + 1;
    }

    // Whether the selection ends at some frame.
    bool ends() const { return end != std::numeric_limits<std::size_t>::max(); }

    // Whether neither this frame nor a later one is selected.
    bool isOver(std::size_t frame) const { return frame >= end; }
};

// "7", "3:", ":5", "2:8", "0:100:10"; none for anything else and for a selection without frames.
std::optional<FrameSelection> readFrameSelection(const std::string& text);

std::string checkFrameSelection(const std::string& text);

}  // namespace qor
