// SPDX-License-Identifier: Apache-2.0
//
// In which order a camera takes its four phases. Opposite phases see the same light with the opposite sign,
// so their sums are equal: a + c = b + d. From one stack alone that tells which images are opposite, and no
// more: which of a pair is first and which way the phase turns shows only in distances that are known.

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "importing/PhaseStack.h"

namespace importing {

// For 0, 90, 180 and 270 degrees: the place of its image in the stack.
struct PhaseOrder {
    std::array<std::size_t, phaseCount> places{0, 1, 2, 3};

    friend bool operator==(const PhaseOrder&, const PhaseOrder&) = default;
};

// "0,180,90,270": the degrees of the images as they follow each other. None unless each of the four is there
// once.
std::optional<PhaseOrder> readPhaseOrder(const std::string& text);

// The same text.
std::string textOf(const PhaseOrder& order);

// The image that is opposite to the first one.
std::size_t oppositeOfFirst(const PhaseOrder& order);

// An order in which image `opposite` (1, 2 or 3) is opposite to the first.
PhaseOrder orderWithOpposite(std::size_t opposite);

// How far the sums of the two pairs differ, in the median over the pixels, if image k + 1 is opposite to the
// first.
struct PairSums {
    std::array<double, 3> mismatch{};

    // The image that is opposite to the first, if it stands out: its sums agree twice as well as any others'.
    std::optional<std::size_t> opposite() const;
};

// `images` are the four of one exposure in the order of the stack, in counts of 12 bits.
PairSums pairSumsOf(std::span<const std::vector<double>> images);

}  // namespace importing
