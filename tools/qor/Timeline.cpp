// SPDX-License-Identifier: Apache-2.0

#include "qor/Timeline.h"

#include <fmt/format.h>

#include <algorithm>

#include "qor/Arguments.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

constexpr std::int64_t counterValues = 4096;  // the imager counts in 12 bits
constexpr double strikinglyLong = 1.5;        // of the usual time

}  // namespace

void Timeline::add(const recording::RecordedPacket& packet) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(packet.chunks, recording::channel::input);
    if (chunk == nullptr) {
        return;
    }
    const std::string info = "QorDistanceImageIFInput.phaseInfo.";
    try {
        const Image image{static_cast<std::int64_t>(recording::numberOf(*chunk, info + "frameCounter")),
                          static_cast<std::int64_t>(recording::numberOf(*chunk, info + "sequenceCounter"))};
        const auto time = static_cast<std::uint32_t>(recording::numberOf(*chunk, info + "timestamp"));
        ++images_;
        if (latest_) {
            compare(*latest_, image, packet.index);
        }
        latest_ = image;
        if (image.position != 0) {
            return;
        }
        if (frameStart_) {
            periods_.push_back({packet.index, time - *frameStart_});  // the clock wraps, and so does this
        }
        frameStart_ = time;
    } catch (const recording::RecordError&) {
        return;  // the readers of the record report what is wrong with it
    }
}

void Timeline::compare(const Image& before, const Image& now, std::size_t packet) {
    const std::int64_t steps =
        ((now.counter - before.counter) % counterValues + counterValues) % counterValues;
    if (steps != 1) {
        gaps_.push_back(
            {packet, fmt::format("packet {}: the imager's counter goes from {} to {}{}.", packet,
                                 before.counter, now.counter,
                                 steps > 1 && steps < counterValues / 2
                                     ? "; missing: " + counted(static_cast<std::uint64_t>(steps - 1), "image")
                                     : "")});
    }
    if (now.position != 0 && now.position != before.position + 1) {
        gaps_.push_back({packet, fmt::format("packet {}: image {} of the frame follows image {}.", packet,
                                             now.position, before.position)});
    }
}

std::optional<std::uint32_t> Timeline::usualPeriod() const {
    if (periods_.empty()) {
        return std::nullopt;
    }
    std::vector<std::uint32_t> times;
    for (const Period& period : periods_) {
        times.push_back(period.microseconds);
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
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
        if (usual && period.microseconds > strikinglyLong * *usual) {
            all.push_back(
                {period.packet,
                 fmt::format("packet {}: {:.3f} s after the frame before, where {:.3f} s are usual.",
                             period.packet, period.microseconds / 1.0e6, *usual / 1.0e6)});
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const Gap& left, const Gap& right) { return left.packet < right.packet; });
    return all;
}

}  // namespace qor
