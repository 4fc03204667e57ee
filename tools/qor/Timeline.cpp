// SPDX-License-Identifier: Apache-2.0

#include "qor/Timeline.h"

#include <fmt/format.h>

#include <algorithm>

#include "qor/Arguments.h"

namespace qor {
namespace {

constexpr double strikinglyLong = 1.5;  // of the usual time

}  // namespace

void Timeline::add(const plugin::ImageInfo& image, std::size_t packet) {
    ++images_;
    lastPacket_ = packet;
    const std::size_t missingBefore = sequence_.missingBetweenFrames();
    const plugin::FrameSequence::Verdict verdict = sequence_.next(image);
    if (!verdict.loss.empty()) {
        gaps_.push_back({packet, verdict.loss});
    }
    if (const std::size_t missing = sequence_.missingBetweenFrames() - missingBefore; missing > 0) {
        gaps_.push_back({packet, "Missing between two frames: " + counted(missing, "image") + "."});
    }
    if (image.sequence == 0) {
        addStart(image, packet);
    }
}

// The clock wraps, and so does the difference.
void Timeline::addStart(const plugin::ImageInfo& image, std::size_t packet) {
    if (frameStart_) {
        periods_.push_back({packet, static_cast<std::int32_t>(image.clock - *frameStart_)});
    }
    frameStart_ = image.clock;
}

std::optional<std::int32_t> Timeline::usualPeriod() const {
    std::vector<std::int32_t> times;
    for (const Period& period : periods_) {
        if (period.microseconds >= 0) {
            times.push_back(period.microseconds);
        }
    }
    if (times.empty()) {
        return std::nullopt;
    }
    // Of an even number the lower one: frames that are lost make periods longer, nothing makes them shorter.
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>((times.size() - 1) / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle == 0 ? std::nullopt : std::optional(*middle);
}

std::optional<double> Timeline::framesPerSecond() const {
    const auto usual = usualPeriod();
    return usual ? std::optional(1.0e6 / *usual) : std::nullopt;
}

std::vector<Gap> Timeline::gaps() const {
    std::vector<Gap> all = gaps_;
    const auto usual = usualPeriod();
    for (const Period& period : periods_) {
        const double seconds = period.microseconds / 1.0e6;
        if (period.microseconds < 0) {
            all.push_back({period.packet, fmt::format("The clock goes back by {:.6f} s.", -seconds)});
        } else if (usual && period.microseconds > strikinglyLong * *usual) {
            all.push_back(
                {period.packet, fmt::format("The frame begins {:.3f} s after the one before, where {:.3f} s "
                                            "are usual.",
                                            seconds, *usual / 1.0e6)});
        }
    }
    if (const std::string end = sequence_.atEnd(); !end.empty()) {
        all.push_back({lastPacket_, end});
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const Gap& left, const Gap& right) { return left.packet < right.packet; });
    return all;
}

}  // namespace qor
