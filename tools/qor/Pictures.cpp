// SPDX-License-Identifier: Apache-2.0

#include "qor/Pictures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

#include "figures/Quantile.h"
#include "imaging/Figure.h"
#include "imaging/Png.h"
#include "imaging/PointCloud.h"
#include "qor/PixelStates.h"
#include "simulation/Image.h"

namespace qor {
namespace {

using simulation::imageHeight;
using simulation::imageWidth;
using simulation::pixelCount;

// The first of 1, 2, 5, 10, 20, 50 and so on that is not below the value, of a thousandth and up.
double roundedUp(double value) {
    for (int exponent = -3;; ++exponent) {
        const double decade = exponent < 0 ? 1.0 / std::pow(10.0, -exponent) : std::pow(10.0, exponent);
        for (const double step : {1.0, 2.0, 5.0}) {
            if (step * decade >= value) {
                return step * decade;
            }
        }
    }
}

std::vector<float> inMillimetres(std::span<const float> metres) {
    std::vector<float> result(metres.begin(), metres.end());
    for (float& value : result) {
        value *= 1000.0F;
    }
    return result;
}

}  // namespace

std::filesystem::path filePath(const std::filesystem::path& folder, std::size_t frame,
                               std::string_view name) {
    return folder / fmt::format("{:05}_{}", frame, name);
}

std::vector<std::filesystem::path> writePictures(const PictureSettings& settings, std::size_t frameNumber,
                                                 const ResultFrame& frame, std::span<const float> errors) {
    const std::vector<std::uint8_t> usable = usablePixels(frame);
    std::vector<std::uint8_t> state(pixelCount);
    std::transform(frame.confidence.begin(), frame.confidence.end(), usable.begin(), state.begin(), stateOf);
    std::vector<std::filesystem::path> paths;
    const auto pathOf = [&](const char* name) {
        paths.push_back(filePath(settings.folder, frameNumber, name));
        if (settings.announce) {
            settings.announce(paths.back().filename().string());
        }
        return paths.back();
    };
    const auto drawWhere = [&](std::span<const std::uint8_t> shown, const char* name, const char* title,
                               std::span<const float> values, const imaging::Scale& scale) {
        imaging::writePng(pathOf(name),
                          imaging::drawFigure({title, settings.subtitle}, values, shown, imageWidth,
                                              imageHeight, scale, settings.enlargement));
    };
    const auto draw = [&](const char* name, const char* title, std::span<const float> values,
                          const imaging::Scale& scale) { drawWhere(usable, name, title, values, scale); };

    imaging::writeDistancePng(pathOf("distance_mm.png"), frame.distance, usable, imageWidth, imageHeight);
    draw("distance.png", "Distance", frame.distance,
         {imaging::ColorMap::Turbo, settings.distance.minimum, settings.distance.maximum, "metres"});
    draw("amplitude.png", "Amplitude", frame.amplitude,
         {imaging::ColorMap::Viridis, settings.amplitude.minimum, settings.amplitude.maximum, "counts / us"});
    imaging::writePng(pathOf("confidence.png"),
                      imaging::drawFigure({"Confidence", settings.subtitle}, state, imageWidth, imageHeight,
                                          pixelStates(), settings.enlargement));
    if (!frame.noise.empty()) {
        draw("noise.png", "Noise of the distance", inMillimetres(frame.noise),
             {imaging::ColorMap::Viridis, 0.0, 1000.0 * settings.noise, "mm"});
    }
    if (!frame.intensity.empty()) {
        const std::vector<std::uint8_t> everywhere(pixelCount, 1);
        drawWhere(
            everywhere, "intensity.png", "Intensity", frame.intensity,
            {imaging::ColorMap::Grey, settings.intensity.minimum, settings.intensity.maximum, "counts"});
    }
    if (!errors.empty()) {
        draw("error.png", "Distance less truth", inMillimetres(errors),
             {imaging::ColorMap::BlueWhiteRed, -1000.0 * settings.error, 1000.0 * settings.error, "mm"});
    }
    return paths;
}

std::filesystem::path writeCloud(const std::filesystem::path& folder, std::size_t frameNumber,
                                 const std::string& format, const ResultFrame& frame) {
    const Coordinates& coordinates = frame.coordinates.value();
    const std::vector<std::uint8_t> usable = usablePixels(frame);
    const imaging::PointImage points{coordinates.X, coordinates.Y, coordinates.Z, frame.amplitude,
                                     usable,        imageWidth,    imageHeight};
    std::filesystem::path path = filePath(folder, frameNumber, "points." + format);
    if (format == "ply") {
        imaging::writePly(path, points);
    } else {
        imaging::writePcd(path, points);
    }
    return path;
}

Range distanceRangeOf(const ResultFrame& frame) {
    std::vector<float> distances;
    for (std::size_t i = 0; i < frame.distance.size(); ++i) {
        if (isUsable(frame.confidence[i], frame.distance[i])) {
            distances.push_back(frame.distance[i]);
        }
    }
    const std::optional<double> furthest = figures::quantile(std::move(distances), 0.99);
    if (!furthest) {
        return {};
    }
    constexpr double step = 0.5;  // metres
    return {0.0, std::clamp(std::ceil(*furthest / step) * step, step, 1000.0)};
}

Range amplitudeRangeOf(const ResultFrame& frame) {
    std::vector<float> amplitudes;
    for (std::size_t i = 0; i < frame.amplitude.size(); ++i) {
        if (isUsable(frame.confidence[i], frame.distance[i]) && std::isfinite(frame.amplitude[i])) {
            amplitudes.push_back(frame.amplitude[i]);
        }
    }
    const std::optional<double> strongest = figures::quantile(std::move(amplitudes), 0.99);
    return strongest ? Range{0.0, roundedUp(*strongest)} : PictureSettings{}.amplitude;
}

Range intensityRangeOf(const ResultFrame& frame) {
    std::vector<float> counts;
    std::copy_if(frame.intensity.begin(), frame.intensity.end(), std::back_inserter(counts),
                 [](float count) { return std::isfinite(count); });
    const std::optional<double> brightest = figures::quantile(std::move(counts), 0.99);
    return brightest ? Range{0.0, std::max(roundedUp(*brightest), 1.0)} : PictureSettings{}.intensity;
}

}  // namespace qor
