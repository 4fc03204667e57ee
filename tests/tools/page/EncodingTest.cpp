// SPDX-License-Identifier: Apache-2.0

#include "page/Encoding.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "support/Random.h"

namespace page {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string base64Of(const std::string& text) {
    return base64(Bytes(text.begin(), text.end()));
}

// The examples of RFC 4648.
TEST(Base64, IsThatOfTheStandard) {
    EXPECT_EQ(base64Of(""), "");
    EXPECT_EQ(base64Of("f"), "Zg==");
    EXPECT_EQ(base64Of("fo"), "Zm8=");
    EXPECT_EQ(base64Of("foo"), "Zm9v");
    EXPECT_EQ(base64Of("foob"), "Zm9vYg==");
    EXPECT_EQ(base64Of("fooba"), "Zm9vYmE=");
    EXPECT_EQ(base64Of("foobar"), "Zm9vYmFy");
}

TEST(Base64, HasALetterForEachSixBits) {
    EXPECT_EQ(base64(Bytes{0xFB, 0xFF, 0xFE}), "+//+");
    EXPECT_EQ(base64(Bytes{0, 0, 0}), "AAAA");
}

Bytes inflated(const Bytes& bytes, std::size_t size) {
    Bytes result(size + 1);
    uLongf length = result.size();
    EXPECT_EQ(uncompress(result.data(), &length, bytes.data(), bytes.size()), Z_OK);
    result.resize(length);
    return result;
}

TEST(Compressor, GivesBackWhatWasAddedPieceByPiece) {
    testing_support::Random random(7);
    SCOPED_TRACE(random.seedText());
    Compressor compressor;
    Bytes all;
    for (const std::size_t size : {0U, 1U, 70000U, 3U, 200000U}) {
        Bytes piece(size);
        for (std::uint8_t& byte : piece) {
            byte = static_cast<std::uint8_t>(random.integer(0, 255));
        }
        compressor.add(piece);
        all.insert(all.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(inflated(compressor.finish(), all.size()), all);
}

TEST(Compressor, OfNothingIsAStreamOfNothing) {
    Compressor compressor;
    EXPECT_EQ(inflated(compressor.finish(), 0), Bytes{});
}

TEST(Compressor, MakesZerosSmall) {
    Compressor compressor;
    compressor.add(Bytes(1'000'000));
    EXPECT_LT(compressor.finish().size(), 2000U);
}

}  // namespace
}  // namespace page
