// SPDX-License-Identifier: Apache-2.0
//
// The descriptors: the definitions that the library hands out say exactly what the records are on the wire.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "LayoutRows.h"
#include "Layouts.h"
#include "QorDICIRecordLayout.h"
#include "QorDICIRecords.h"
#include "QorData.h"
#include "QorDescriptors.h"
#include "QorRecordLayout.h"

namespace {

using host_testing::Bytes;
using layout_tables::Row;
using zelta::TypeRef;

constexpr std::size_t kHeaderBytes = 13;

/** What is fixed about a descriptor. */
struct Facts {
    const char* name;
    zelta::DefinitionGetter getter;
    int definitionBytes;  ///< as one release of zlib compresses it
    unsigned int payloadBytes;
    unsigned int nodes;
    std::size_t declaredBytes;
};

void PrintTo(const Facts& facts, std::ostream* out) {
    *out << facts.name;
}

#define FACTS(record, definitionBytes, payloadBytes, nodes)                              \
    Facts {                                                                              \
#record, zeltaGet_##record, definitionBytes, payloadBytes, nodes, sizeof(record) \
    }

const Facts kFacts[] = {
    FACTS(QorDistanceImageProfiling, 540, 3064, 79),
    FACTS(QorDistanceImageCalib, 292, 667, 18),
    FACTS(QorDistanceImageState, 2308, 8193, 232),
    FACTS(QorDistanceImageOutput, 480, 1152, 32),
    FACTS(QorDistanceImageParam, 464, 1169, 31),
    FACTS(QorDistanceImageInput, 1340, 4138, 109),
    FACTS(QorDistanceImageInOut, 272, 603, 16),
    FACTS(QorDistanceImageDebug, 324, 784, 21),
    FACTS(QorDistanceImageIFInput, 1272, 3755, 98),
    FACTS(QorDistanceImageIFCalib, 548, 1351, 38),
    FACTS(QorDistanceImageCustomization, 984, 2891, 76),
    FACTS(QorDistanceImageIFOutput, 464, 1125, 30),
    FACTS(QorRawPhaseData, 80, 88, 2),
    FACTS(QorDICIError, 100, 121, 3),
    FACTS(QorDICIAuxiliaryParam, 296, 593, 16),
};

TypeRef typeOf(zelta::DefinitionGetter getter) {
    const Bytes definition = host_testing::nativeDefinition(getter);
    return zelta::parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
}

unsigned int nodesOf(const zelta::IType& node) {
    unsigned int nodes = 1;
    for (const TypeRef& child : node.children()) {
        nodes += nodesOf(*child);
    }
    return nodes;
}

/** The payload as zlib alone decompresses it. */
Bytes inflated(const Bytes& definition) {
    Bytes payload(1 << 16);
    uLongf size = static_cast<uLongf>(payload.size());
    const std::size_t padding = definition[12];
    EXPECT_EQ(uncompress(payload.data(), &size, definition.data() + kHeaderBytes,
                         static_cast<uLong>(definition.size() - kHeaderBytes - padding)),
              Z_OK);
    payload.resize(size);
    return payload;
}

class Descriptor : public ::testing::TestWithParam<Facts> {
 protected:
    const Bytes definition_ = host_testing::nativeDefinition(GetParam().getter);
};

TEST_P(Descriptor, TheRootIsTheRecordWithItsDeclaredSize) {
    const TypeRef root = typeOf(GetParam().getter);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->name, GetParam().name);
    EXPECT_EQ(root->typeIdentifier(), zelta::TypeStruct);
    EXPECT_TRUE(root->dimensions.empty());
    EXPECT_EQ(root->offset, 0);
    EXPECT_EQ(root->size, GetParam().declaredBytes);
}

TEST_P(Descriptor, HasOneNodeForEachNumberAndStruct) {
    EXPECT_EQ(nodesOf(*typeOf(GetParam().getter)), GetParam().nodes);
}

TEST_P(Descriptor, TheHeaderSaysVersion3CompressedWithoutCipher) {
    ASSERT_GE(definition_.size(), kHeaderBytes);
    EXPECT_EQ(Bytes(definition_.begin(), definition_.begin() + 8), (Bytes{0xDA, 0xDE, 3, 0, 1, 0, 0, 0}));
}

TEST_P(Descriptor, TheHeaderSaysTheDecompressedSize) {
    const unsigned int said = static_cast<unsigned int>(definition_[8]) << 24U |
                              static_cast<unsigned int>(definition_[9]) << 16U |
                              static_cast<unsigned int>(definition_[10]) << 8U | definition_[11];
    EXPECT_EQ(said, GetParam().payloadBytes);
    EXPECT_EQ(inflated(definition_).size(), said);
}

TEST_P(Descriptor, TakesAsManyBytesAsEverButForZlib) {
    EXPECT_LE(std::abs(static_cast<int>(definition_.size()) - GetParam().definitionBytes), 8)
        << definition_.size();
}

TEST_P(Descriptor, IsPaddedToAMultipleOfFourWithZeros) {
    EXPECT_EQ(definition_.size() % 4, 0U);
    const std::size_t padding = definition_[12];
    ASSERT_LE(padding, 3U);
    const std::size_t compressed = definition_.size() - kHeaderBytes - padding;
    EXPECT_EQ(padding, ~compressed & 3U);
    for (std::size_t i = definition_.size() - padding; i < definition_.size(); ++i) {
        EXPECT_EQ(definition_[i], 0) << i;
    }
}

void expectLittleEndian(const zelta::IType& node) {
    EXPECT_EQ(node.endianess, zelta::EndianLittle) << node.name;
    for (const TypeRef& child : node.children()) {
        expectLittleEndian(*child);
    }
}

TEST_P(Descriptor, SaysLittleEndianOnce) {
    const TypeRef root = typeOf(GetParam().getter);
    expectLittleEndian(*root);
    std::string payload;
    zelta::recGenerate_v_1_0(payload, root, true);
    const Bytes expected(payload.begin(), payload.end());
    EXPECT_EQ(inflated(definition_), expected);
}

TEST_P(Descriptor, TheSameArrayIsHandedOutEachTime) {
    const void* first = nullptr;
    const void* second = nullptr;
    zelta_size_t firstSize = 0;
    zelta_size_t secondSize = 0;
    GetParam().getter(&first, &firstSize);
    GetParam().getter(&second, &secondSize);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(firstSize, secondSize);
}

std::string nameOf(const ::testing::TestParamInfo<Facts>& facts) {
    return facts.param.name;
}

INSTANTIATE_TEST_SUITE_P(Records, Descriptor, ::testing::ValuesIn(kFacts), nameOf);

TEST(Descriptors, AreFifteenAndEachIsTested) {
#define ONE(record) +1U
    EXPECT_EQ(QOR_RECORDS_ON_THE_WIRE(ONE), 15U);
#undef ONE
    EXPECT_EQ(std::size(kFacts), 15U);
}

// ---------------------------------------------------------------------------------------------------------------------
// Rows

/** The definition that is handed out has the rows of the table, down to level `depth`. */
template <class Rows>
void expectTable(zelta::DefinitionGetter getter, const Rows& table, unsigned int depth = layout::kAllLevels) {
    EXPECT_EQ(host_testing::textsOf(typeOf(getter), depth), host_testing::textsOf(table));
}

TEST(Layout, OfTheRawImage) {
    expectTable(zeltaGet_QorRawPhaseData, layout_tables::kQorRawPhaseData);
}

TEST(Layout, OfTheCalibrationInterpretersError) {
    expectTable(zeltaGet_QorDICIError, layout_tables::kQorDICIError);
}

TEST(Layout, OfTheAuxiliaryParameters) {
    expectTable(zeltaGet_QorDICIAuxiliaryParam, layout_tables::kQorDICIAuxiliaryParam);
}

TEST(Layout, OfTheInput) {
    expectTable(zeltaGet_QorDistanceImageIFInput, layout_tables::kQorDistanceImageIFInput);
}

TEST(Layout, OfTheResult) {
    expectTable(zeltaGet_QorDistanceImageIFOutput, layout_tables::kQorDistanceImageIFOutput);
}

TEST(Layout, OfTheCalibration) {
    expectTable(zeltaGet_QorDistanceImageIFCalib, layout_tables::kQorDistanceImageIFCalib);
}

/** The customization is a member of the input: the same rows, one level up and from its own start. */
std::vector<Row> rowsOfTheCustomization() {
    std::vector<Row> rows;
    unsigned int start = 0;
    for (const Row& row : layout_tables::kQorDistanceImageIFInput) {
        if (row.level == 1) {
            start = row.name == "customization" ? row.offset : 0;
        }
        if (start != 0) {
            rows.push_back(row);
            --rows.back().level;
            rows.back().offset -= start;
        }
    }
    rows.at(0).name = "QorDistanceImageCustomization";
    return rows;
}

TEST(Layout, OfTheCustomizationAlone) {
    expectTable(zeltaGet_QorDistanceImageCustomization, rowsOfTheCustomization());
}

#define EXPECT_MEMBERS(record) expectTable(zeltaGet_##record, layout_tables::k##record, 1)

TEST(Layout, OfTheProfilingsMembers) {
    EXPECT_MEMBERS(QorDistanceImageProfiling);
}

TEST(Layout, OfTheStagesCalibrationsMembers) {
    EXPECT_MEMBERS(QorDistanceImageCalib);
}

TEST(Layout, OfTheStatesMembers) {
    EXPECT_MEMBERS(QorDistanceImageState);
}

TEST(Layout, OfTheStagesOutputsMembers) {
    EXPECT_MEMBERS(QorDistanceImageOutput);
}

TEST(Layout, OfTheStagesParametersMembers) {
    EXPECT_MEMBERS(QorDistanceImageParam);
}

TEST(Layout, OfTheStagesInputsMembers) {
    EXPECT_MEMBERS(QorDistanceImageInput);
}

TEST(Layout, OfTheStagesInOutsMembers) {
    EXPECT_MEMBERS(QorDistanceImageInOut);
}

TEST(Layout, OfTheDebugRecordsMembers) {
    EXPECT_MEMBERS(QorDistanceImageDebug);
}

/** As deep as its table is. A record on the wire without a table does not compile here. */
TEST(Layout, OfEveryRecordOnTheWire) {
    using namespace layout_tables;
    const std::vector<Row> kQorDistanceImageCustomization = rowsOfTheCustomization();
    const auto depthOf = [](const auto& table) {
        const auto isHigher = [](const Row& a, const Row& b) { return a.level < b.level; };
        return std::max_element(std::begin(table), std::end(table), isHigher)->level;
    };
#define EXPECT_TABLE(record) expectTable(zeltaGet_##record, k##record, depthOf(k##record));
    QOR_RECORDS_ON_THE_WIRE(EXPECT_TABLE)
#undef EXPECT_TABLE
}

/** The payload is 88 bytes: the root with its name, no dimensions, offset 0, 0xE310 bytes, little-endian,
 * struct; then the array of bytes; then the struct's end. */
TEST(Layout, ThePayloadOfTheRawImageByteForByte) {
    Bytes expected;
    const auto append = [&expected](std::initializer_list<std::uint8_t> bytes) {
        expected.insert(expected.end(), bytes);
    };
    const auto appendText = [&expected](const std::string& text) {
        expected.insert(expected.end(), text.begin(), text.end());
    };
    append({0x64, 0, 0, 0, 0x0F});
    appendText("QorRawPhaseData");
    append({0x65, 0, 0, 0, 0, 0x66, 0, 0, 0, 0, 0x67, 0, 0, 0xE3, 0x10, 0x68, 0, 0, 0, 0xC8});
    append({0x96, 0, 0, 0, 0xFE, 0x64, 0, 0, 0, 9});
    appendText("phaseData");
    append({0x65, 0, 0, 0, 1, 0, 0, 0xE3, 0x10, 0x66, 0, 0, 0, 0, 0x67, 0, 0, 0, 1, 0x96, 0, 0, 0, 2});
    append({0x96, 0, 0, 0, 0xFF});
    EXPECT_EQ(inflated(host_testing::nativeDefinition(zeltaGet_QorRawPhaseData)), expected);
}

// ---------------------------------------------------------------------------------------------------------------------
// Expressions

TEST(DescriptorExpression, TheFixedPatternOfTheLastFrequencySlot) {
    const TypeRef type = typeOf(zeltaGet_QorDistanceImageIFCalib);
    const std::string expression = "QorDistanceImageIFCalib.imagerCalib.freqDependent[3].FPPN";
    EXPECT_EQ(zelta::subExpressionOffset(type, expression), 462656U);
    EXPECT_EQ(zelta::subExpressionOffset(type, expression), 3U * 154200U + 56U);
    unsigned int displacement = 0;
    unsigned int count = 0;
    zelta::typeFromExpression(type, expression, displacement, count);
    EXPECT_EQ(count, 38528U);
}

TEST(DescriptorExpression, TheIdOfTheLastRegion) {
    EXPECT_EQ(zelta::subExpressionOffset(
                  typeOf(zeltaGet_QorDistanceImageIFInput),
                  "QorDistanceImageIFInput.customization.autoExpSet.roiSettings.rois.ROIs[63].ID"),
              448U + 63U * 312U);
}

}  // namespace
