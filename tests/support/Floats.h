// SPDX-License-Identifier: Apache-2.0
//
// Comparison of floats by their bits. All NaNs count as one: which NaN an operation gives is not fixed
// between machines.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace testing_support {

inline uint32_t bitsOf(float value) {
    return std::bit_cast<uint32_t>(value);
}

inline bool sameFloat(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
}

/** All values equal bit for bit; the message names the first that differs. */
inline ::testing::AssertionResult sameFloats(const float* actual, const float* expected, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (!sameFloat(actual[i], expected[i])) {
            return ::testing::AssertionFailure()
                   << "element " << i << ": " << actual[i] << " (0x" << std::hex
                   << std::bit_cast<uint32_t>(actual[i]) << "), expected " << expected[i] << " (0x"
                   << std::bit_cast<uint32_t>(expected[i]) << ")";
        }
    }
    return ::testing::AssertionSuccess();
}

/** The same for integers. */
template <class T>
::testing::AssertionResult sameValues(const T* actual, const T* expected, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (actual[i] != expected[i]) {
            return ::testing::AssertionFailure()
                   << "element " << i << ": " << +actual[i] << ", expected " << +expected[i];
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace testing_support
