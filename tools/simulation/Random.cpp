// SPDX-License-Identifier: Apache-2.0

#include "simulation/Random.h"

#include <cmath>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

constexpr double largestInversionMean = 64.0;

std::uint32_t highHalf(std::uint64_t value) noexcept {
    return static_cast<std::uint32_t>(value >> 32);
}
std::uint32_t lowHalf(std::uint64_t value) noexcept {
    return static_cast<std::uint32_t>(value);
}

}  // namespace

PhiloxCounter philox(PhiloxCounter counter, PhiloxKey key) noexcept {
    constexpr std::uint64_t firstMultiplier = 0xD2511F53U;
    constexpr std::uint64_t secondMultiplier = 0xCD9E8D57U;
    constexpr std::uint32_t firstWeyl = 0x9E3779B9U;
    constexpr std::uint32_t secondWeyl = 0xBB67AE85U;
    for (int round = 0; round < 10; ++round) {
        const std::uint64_t first = firstMultiplier * counter[0];
        const std::uint64_t second = secondMultiplier * counter[2];
        counter = {highHalf(second) ^ counter[1] ^ key[0], lowHalf(second),
                   highHalf(first) ^ counter[3] ^ key[1], lowHalf(first)};
        key[0] += firstWeyl;
        key[1] += secondWeyl;
    }
    return counter;
}

RandomStream::RandomStream(std::uint64_t seed, RandomPurpose purpose, std::uint32_t firstIndex,
                           std::uint32_t secondIndex) noexcept
    : key_{lowHalf(seed), highHalf(seed)},
      counter_{0, secondIndex, firstIndex, static_cast<std::uint32_t>(purpose)} {}

std::uint64_t RandomStream::bits() noexcept {
    if (unusedHalves_ == 0) {
        block_ = philox(counter_, key_);
        ++counter_[0];
        unusedHalves_ = 2;
    }
    --unusedHalves_;
    const std::size_t first = unusedHalves_ == 1 ? 0 : 2;
    return static_cast<std::uint64_t>(block_[first + 1]) << 32 | block_[first];
}

double RandomStream::uniform() noexcept {
    return (static_cast<double>(bits() >> 11) + 0.5) * 0x1p-53;
}

double RandomStream::normal() noexcept {
    if (hasSpareNormal_) {
        hasSpareNormal_ = false;
        return spareNormal_;
    }
    const double radius = std::sqrt(-2.0 * naturalLogarithm(uniform()));
    const SineCosine direction = sineAndCosine(2.0 * pi * uniform());
    spareNormal_ = radius * direction.sine;
    hasSpareNormal_ = true;
    return radius * direction.cosine;
}

double RandomStream::poisson(double mean) noexcept {
    if (!(mean > 0.0)) {
        return 0.0;
    }
    if (mean < largestInversionMean) {
        const double u = uniform();
        double count = 0.0;
        double probability = exponential(-mean);
        double cumulated = probability;
        while (u > cumulated && probability > 0.0) {
            count += 1.0;
            probability *= mean / count;
            cumulated += probability;
        }
        return count;
    }
    const double z = normal();
    const double count = std::floor(mean + std::sqrt(mean) * z + (z * z - 1.0) / 6.0 + 0.5);
    return count > 0.0 ? count : 0.0;
}

}  // namespace simulation
