// SPDX-License-Identifier: Apache-2.0
//
// Samples of any converter as the 12 bits of the imager: 0 to 4095, with 2048 in the dark.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace importing {

inline constexpr double midScale = 2048.0;
inline constexpr double largestSample = 4095.0;

struct SampleFormat {
    bool isSigned = false;
    unsigned int bits = 12;
    std::optional<double> mid;    // the sample without modulated light; else the middle of the range
    std::optional<double> scale;  // counts of 12 bits per count; else so that the range just fits
    bool clip = false;            // samples that do not fit become 0 or 4095
};

// Turns samples into counts of 12 bits: (sample - mid) * scale + 2048.
class SampleConverter {
 public:
    // `isStoredSigned`: the file's numbers have a sign of their own. Where they have none and the samples do,
    // the top one of the `bits` is the sign.
    SampleConverter(const SampleFormat& format, bool isStoredSigned);

    double mid() const { return mid_; }
    double scale() const { return scale_; }

    // Not rounded and not clipped.
    std::vector<double> counts(std::span<const double> samples) const;

 private:
    double signExtended(double sample) const;

    bool extendsSign_;
    double span_;
    double mid_;
    double scale_;
};

// What counts became on their way to whole numbers from 0 to 4095.
struct RoundingReport {
    std::size_t samples = 0;
    std::size_t below = 0;         // of 0
    std::size_t above = 0;         // of 4095
    std::size_t notFinite = 0;     // became 0
    double largestRounding = 0.0;  // counts, of those that fit

    std::size_t outside() const { return below + above + notFinite; }
};

// Rounds to the nearest, halves upwards; what does not fit becomes 0 or 4095 and is counted.
std::vector<std::uint16_t> wholeSamples(std::span<const double> counts, RoundingReport& report);

// Negative numbers in two's complement, read as if they had no sign, lie in the upper quarter of their range:
// then the middle half is empty. Tells the number of bits that shows so, if one does.
std::optional<unsigned int> twosComplementBits(std::span<const double> samples);

}  // namespace importing
