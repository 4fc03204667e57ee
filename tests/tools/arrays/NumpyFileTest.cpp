// SPDX-License-Identifier: Apache-2.0

#include "arrays/NumpyFile.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "arrays/NumpyHeader.h"
#include "tools/TestFolder.h"

namespace {

using arrays::Array;
using arrays::ArrayError;
using arrays::ElementKind;
using arrays::NumpyHeader;
using arrays::readNumpyHeader;

std::vector<std::uint8_t> headerOf(const std::string& dictionary, std::uint8_t version = 1) {
    std::vector<std::uint8_t> bytes{0x93, 'N', 'U', 'M', 'P', 'Y', version, 0};
    for (unsigned int k = 0; k < (version == 1 ? 2U : 4U); ++k) {
        bytes.push_back(static_cast<std::uint8_t>(dictionary.size() >> (8U * k)));
    }
    bytes.insert(bytes.end(), dictionary.begin(), dictionary.end());
    return bytes;
}

std::string refusalOf(const std::vector<std::uint8_t>& bytes) {
    try {
        readNumpyHeader(bytes);
    } catch (const ArrayError& error) {
        return error.what();
    }
    return "";
}

TEST(NumpyHeader, TellsTypeOrderAndShape) {
    const NumpyHeader header =
        readNumpyHeader(headerOf("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 4, 172, 224), }\n"));
    EXPECT_EQ(header.type.kind, ElementKind::UnsignedInteger);
    EXPECT_EQ(header.type.size, 2U);
    EXPECT_FALSE(header.type.bigEndian);
    EXPECT_FALSE(header.columnMajor);
    EXPECT_EQ(header.shape, (std::vector<std::size_t>{2, 4, 172, 224}));
    EXPECT_EQ(header.size, 10U + 70U);
}

TEST(NumpyHeader, TakesTheMembersInAnyOrderAndEachVersion) {
    for (const std::uint8_t version : {1, 2, 3}) {
        const NumpyHeader header = readNumpyHeader(
            headerOf("{\"shape\": (5,), \"fortran_order\": True, \"descr\": \">f8\"}", version));
        EXPECT_TRUE(header.columnMajor);
        EXPECT_TRUE(header.type.bigEndian);
        EXPECT_EQ(header.shape, (std::vector<std::size_t>{5}));
    }
}

TEST(NumpyHeader, AScalarHasNoDimensions) {
    EXPECT_TRUE(
        readNumpyHeader(headerOf("{'descr': '|b1', 'fortran_order': False, 'shape': ()}")).shape.empty());
}

TEST(NumpyHeader, SaysWhatIsWrong) {
    EXPECT_NE(refusalOf({'P', 'K', 3, 4, 0, 0, 0, 0, 0, 0}).find("mark"), std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{}", 9)).find("version 9"), std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{}")).find("does not tell"), std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': ()}"))
                  .find("structures"),
              std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{'descr': '<c8', 'fortran_order': False, 'shape': ()}")).find("'<c8'"),
              std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{'descr': '<f2', 'fortran_order': False, 'shape': ()}")).find("'<f2'"),
              std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{'descr': '<u2', 'fortran_order': Maybe, 'shape': ()}")).find("neither"),
              std::string::npos);
    EXPECT_NE(
        refusalOf(headerOf("{'descr': '<u2', 'fortran_order': False, 'shape': (-1,)}")).find("no number"),
        std::string::npos);
    EXPECT_NE(refusalOf(headerOf("{'descr': '<u2")).find("does not end"), std::string::npos);
}

TEST(NumpyHeader, EveryCutIsRefused) {
    const std::vector<std::uint8_t> whole =
        headerOf("{'descr': '<u2', 'fortran_order': False, 'shape': (3, 4), }\n");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(refusalOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), "") << size;
    }
}

TEST(NumpyHeader, DamagedBytesAreReadOrRefusedButNeverMore) {
    constexpr unsigned int seed = 20261121;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<std::uint8_t> whole =
        headerOf("{'descr': '<u2', 'fortran_order': False, 'shape': (3, 4), }\n");
    for (int trial = 0; trial < 20000; ++trial) {
        std::vector<std::uint8_t> bytes = whole;
        for (unsigned int k = random() % 4; k-- > 0;) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        try {
            const NumpyHeader header = readNumpyHeader(bytes);
            EXPECT_LE(header.size, bytes.size());
        } catch (const ArrayError& error) {
            EXPECT_STRNE(error.what(), "");
        }
    }
}

TEST(NumpyHeader, OneThatIsMadeIsReadBackAndAligned) {
    const std::vector<std::uint8_t> bytes =
        arrays::makeNumpyHeader({ElementKind::Float, 4, false}, std::vector<std::size_t>{172, 224});
    EXPECT_EQ(bytes.size() % 64, 0U);
    EXPECT_EQ(bytes.back(), '\n');
    const NumpyHeader header = readNumpyHeader(bytes);
    EXPECT_EQ(header.size, bytes.size());
    EXPECT_EQ(header.shape, (std::vector<std::size_t>{172, 224}));
}

class NumpyFile : public testing::Test {
 protected:
    std::filesystem::path path(const std::string& name) const { return folder_.path() / name; }

    TestFolder folder_;
};

Array smallArray() {
    return arrays::makeArray({ElementKind::UnsignedInteger, 2, false}, {2, 2}, {1, 0, 2, 0, 3, 0, 4, 0});
}

TEST_F(NumpyFile, OneArrayComesBack) {
    arrays::writeNpy(path("a.npy"), smallArray());
    const Array array = arrays::readNpy(path("a.npy"));
    EXPECT_EQ(array.shape, (std::vector<std::size_t>{2, 2}));
    EXPECT_EQ(arrays::numbersOf(array), (std::vector<double>{1, 2, 3, 4}));
}

TEST_F(NumpyFile, ArraysOfAnArchiveComeBackByName) {
    arrays::writeNpz(path("a.npz"), {{"first", smallArray()}, {"second", smallArray()}});
    EXPECT_EQ(arrays::namesInNpz(path("a.npz")), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(arrays::numbersOf(arrays::readNpz(path("a.npz"), "second")), (std::vector<double>{1, 2, 3, 4}));
}

TEST_F(NumpyFile, AnArrayThatIsNotThereIsToldWithThoseThatAre) {
    arrays::writeNpz(path("a.npz"), {{"first", smallArray()}, {"second", smallArray()}});
    try {
        arrays::readNpz(path("a.npz"), "third");
        FAIL() << "no such array";
    } catch (const ArrayError& error) {
        EXPECT_NE(std::string(error.what()).find("It holds: first, second."), std::string::npos)
            << error.what();
    }
}

TEST_F(NumpyFile, EveryCutOfAnArchiveIsRefused) {
    arrays::writeNpz(path("a.npz"), {{"first", smallArray()}});
    const std::vector<std::uint8_t> whole = fileBytes(path("a.npz"));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        writeBytes(path("cut.npz"), {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        EXPECT_THROW(arrays::readNpz(path("cut.npz"), "first"), ArrayError) << size;
    }
}

TEST_F(NumpyFile, SurplusAndMissingBytesAreTold) {
    arrays::writeNpy(path("a.npy"), smallArray());
    std::vector<std::uint8_t> bytes = fileBytes(path("a.npy"));
    bytes.push_back(0);
    writeBytes(path("long.npy"), bytes);
    bytes.resize(bytes.size() - 2);
    writeBytes(path("short.npy"), bytes);
    EXPECT_THROW(arrays::readNpy(path("long.npy")), ArrayError);
    EXPECT_THROW(arrays::readNpy(path("short.npy")), ArrayError);
}

}  // namespace
