// SPDX-License-Identifier: Apache-2.0

#include "exporting/Channel.h"

#include <utility>

#include "simulation/Image.h"

namespace exporting {
namespace {

constexpr std::size_t largestSide = 32768;  // of a picture, pixels

}  // namespace

std::vector<Picture> picturesOf(const Channel& channel) {
    std::vector<std::size_t> shape = channel.array.shape;
    if (shape.size() == 1 && shape[0] == simulation::pixelCount) {
        shape = {simulation::imageHeight, simulation::imageWidth};
    }
    const bool isPicture = (shape.size() == 2 || shape.size() == 3) && channel.array.count() > 0 &&
                           shape[shape.size() - 2] <= largestSide && shape.back() <= largestSide;
    if (!isPicture) {
        throw ExportError("\"" + channel.name + "\" is " + arrays::shapeText(channel.array.shape) +
                          ", which makes no picture; npy, npz and csv take it.");
    }
    const std::size_t height = shape[shape.size() - 2];
    const std::size_t width = shape.back();
    const std::vector<double> values = arrays::numbersOf(channel.array);
    std::vector<Picture> pictures;
    for (std::size_t k = 0; k * height * width < values.size(); ++k) {
        const auto begin = values.begin() + static_cast<std::ptrdiff_t>(k * height * width);
        const std::string number = shape.size() == 3 ? std::to_string(k) : std::string();
        pictures.push_back({channel.name + number, channel.unit, channel.array.type, width, height,
                            std::vector<double>(begin, begin + static_cast<std::ptrdiff_t>(height * width))});
    }
    return pictures;
}

}  // namespace exporting
