// SPDX-License-Identifier: Apache-2.0
//
// Units of length in options.

#pragma once

#include <map>
#include <string>

namespace qor {

// Metres in one of them.
inline const std::map<std::string, double>& lengthUnits() {
    static const std::map<std::string, double> units{{"m", 1.0}, {"cm", 0.01}, {"mm", 0.001}};
    return units;
}

struct FileAndUnit {
    std::string file;  // for .npz archives with ":ARRAY"
    double metres = 1.0;
};

// "FILE", "FILE:UNIT", "FILE.npz:ARRAY" or "FILE.npz:ARRAY:UNIT".
inline FileAndUnit readFileAndUnit(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const auto unit =
        colon == std::string::npos ? lengthUnits().end() : lengthUnits().find(text.substr(colon + 1));
    return unit == lengthUnits().end() ? FileAndUnit{text, 1.0}
                                       : FileAndUnit{text.substr(0, colon), unit->second};
}

}  // namespace qor
