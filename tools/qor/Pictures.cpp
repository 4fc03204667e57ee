// SPDX-License-Identifier: Apache-2.0

#include "qor/Pictures.h"

#include "imaging/Figure.h"
#include "imaging/Png.h"
#include "simulation/Image.h"

namespace qor {
namespace {

using simulation::imageHeight;
using simulation::imageWidth;
using simulation::pixelCount;

// The states of a pixel, in the order of the key. What makes a pixel invalid comes first that explains the
// others.
enum State : std::uint8_t {
    LastExposure,
    FirstExposure,
    Saturated,
    Asymmetric,
    LowAmplitude,
    Unassigned,
    OtherFault
};

const std::vector<imaging::Category>& states() {
    static const std::vector<imaging::Category> categories{
        {{46, 125, 170}, "valid"},        {{120, 190, 220}, "valid, first exposure"},
        {{250, 200, 40}, "saturated"},    {{190, 60, 150}, "asymmetric"},
        {{70, 74, 84}, "low amplitude"},  {{225, 90, 50}, "no assignment"},
        {{0, 0, 0}, "invalid otherwise"},
    };
    return categories;
}

State stateOf(std::uint8_t confidence) {
    const auto has = [confidence](unsigned bit) { return (confidence & bit) != 0; };
    if (!has(invalidBit)) {
        return has(lastExposureBit) ? LastExposure : FirstExposure;
    }
    if (has(0x02)) {
        return Saturated;
    }
    if (has(0x20)) {
        return Unassigned;
    }
    if (has(0x08)) {
        return LowAmplitude;
    }
    return has(0x04) ? Asymmetric : OtherFault;
}

}  // namespace

std::vector<std::filesystem::path> writePictures(const PictureSettings& settings, const PipelineFrame& frame,
                                                 const simulation::Truth& truth, const Accuracy& accuracy) {
    std::vector<std::uint8_t> valid(pixelCount);
    std::vector<std::uint8_t> state(pixelCount);
    std::vector<float> millimetresOff(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        valid[i] = (frame.confidence[i] & invalidBit) == 0 ? 1 : 0;
        state[i] = stateOf(frame.confidence[i]);
        millimetresOff[i] = static_cast<float>(
            1000.0 * accuracy.errorOf(static_cast<double>(frame.distance[i]), truth.distance[i]));
    }
    std::vector<std::filesystem::path> paths;
    const auto pathOf = [&](const char* name) { return paths.emplace_back(settings.folder / name); };
    const auto draw = [&](const char* name, const char* title, const std::vector<float>& values,
                          const imaging::Scale& scale) {
        imaging::writePng(pathOf(name),
                          imaging::drawFigure({title, settings.subtitle}, values, valid, imageWidth,
                                              imageHeight, scale, settings.enlargement));
    };

    imaging::writeDistancePng(pathOf("distance_mm.png"), frame.distance, valid, imageWidth, imageHeight);
    draw("distance.png", "Distance", frame.distance,
         {imaging::ColorMap::Turbo, settings.distance.minimum, settings.distance.maximum, "metres"});
    draw("amplitude.png", "Amplitude", frame.amplitude,
         {imaging::ColorMap::Viridis, settings.amplitude.minimum, settings.amplitude.maximum, "counts / us"});
    imaging::writePng(pathOf("confidence.png"),
                      imaging::drawFigure({"Confidence", settings.subtitle}, state, imageWidth, imageHeight,
                                          states(), settings.enlargement));
    draw("error.png", "Distance less truth", millimetresOff,
         {imaging::ColorMap::BlueWhiteRed, -1000.0 * settings.error, 1000.0 * settings.error, "mm"});
    return paths;
}

}  // namespace qor
