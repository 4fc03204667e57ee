// SPDX-License-Identifier: Apache-2.0
//
// What the confidence of a pixel says about its distance.

#pragma once

#include <cmath>
#include <cstdint>

namespace figures {

inline constexpr std::uint8_t invalidBit = 0x01;
inline constexpr std::uint8_t saturatedBit = 0x02;     // a raw sample at its limit
inline constexpr std::uint8_t asymmetricBit = 0x04;    // the four samples fit no sine
inline constexpr std::uint8_t lowAmplitudeBit = 0x08;  // or too much noise of the distance
inline constexpr std::uint8_t lastExposureBit = 0x10;  // set: the pixel was taken from the last exposure
inline constexpr std::uint8_t unassignedBit = 0x20;    // the frequencies agree on no distance

// Whether a pixel has a distance to work with. A valid one may have none: a phase of exactly 0 gives the
// distance 0, which is the camera's own place.
inline bool isUsable(std::uint8_t confidence, float distance) {
    return (confidence & invalidBit) == 0 && std::isfinite(distance) && distance > 0.0F;
}

}  // namespace figures
