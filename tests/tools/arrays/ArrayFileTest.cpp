// SPDX-License-Identifier: Apache-2.0

#include "arrays/ArrayFile.h"

#include <gtest/gtest.h>

#include <random>

#include "arrays/NumpyFile.h"
#include "imaging/Png.h"
#include "tools/TestFolder.h"

namespace {

using arrays::ArrayError;
using arrays::ElementKind;
using arrays::RawFormat;
using arrays::readRawFormat;

class ArrayFile : public testing::Test {
 protected:
    std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

    std::string refusalOf(const std::string& name) const {
        try {
            arrays::readArray(name);
        } catch (const ArrayError& error) {
            return error.what();
        }
        return "";
    }

    TestFolder folder_;
};

TEST(RawFormat, IsTypeAndSize) {
    const auto format = readRawFormat("u16le,640x480");
    ASSERT_TRUE(format);
    EXPECT_EQ(format->type.kind, ElementKind::UnsignedInteger);
    EXPECT_EQ(format->type.size, 2U);
    EXPECT_FALSE(format->type.bigEndian);
    EXPECT_EQ(format->width, 640U);
    EXPECT_EQ(format->height, 480U);
    EXPECT_TRUE(readRawFormat("i32be,1x1")->type.bigEndian);
    EXPECT_EQ(readRawFormat("f64le,2x3")->type.kind, ElementKind::Float);
    EXPECT_EQ(readRawFormat("u8,2x3")->type.size, 1U);
}

TEST(RawFormat, OtherTextsAreNone) {
    for (const char* text : {"", "u16", "u16,2x3", "u12le,2x3", "f16le,2x3", "u16le,0x3", "u16le,2x",
                             "u16le,2x3x4", "u16le,20000x1", "x16le,2x3", "u16le;2x3", "u16le,-2x3"}) {
        EXPECT_FALSE(readRawFormat(text)) << text;
    }
}

TEST_F(ArrayFile, BytesWithoutAHeaderAreAsManyPicturesAsThereAre) {
    writeBytes(path("a.bin"), {1, 0, 2, 0, 3, 0, 4, 0});
    const arrays::Array array =
        arrays::readRawFile(path("a.bin"), {{ElementKind::UnsignedInteger, 2, false}, 2, 1});
    EXPECT_EQ(array.shape, (std::vector<std::size_t>{2, 1, 2}));
    EXPECT_EQ(arrays::numbersOf(array), (std::vector<double>{1, 2, 3, 4}));
}

TEST_F(ArrayFile, APartOfAPictureIsToldAndSoIsAnEmptyFile) {
    const RawFormat format{{ElementKind::UnsignedInteger, 2, false}, 2, 1};
    writeBytes(path("a.bin"), {1, 0, 2, 0, 3});
    EXPECT_THROW(arrays::readRawFile(path("a.bin"), format), ArrayError);
    writeBytes(path("empty.bin"), {});
    EXPECT_THROW(arrays::readRawFile(path("empty.bin"), format), ArrayError);
}

TEST_F(ArrayFile, PngOfSixteenBitsComesBackAsItIsStored) {
    imaging::writePng16(path("a.png"), std::vector<std::uint16_t>{0, 1, 256, 4095, 65535, 2048}, 3, 2);
    const arrays::Array array = arrays::readArray(path("a.png"));
    EXPECT_EQ(array.shape, (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(arrays::numbersOf(array), (std::vector<double>{0, 1, 256, 4095, 65535, 2048}));
}

TEST_F(ArrayFile, AColourPictureIsRefused) {
    imaging::writePng(path("a.png"), imaging::Canvas(2, 2, imaging::Color{}));
    EXPECT_NE(refusalOf(path("a.png")).find("no grey picture"), std::string::npos);
}

TEST_F(ArrayFile, AnArchiveOfOneArrayNeedsNoName) {
    const arrays::Array array = arrays::makeArray({ElementKind::UnsignedInteger, 1, false}, {1}, {5});
    arrays::writeNpz(path("one.npz"), {{"a", array}});
    arrays::writeNpz(path("two.npz"), {{"a", array}, {"b", array}});
    EXPECT_EQ(arrays::numbersOf(arrays::readArray(path("one.npz"))), (std::vector<double>{5}));
    EXPECT_NE(refusalOf(path("two.npz")).find("two.npz:NAME"), std::string::npos);
    EXPECT_EQ(arrays::numbersOf(arrays::readArray(path("two.npz:b"))), (std::vector<double>{5}));
}

TEST_F(ArrayFile, FilesThatAreNotThereFoldersAndOtherEndingsAreTold) {
    EXPECT_NE(refusalOf(path("none.npy")).find("cannot be opened"), std::string::npos);
    EXPECT_NE(refusalOf(path("none.npz:a")).find("cannot be read"), std::string::npos);
    EXPECT_NE(refusalOf(path("a.tif")).find("ends neither"), std::string::npos);
    std::filesystem::create_directories(path("folder.npy"));
    EXPECT_NE(refusalOf(path("folder.npy")).find("is a folder"), std::string::npos);
}

TEST_F(ArrayFile, RandomBytesAreAnErrorInWordsInEveryFormat) {
    constexpr unsigned int seed = 14;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    arrays::writeNpz(path("good.npz"), {{"a", arrays::makeArray({ElementKind::UnsignedInteger, 1, false},
                                                                {12}, std::vector<std::uint8_t>(12, 7))}});
    imaging::writePng16(path("good.png"), std::vector<std::uint16_t>(12, 7), 4, 3);
    for (const char* ending : {".npz", ".png", ".npy"}) {
        const std::vector<std::uint8_t> good =
            std::string(ending) == ".npy" ? std::vector<std::uint8_t>{0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0}
                                          : fileBytes(path(std::string("good") + ending));
        for (int trial = 0; trial < 300; ++trial) {
            // A good beginning, so that the reader gets further than the mark, then noise.
            std::vector<std::uint8_t> bytes(
                good.begin(), good.begin() + static_cast<std::ptrdiff_t>(random() % good.size()));
            for (unsigned int k = random() % 200; k-- > 0;) {
                bytes.push_back(static_cast<std::uint8_t>(random()));
            }
            const std::string noise = path(std::string("noise") + ending);
            writeBytes(noise, bytes);
            // By chance the noise may repair the end of a file; then it holds what it held.
            try {
                EXPECT_EQ(arrays::readArray(noise).count(), 12U) << ending << " " << trial;
            } catch (const ArrayError& error) {
                EXPECT_STRNE(error.what(), "");
            }
        }
    }
}

}  // namespace
