// SPDX-License-Identifier: Apache-2.0
//
// The raw images of a capture, by frame, frequency, exposure and phase, in whatever order their arrays hold
// them.

#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "arrays/Array.h"
#include "importing/Axes.h"

namespace importing {

inline constexpr std::size_t phaseCount = 4;

// Which raw image.
struct ImageIndex {
    std::size_t frame = 0;
    std::size_t frequency = 0;
    std::size_t exposure = 0;
    std::size_t phase = 0;
};

// An axis along which whole arrays follow each other.
struct OuterAxis {
    Axis axis = Axis::Phase;
    std::size_t length = 1;
};

class PhaseStack {
 public:
    // Arrays of one shape and type. They follow each other along the outer axes, the last of these fastest;
    // `inner` says what the dimensions of each array are. Throws ImportError, with a sentence, unless this
    // makes a stack of pictures with four phases.
    PhaseStack(std::vector<arrays::Array> arrays, std::vector<OuterAxis> outer, std::vector<Axis> inner);

    const StackSize& size() const { return size_; }
    const arrays::ElementType& type() const { return arrays_.front().type; }

    // Row by row.
    std::vector<double> image(const ImageIndex& index) const;

 private:
    std::vector<arrays::Array> arrays_;
    StackSize size_;
    std::array<std::size_t, axisCount> arraySteps_{};  // arrays from one to the next along each axis
    std::array<std::size_t, axisCount> byteSteps_{};   // bytes, likewise
};

}  // namespace importing
