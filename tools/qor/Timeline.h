// SPDX-License-Identifier: Apache-2.0
//
// When the images of a recording were taken, and which are missing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plugin/FrameSequence.h"
#include "plugin/ImageInfo.h"

namespace qor {

// A place where images are missing or out of order, or time stands out.
struct Gap {
    std::size_t packet = 0;  // the first after it
    std::string sentence;
};

class Timeline {
 public:
    // The images of a recording in their order; `packet` is where one stands.
    void add(const plugin::ImageInfo& image, std::size_t packet);

    std::size_t images() const { return images_; }

    // By the median time from frame to frame; none for fewer than two frames or a clock that stands still.
    std::optional<double> framesPerSecond() const;

    // What keeps frames from being whole, images that are missing between frames, a clock that goes back, and
    // times from frame to frame that are more than half as long again as usual. Ask after the last image.
    std::vector<Gap> gaps() const;

 private:
    // From the start of one frame to that of the next.
    struct Period {
        std::size_t packet = 0;
        std::int32_t microseconds = 0;  // below 0 if the clock goes back
    };

    void addStart(const plugin::ImageInfo& image, std::size_t packet);
    std::optional<std::int32_t> usualPeriod() const;

    std::size_t images_ = 0;
    std::size_t lastPacket_ = 0;
    plugin::FrameSequence sequence_;
    std::optional<std::uint32_t> frameStart_;
    std::vector<Period> periods_;
    std::vector<Gap> gaps_;
};

}  // namespace qor
