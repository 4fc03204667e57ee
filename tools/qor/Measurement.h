// SPDX-License-Identifier: Apache-2.0
//
// The figures of the frames of a recording, of the whole image and of regions, together and frame by frame.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "figures/FrameFigures.h"
#include "qor/RegionOption.h"
#include "qor/ResultFrame.h"
#include "recording/TruthRecords.h"
#include "simulation/Truth.h"

namespace qor {

struct RegionFigures {
    std::string region;  // empty for the whole image
    std::vector<figures::Figure> figures;
    std::vector<figures::NoiseRow> noise;  // by amplitude
};

// Its value with as many decimals as its unit needs; "-" if it was not measured.
std::string valueText(const figures::Figure& figure);

class Measurement {
 public:
    struct Settings {
        std::vector<Region> regions;
        // Of a flat target that faces the camera, along the optical axis, metres; in place of any other
        // truth.
        std::optional<double> distance;
        // Gets the figures of each frame alone: of the whole image, then of the regions. May be left out.
        std::function<void(std::size_t number, std::uint32_t timestamp, const std::vector<RegionFigures>&)>
            frame = {};
    };

    explicit Measurement(Settings settings);

    // A finished frame. The truth and how it was simulated are null if unknown.
    void add(std::size_t number, const ResultFrame& frame, const Rays& rays, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation);

    std::size_t frames() const { return frames_; }

    // Of all frames together: of the whole image, then of the regions.
    std::vector<RegionFigures> figures() const;

 private:
    std::vector<figures::FrameFigures> startFigures() const;
    std::vector<RegionFigures> figuresOf(const std::vector<figures::FrameFigures>& parts) const;

    Settings settings_;
    std::vector<double> frequencies_;
    std::vector<figures::FrameFigures> parts_;
    std::size_t frames_ = 0;
};

}  // namespace qor
