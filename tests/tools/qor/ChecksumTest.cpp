// SPDX-License-Identifier: Apache-2.0

#include "qor/Checksum.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

// The value that XXH3 defines for no bytes in 64 bits.
TEST(Checksum, OfNothingIsThatOfTheDefinition) {
    EXPECT_EQ(Checksum().text(), "2d06800538d394c2");
}

TEST(Checksum, PartsMakeTheChecksumOfTheWhole) {
    const std::string bytes(100000, 'x');
    Checksum whole;
    whole.add(bytes.data(), bytes.size());
    Checksum parts;
    parts.add(bytes.data(), 1);
    parts.add(bytes.data(), 0);
    parts.add(bytes.data(), bytes.size() - 1);
    EXPECT_EQ(parts.text(), whole.text());
    Checksum other;
    other.add(bytes.data(), bytes.size() - 1);
    EXPECT_NE(other.text(), whole.text());
}

}  // namespace
}  // namespace qor
