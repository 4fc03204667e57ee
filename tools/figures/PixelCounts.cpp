// SPDX-License-Identifier: Apache-2.0

#include "figures/PixelCounts.h"

#include <bit>
#include <cstdint>

#include "figures/Confidence.h"

namespace figures {
namespace {

// 1 or 0, by the bits of the number: so that the loops over all pixels have no branch.
std::uint32_t isFinite(float value) {
    constexpr std::uint32_t exponent = 0x7F800000U;
    return (std::bit_cast<std::uint32_t>(value) & exponent) != exponent ? 1 : 0;
}

std::uint32_t isPositive(float value) {
    return std::bit_cast<std::int32_t>(value) > 0 ? 1 : 0;
}

// Of one image, which has fewer pixels than 32 bits can count.
struct Counts {
    std::uint32_t pixels = 0;
    std::uint32_t valid = 0;
    std::uint32_t usable = 0;
    std::uint32_t saturated = 0;
    std::uint32_t dark = 0;
    std::uint32_t asymmetric = 0;
    std::uint32_t unassigned = 0;
    std::uint32_t distancesNotFinite = 0;
    std::uint32_t amplitudesNotFinite = 0;
    std::uint32_t noisesNotFinite = 0;
};

// `held` says, 1 or 0, whether a pixel counts; `noise` gives its noise.
template <typename Held, typename Noise>
Counts countsOf(const Frame& frame, const Held& held, const Noise& noise) {
    Counts counts;
    const std::size_t size = frame.confidence.size();
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint32_t bits = frame.confidence[i];
        const std::uint32_t counted = held(i);
        const std::uint32_t valid = (bits & invalidBit) == 0 ? counted : 0;
        counts.pixels += counted;
        counts.saturated += (bits & saturatedBit) != 0 ? counted : 0;
        counts.dark += (bits & lowAmplitudeBit) != 0 ? counted : 0;
        counts.asymmetric += (bits & asymmetricBit) != 0 ? counted : 0;
        counts.unassigned += (bits & unassignedBit) != 0 ? counted : 0;
        counts.valid += valid;
        counts.usable += valid & isFinite(frame.distance[i]) & isPositive(frame.distance[i]);
        counts.distancesNotFinite += valid & (1U - isFinite(frame.distance[i]));
        counts.amplitudesNotFinite += valid & (1U - isFinite(frame.amplitude[i]));
        counts.noisesNotFinite += valid & (1U - isFinite(noise(i)));
    }
    return counts;
}

template <typename Held>
Counts countsOf(const Frame& frame, const Held& held) {
    return frame.noise.empty() ? countsOf(frame, held, [](std::size_t) { return 0.0F; })
                               : countsOf(frame, held, [&frame](std::size_t i) { return frame.noise[i]; });
}

}  // namespace

void PixelCounts::add(const Frame& frame, const Mask& mask) {
    const Counts counts = mask.empty()
                              ? countsOf(frame, [](std::size_t) { return 1U; })
                              : countsOf(frame, [&mask](std::size_t i) { return mask[i] != 0 ? 1U : 0U; });
    ++frames;
    pixels += counts.pixels;
    valid += counts.valid;
    usable += counts.usable;
    saturated += counts.saturated;
    dark += counts.dark;
    asymmetric += counts.asymmetric;
    unassigned += counts.unassigned;
    distancesNotFinite += counts.distancesNotFinite;
    amplitudesNotFinite += counts.amplitudesNotFinite;
    noisesNotFinite += counts.noisesNotFinite;
}

std::optional<double> PixelCounts::shareOf(std::size_t count) const {
    return pixels == 0 ? std::nullopt
                       : std::optional(static_cast<double>(count) / static_cast<double>(pixels));
}

}  // namespace figures
