// SPDX-License-Identifier: Apache-2.0

#include "importing/Axes.h"

#include <algorithm>
#include <string_view>

namespace importing {
namespace {

constexpr std::array<std::string_view, axisCount> names{"frame", "freq", "exposure", "phase", "y", "x"};

}  // namespace

std::string nameOf(Axis axis) {
    return std::string(names[static_cast<std::size_t>(axis)]);
}

std::string axesText(const std::vector<Axis>& axes) {
    std::string text;
    for (const Axis axis : axes) {
        text += text.empty() ? "" : ",";
        text += nameOf(axis);
    }
    return text;
}

std::optional<std::vector<Axis>> readAxes(const std::string& text) {
    std::vector<Axis> axes;
    std::string_view rest = text;
    while (true) {
        const std::size_t comma = rest.find(',');
        const auto name = std::find(names.begin(), names.end(), rest.substr(0, comma));
        if (name == names.end()) {
            return std::nullopt;
        }
        const auto axis = static_cast<Axis>(name - names.begin());
        if (std::find(axes.begin(), axes.end(), axis) != axes.end()) {
            return std::nullopt;
        }
        axes.push_back(axis);
        if (comma == std::string_view::npos) {
            return axes;
        }
        rest.remove_prefix(comma + 1);
    }
}

}  // namespace importing
