// SPDX-License-Identifier: Apache-2.0

#include "qor/ResultFrame.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "plugin/Plugin.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "simulation/Image.h"

namespace qor {
namespace {

using simulation::pixelCount;

const std::string root = "QorDistanceImageIFOutput.";
const std::string errors = "QorDistanceImageDebug.perFrameErrors.";

std::uint32_t wholeNumber(const zelta::ZeltaChunk& chunk, const char* member) {
    return static_cast<std::uint32_t>(
        std::clamp(recording::numberOf(chunk, root + member), 0.0, 4294967295.0));
}

std::string textOf(const zelta::ZeltaChunk& chunk, const std::string& expression) {
    const unsigned int size = recording::countOf(recording::typeOf(chunk), expression);
    std::string text;
    for (const double character : recording::numbersOf(chunk, expression, size)) {
        if (character == 0.0) {
            break;
        }
        text += static_cast<char>(std::clamp(character, -128.0, 127.0));
    }
    return text;
}

}  // namespace

figures::Frame viewOf(const ResultFrame& frame) {
    return {frame.distance, frame.amplitude, frame.confidence, frame.noise, {}};
}

std::vector<std::uint8_t> usablePixels(const ResultFrame& frame) {
    std::vector<std::uint8_t> usable(frame.confidence.size());
    for (std::size_t i = 0; i < usable.size(); ++i) {
        usable[i] = isUsable(frame.confidence[i], frame.distance[i]) ? 1 : 0;
    }
    return usable;
}

zelta::Packet resultPacket(const std::vector<std::uint8_t>& bytes) {
    zelta::Packet packet;
    if (zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet) != 0) {
        throw plugin::PluginError("The plug-in's result is no packet.");
    }
    return packet;
}

std::optional<ResultFrame> frameIn(const zelta::Packet& result, bool withCoordinates) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(result, recording::channel::result);
    if (chunk == nullptr || recording::numberOf(*chunk, root + "outputInvalid") != 0.0) {
        return std::nullopt;
    }
    ResultFrame frame;
    frame.distance = recording::imageOf(*chunk, root + "distance", pixelCount);
    frame.amplitude = recording::imageOf(*chunk, root + "normalizedAmplitude", pixelCount);
    frame.confidence = recording::bytesOf(*chunk, root + "confidence", pixelCount);
    if (recording::numberOf(*chunk, root + "distanceNoiseInvalid") == 0.0) {
        frame.noise = recording::imageOf(*chunk, root + "distanceNoise", pixelCount);
    }
    if (recording::numberOf(*chunk, root + "intensityInvalid") == 0.0) {
        const std::vector<double> counts = recording::numbersOf(*chunk, root + "intensity", pixelCount);
        frame.intensity.assign(counts.begin(), counts.end());
    }
    frame.frameCounter = wholeNumber(*chunk, "frameCounter");
    frame.timestamp = wholeNumber(*chunk, "timestamp");
    if (withCoordinates && recording::numberOf(*chunk, root + "coord3Dinvalid") == 0.0) {
        frame.coordinates = Coordinates{recording::imageOf(*chunk, root + "X", pixelCount),
                                        recording::imageOf(*chunk, root + "Y", pixelCount),
                                        recording::imageOf(*chunk, root + "Z", pixelCount)};
    }
    return frame;
}

Rays raysIn(const zelta::Packet& result) {
    Rays rays;
    const zelta::ZeltaChunk* const chunk = recording::findChunk(result, recording::channel::result);
    const std::string conversion = root + "distToCartesian.";
    if (chunk == nullptr || !recording::hasMember(*chunk, conversion + "unitVector") ||
        !recording::hasMember(*chunk, conversion + "cameraCalibration.rotX")) {
        return rays;
    }
    rays.vectors = recording::imageOf(*chunk, conversion + "unitVector", 3 * pixelCount);
    // The rays are turned by the pose of the camera, and so is the axis (0, 0, 1).
    const double rotX = recording::numberOf(*chunk, conversion + "cameraCalibration.rotX");
    const double rotY = recording::numberOf(*chunk, conversion + "cameraCalibration.rotY");
    rays.axis = {std::sin(rotY), -std::cos(rotY) * std::sin(rotX), std::cos(rotY) * std::cos(rotX)};
    return rays;
}

std::optional<std::string> errorIn(const zelta::Packet& result) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(result, recording::channel::debug);
    if (chunk == nullptr || !(recording::numberOf(*chunk, errors + "numValidEntries") > 0.0)) {
        return std::nullopt;
    }
    const std::string first = errors + "entries[0].";
    return textOf(*chunk, first + "file") + "(" +
           std::to_string(static_cast<long>(recording::numberOf(*chunk, first + "line"))) +
           "): " + textOf(*chunk, first + "errorMsg");
}

}  // namespace qor
