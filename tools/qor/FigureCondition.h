// SPDX-License-Identifier: Apache-2.0
//
// Conditions on figures that make a command fail: "rms_mm > 5", or "wall.rms_mm > 5" of a region.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "figures/FrameFigures.h"
#include "qor/Condition.h"
#include "qor/Measurement.h"

namespace qor {

struct Verdict {
    std::string condition;        // as it was written
    std::optional<double> value;  // none: it was not measured
    bool failed = false;

    // "rms_mm > 5: it is 7.31"
    std::string sentence() const;
};

// An empty text if the condition is about one of these figures, otherwise a sentence.
std::string checkFigureCondition(const std::string& text, const std::vector<RegionFigures>& known);

// Fails if the condition is met, and if the figure was not measured.
Verdict judge(const std::string& text, const std::vector<RegionFigures>& measured);

}  // namespace qor
