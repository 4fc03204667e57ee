// SPDX-License-Identifier: Apache-2.0

#include "recording/Description.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "zelta_expression.h"
#include "zelta_parse.h"

namespace recording {
namespace {

TEST(Description, MembersLieAtTheNextMultipleOfTheirSize) {
    const zelta::TypeRef type =
        layOut(structure("R", {uint8("a"), uint16("b"), uint8("c"), float32("d"), uint8("e"), float64("f")}));
    // a at 0; b at 2; c at 4; d at 8; e at 12; f at 16; ends at 24
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.a"), 0U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.b"), 2U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.c"), 4U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.d"), 8U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.e"), 12U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.f"), 16U);
    EXPECT_EQ(type->size, 24U);
}

TEST(Description, AStructureIsAlignedAndPaddedToItsStrictestMember) {
    const zelta::TypeRef type =
        layOut(structure("R", {uint8("a"), structure("s", {uint16("x"), uint8("y")}, {3}), uint8("b")}));
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.s[0].x"), 2U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.s[2].y"), 2U + 2U * 4U + 2U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.b"), 14U);
    EXPECT_EQ(type->size, 16U);
}

TEST(Description, ArraysTakeTheirCountOfElements) {
    const zelta::TypeRef type = layOut(structure("R", {int16("a", {2, 3}), uint8("b")}));
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.a[1][2]"), 10U);
    EXPECT_EQ(zelta::subExpressionOffset(type, "R.b"), 12U);
    EXPECT_EQ(type->size, 14U);
}

TEST(Description, SurvivesTheWayThroughADefinition) {
    const zelta::TypeRef type = layOut(structure("R", {uint64("a"), structure("s", {int8("x", {5})}, {7})}));
    const std::string definition = zelta::createDatadefinition(type);
    const zelta::TypeRef read =
        zelta::parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
    EXPECT_EQ(zelta::validExpressions(read), zelta::validExpressions(type));
    EXPECT_EQ(read->size, type->size);
    EXPECT_EQ(zelta::subExpressionOffset(read, "R.s[6].x"), zelta::subExpressionOffset(type, "R.s[6].x"));
}

TEST(Description, AStructureWithoutMembersIsRefused) {
    EXPECT_THROW(layOut(structure("R", {})), std::invalid_argument);
    EXPECT_THROW(layOut(structure("R", {uint8("a"), structure("s", {})})), std::invalid_argument);
}

TEST(Description, ARecordBeyondTwoGigabytesIsRefused) {
    EXPECT_THROW(layOut(structure("R", {uint8("a", {0xFFFFFFFFU})})), std::invalid_argument);
    EXPECT_THROW(layOut(structure("R", {uint64("a", {0x10000000U})})), std::invalid_argument);
    EXPECT_THROW(layOut(structure("R", {uint8("a", {0x10000U, 0x10000U, 0x10000U, 0x10000U, 0x10000U})})),
                 std::invalid_argument);
    EXPECT_THROW(layOut(structure("R", {uint8("a", {0x7FFFFFFFU}), uint8("b")})), std::invalid_argument);
    EXPECT_EQ(layOut(structure("R", {uint8("a", {0x7FFFFFFFU})}))->size, 0x7FFFFFFFU);
}

}  // namespace
}  // namespace recording
