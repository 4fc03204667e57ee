// SPDX-License-Identifier: Apache-2.0
//
// Random inputs of tests: a seed that every failure prints, and floats that include the extremes.
#pragma once

#include <bit>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <string>

namespace testing_support {

/** A generator whose seed is part of each failure's message: SCOPED_TRACE(random.seedText()). */
class Random {
 public:
    explicit Random(uint32_t seed) : seed_(seed), engine_(seed) {}

    uint32_t bits() { return static_cast<uint32_t>(engine_()); }

    /** Uniform in first..last. */
    int32_t integer(int32_t first, int32_t last) {
        const uint64_t span = static_cast<uint64_t>(int64_t{last} - first) + 1;
        return static_cast<int32_t>(first + static_cast<int64_t>(bits() % span));
    }

    /** Uniform in first..last. */
    float real(float first, float last) {
        return first + (last - first) * (static_cast<float>(bits() >> 8) * 0x1p-24F);
    }

    /**
     * Any float: half of them a special value, half of them of any sign, mantissa and an exponent of -60..60.
     * Products and quotients of two such values are no subnormal numbers, which the vector unit of ARMv7
     * takes for 0 and others do not.
     */
    float anyFloat() {
        constexpr float kSpecial[] = {0.0F,
                                      -0.0F,
                                      1.0F,
                                      -1.0F,
                                      1e-15F,
                                      -1e-15F,
                                      std::numeric_limits<float>::max(),
                                      -std::numeric_limits<float>::max(),
                                      std::numeric_limits<float>::infinity(),
                                      -std::numeric_limits<float>::infinity(),
                                      std::numeric_limits<float>::quiet_NaN(),
                                      3.1415927F,
                                      6.2831855F,
                                      2147483648.0F,
                                      -2147483648.0F};
        if (bits() % 2 == 0) {
            return kSpecial[bits() % std::size(kSpecial)];
        }
        const uint32_t exponent = 127 - 60 + bits() % 121;
        return std::bit_cast<float>((bits() & 0x807FFFFFU) | exponent << 23);
    }

    std::string seedText() const { return "seed " + std::to_string(seed_); }

 private:
    uint32_t seed_;
    std::mt19937 engine_;
};

}  // namespace testing_support
