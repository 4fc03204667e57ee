// SPDX-License-Identifier: Apache-2.0
#include "IntensityImageRule.h"

#include <algorithm>

#include "ALTypes.h"

namespace rule {

void subtractDarkLevel(const uint8_t* samples, uint16_t* fpn, uint16_t* intensity) {
    for (int32_t i = 0; i < kPixelCount; ++i) {
        const uint8_t* const b = samples + i / 2 * 3;
        const int value = i % 2 == 0 ? b[0] << 4 | (b[2] & 0x0F) : (b[1] << 4) + (b[2] >> 4);
        const auto sample = static_cast<uint16_t>(value);
        fpn[i] = std::min(fpn[i], sample);
        intensity[i] = static_cast<uint16_t>(sample - fpn[i]);
    }
}

}  // namespace rule
