// SPDX-License-Identifier: Apache-2.0
//
// All figures of the frames of a recording, or of a region of them, under the names that every report uses.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "figures/Accuracy.h"
#include "figures/DepthEdges.h"
#include "figures/Frame.h"
#include "figures/NoisePrediction.h"
#include "figures/PixelCounts.h"
#include "figures/PlaneFit.h"
#include "figures/TemporalNoise.h"
#include "simulation/Truth.h"

namespace figures {

enum class Unit { Count, Share, Millimetres, Percent, Pixels, Ratio, Milliseconds };

// What was not measured has no value.
struct Figure {
    std::string name;
    Unit unit = Unit::Count;
    std::optional<double> value;
};

class FrameFigures {
 public:
    // `frequencies` of the modulation in Hz; empty if unknown. Pixels outside of the mask do not count.
    explicit FrameFigures(std::vector<double> frequencies, Mask mask = {});

    // Frames in their order. The truth is null if there is none. Throws std::invalid_argument for images that
    // do not have 224 x 172 pixels.
    void add(const Frame& frame, const simulation::Truth* truth);

    std::vector<Figure> figures() const;

    // Measured against predicted noise, by amplitude.
    std::vector<NoiseRow> noiseByAmplitude() const { return noisePrediction_.rows(); }

 private:
    Mask mask_;
    PixelCounts counts_;
    Accuracy accuracy_;
    PlaneFit plane_;
    DepthEdges edges_;
    TemporalNoise temporalNoise_;
    NoisePrediction noisePrediction_;
};

}  // namespace figures
