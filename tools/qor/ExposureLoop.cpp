// SPDX-License-Identifier: Apache-2.0

#include "qor/ExposureLoop.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "figures/Quantile.h"
#include "qor/Arguments.h"
#include "qor/ResultFrame.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

std::int32_t proposedTime(const zelta::ZeltaChunk& result, const char* member) {
    const double time = recording::numberOf(result, std::string("QorDistanceImageIFOutput.") + member);
    if (std::isnan(time)) {
        return 0;  // a time that the camera refuses
    }
    return static_cast<std::int32_t>(
        std::clamp(time, 0.0, static_cast<double>(std::numeric_limits<std::int32_t>::max())));
}

// The proposal for a single exposure stands where two exposures have that of the longer one.
std::vector<std::int32_t> proposalIn(const zelta::ZeltaChunk& result, std::size_t exposures) {
    std::vector<std::int32_t> times;
    if (exposures == 2) {
        times.push_back(proposedTime(result, "shortAutoExpTime"));
    }
    times.push_back(proposedTime(result, "longAutoExpTime"));
    return times;
}

std::size_t saturatedPixels(const ResultFrame& frame) {
    return static_cast<std::size_t>(std::count_if(frame.confidence.begin(), frame.confidence.end(),
                                                  [](std::uint8_t c) { return (c & saturatedBit) != 0; }));
}

std::optional<double> medianAmplitude(const ResultFrame& frame,
                                      const std::vector<std::int32_t>& exposureTimes) {
    std::vector<double> counts;
    for (std::size_t i = 0; i < frame.amplitude.size(); ++i) {
        if (isUsable(frame.confidence[i], frame.distance[i]) && std::isfinite(frame.amplitude[i])) {
            const bool last = (frame.confidence[i] & lastExposureBit) != 0;
            counts.push_back(static_cast<double>(frame.amplitude[i]) *
                             (last ? exposureTimes.back() : exposureTimes.front()));
        }
    }
    return figures::quantile(std::move(counts), 0.5);
}

}  // namespace

ExposureLoop::ExposureLoop(plugin::Plugin& algorithm, const std::vector<std::uint8_t>& calibrationPacket)
    : algorithm_(algorithm) {
    algorithm_.process(calibrationPacket);
}

std::optional<ExposedFrame> ExposureLoop::process(const std::vector<std::uint8_t>& packet,
                                                  const std::vector<std::int32_t>& exposureTimes) {
    algorithm_.process(packet);
    const std::vector<std::uint8_t> bytes = algorithm_.result(true);
    if (bytes.empty()) {
        return std::nullopt;
    }
    const zelta::Packet result = resultPacket(bytes);
    const std::optional<ResultFrame> finished = frameIn(result, false);
    if (!finished) {
        return std::nullopt;
    }
    ExposedFrame frame;
    frame.number = frames_++;
    frame.exposureTimes = exposureTimes;
    frame.saturatedPixels = saturatedPixels(*finished);
    frame.medianAmplitude = medianAmplitude(*finished, exposureTimes);
    frame.proposedTimes =
        proposalIn(*recording::findChunk(result, recording::channel::result), exposureTimes.size());
    return frame;
}

void printExposure(const std::vector<ExposedFrame>& frames) {
    fmt::print("\n{:>5}  {:>10}  {:>19}  {:>10}  {:>10}  {:>19}\n", "Frame", "Brightness", "Exposure",
               "Saturated", "Amplitude", "Proposed");
    for (const ExposedFrame& frame : frames) {
        fmt::print("{:>5}  {:>10.4g}  {:>19}  {:>10}  {:>10}  {:>19}\n", frame.number, frame.brightness,
                   exposureText(frame.exposureTimes), frame.saturatedPixels,
                   numberText(frame.medianAmplitude, 0), exposureText(frame.proposedTimes));
    }
    fmt::print("Saturated counts pixels, amplitude is the median of the usable ones in raw counts.\n");
}

nlohmann::ordered_json exposureJson(const std::vector<ExposedFrame>& frames) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const ExposedFrame& frame : frames) {
        list.push_back({{"frame", frame.number},
                        {"brightness", frame.brightness},
                        {"exposuresMicroseconds", frame.exposureTimes},
                        {"saturatedPixels", frame.saturatedPixels},
                        {"medianAmplitude", orNull(frame.medianAmplitude)},
                        {"proposedMicroseconds", frame.proposedTimes}});
    }
    return list;
}

}  // namespace qor
