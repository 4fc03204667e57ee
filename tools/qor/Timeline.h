// SPDX-License-Identifier: Apache-2.0
//
// When the images of a recording were taken, and which are missing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/RecordingReader.h"

namespace qor {

// A place where images are missing or time stands out.
struct Gap {
    std::size_t packet = 0;  // the first after it
    std::string sentence;
};

class Timeline {
 public:
    // The packets of a recording in their order. Those without a readable input record do not count.
    void add(const recording::RecordedPacket& packet);

    std::size_t images() const { return images_; }

    // By the median time from frame to frame; none for fewer than two frames or a clock that stands still.
    std::optional<double> framesPerSecond() const;

    // Jumps of the imager's counter, positions in the frame that are left out, and times from frame to frame
    // that are more than half as long again as usual.
    std::vector<Gap> gaps() const;

 private:
    struct Image {
        std::int64_t counter = 0;   // of the imager, 12 bits
        std::int64_t position = 0;  // in the frame, from 0
    };

    // From the start of one frame to that of the next.
    struct Period {
        std::size_t packet = 0;
        std::uint32_t microseconds = 0;
    };

    void compare(const Image& before, const Image& now, std::size_t packet);
    std::optional<std::uint32_t> usualPeriod() const;

    std::size_t images_ = 0;
    std::optional<Image> latest_;
    std::optional<std::uint32_t> frameStart_;
    std::vector<Period> periods_;
    std::vector<Gap> gaps_;
};

}  // namespace qor
