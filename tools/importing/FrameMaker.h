// SPDX-License-Identifier: Apache-2.0
//
// From the raw images of a stack to those that the imager would have delivered, with what they were found to
// be.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "calibrating/NeutralCalibration.h"
#include "importing/PhaseOrder.h"
#include "importing/PhaseStack.h"
#include "importing/Samples.h"
#include "importing/SizeFit.h"
#include "simulation/Camera.h"

namespace importing {

struct FramePlan {
    SampleFormat samples;
    PhaseOrder order;
    bool isReversed = false;
    std::vector<std::int32_t> exposureTimes;  // microseconds
    SizeFit fit;
    std::optional<arrays::Array> intensity;  // pictures of the light that is not modulated: y,x or frame,y,x
    std::int32_t intensityExposureTime = 200;
    float temperature = 0.0F;  // of the illumination, degrees Celsius
    int leastGoodSample = calibrating::leastGoodSample;
    int mostGoodSample = calibrating::mostGoodSample;
};

// Shares are of the pixels that have a measurement, over all frames, frequencies and exposures.
struct ImageFigures {
    std::size_t pixels = 0;
    std::size_t saturated = 0;      // one of the four samples is at a limit
    std::size_t asymmetric = 0;     // a + c and b + d differ by more than half the amplitude
    std::size_t zeroPhase = 0;      // comes out with distance 0
    std::vector<float> amplitudes;  // of the first frame's longest exposures, raw counts

    double share(std::size_t count) const {
        return pixels == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(pixels);
    }
    double medianAmplitude() const;
};

class FrameMaker {
 public:
    FrameMaker(const PhaseStack& stack, FramePlan plan);

    // The images of one frame, in the order of the imager. Throws ImportError if the intensity image does not
    // serve.
    std::vector<simulation::RawImage> frame(std::size_t number);

    // The four images of an exposure in the order of the stack, fitted, in counts of 12 bits.
    std::array<std::vector<double>, phaseCount> fitted(ImageIndex index) const;

    const ImageFigures& figures() const { return figures_; }
    const RoundingReport& rounding() const { return rounding_; }

 private:
    void addPhases(std::vector<simulation::RawImage>& images, const ImageIndex& index);
    void addIntensity(std::vector<simulation::RawImage>& images, std::size_t frame);
    void judge(const std::array<std::vector<std::uint16_t>, phaseCount>& phases, const ImageIndex& index);
    simulation::RawImage next(const std::vector<simulation::RawImage>& images);

    const PhaseStack& stack_;
    FramePlan plan_;
    SampleConverter converter_;
    ImageFigures figures_;
    RoundingReport rounding_;
    std::uint32_t imageNumber_ = 0;
    std::uint64_t time_ = 0;  // microseconds since the start
};

}  // namespace importing
