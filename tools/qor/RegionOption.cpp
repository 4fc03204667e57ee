// SPDX-License-Identifier: Apache-2.0

#include "qor/RegionOption.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>
#include <vector>

#include "arrays/PngImage.h"
#include "figures/Region.h"
#include "simulation/Image.h"

namespace qor {
namespace {

constexpr std::string_view howToWrite =
    "write NAME=rect:X,Y,WIDTH,HEIGHT, NAME=polygon:X,Y,X,Y,X,Y,... or NAME=mask:FILE.png";

bool isNameLetter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '_' || letter == '-';
}

[[noreturn]] void refuse(const std::string& text) {
    throw RegionError(fmt::format("\"{}\" is no region; {}.", text, howToWrite));
}

std::vector<double> numbersIn(std::string_view list, const std::string& text) {
    std::vector<double> numbers;
    while (true) {
        const std::size_t comma = list.find(',');
        const std::string_view part = list.substr(0, comma);
        double number = 0.0;
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
        if (error != std::errc{} || end != part.data() + part.size() || !std::isfinite(number)) {
            refuse(text);
        }
        numbers.push_back(number);
        if (comma == std::string_view::npos) {
            return numbers;
        }
        list.remove_prefix(comma + 1);
    }
}

figures::Mask polygonOf(const std::vector<double>& numbers) {
    std::vector<figures::Point> corners;
    for (std::size_t k = 0; k + 1 < numbers.size(); k += 2) {
        corners.push_back({numbers[k], numbers[k + 1]});
    }
    return figures::polygon(corners);
}

figures::Mask maskIn(const std::string& file) {
    arrays::Array image;
    try {
        image = arrays::readPng(file);
    } catch (const arrays::ArrayError& error) {
        throw RegionError(error.what());
    }
    const std::vector<std::size_t> shape{static_cast<std::size_t>(simulation::imageHeight),
                                         static_cast<std::size_t>(simulation::imageWidth)};
    if (image.shape != shape) {
        throw RegionError(fmt::format("{} has {} pixels, rows first; a mask has {}.", file,
                                      arrays::shapeText(image.shape), arrays::shapeText(shape)));
    }
    figures::Mask mask;
    for (const double value : arrays::numbersOf(image)) {
        mask.push_back(value > 0.0 ? 1 : 0);
    }
    return mask;
}

figures::Mask maskOf(const std::string& kind, const std::string& value, const std::string& text) {
    if (kind == "mask" && !value.empty()) {
        return maskIn(value);
    }
    if (kind == "rect") {
        const std::vector<double> numbers = numbersIn(value, text);
        if (numbers.size() == 4) {
            return figures::rectangle(numbers[0], numbers[1], numbers[2], numbers[3]);
        }
    }
    if (kind == "polygon") {
        const std::vector<double> numbers = numbersIn(value, text);
        if (numbers.size() >= 6 && numbers.size() % 2 == 0) {
            return polygonOf(numbers);
        }
    }
    refuse(text);
}

}  // namespace

Region readRegion(const std::string& text) {
    const std::size_t equals = text.find('=');
    const std::size_t colon = text.find(':', equals == std::string::npos ? 0 : equals);
    if (equals == std::string::npos || equals == 0 || colon == std::string::npos ||
        !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(equals), isNameLetter)) {
        refuse(text);
    }
    Region region{text.substr(0, equals),
                  maskOf(text.substr(equals + 1, colon - equals - 1), text.substr(colon + 1), text)};
    if (std::count(region.mask.begin(), region.mask.end(), 1) == 0) {
        throw RegionError(fmt::format("the region \"{}\" holds no pixel of the 224 x 172.", text));
    }
    return region;
}

}  // namespace qor
