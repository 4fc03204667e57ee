// SPDX-License-Identifier: Apache-2.0

#include "qor/Nearest.h"

#include <gtest/gtest.h>

#include "recording/Description.h"

namespace qor {
namespace {

using recording::float32;
using recording::structure;

class Nearest : public testing::Test {
 protected:
    std::vector<zelta::TypeRef> records_{
        recording::layOut(structure(
            "Engine", {float32("speed"), structure("valve", {float32("lift"), float32("opening")}, {2, 3})})),
        recording::layOut(structure("Other", {float32("pressure")}))};
};

TEST_F(Nearest, AMisspelledMemberIsFound) {
    EXPECT_EQ(nearestMember(records_, "Engine.sped"), "Engine.speed");
    EXPECT_EQ(nearestMember(records_, "engine.SPEED"), "Engine.speed");
    EXPECT_EQ(nearestMember(records_, "Engine.valve[1][2].openning"), "Engine.valve[0][0].opening");
}

TEST_F(Nearest, TheNameOfAMemberAloneIsEnough) {
    EXPECT_EQ(nearestMember(records_, "pressure"), "Other.pressure");
    EXPECT_EQ(nearestMember(records_, "Engine.lift"), "Engine.valve[0][0].lift");
}

TEST_F(Nearest, WhatResemblesNothingHasNoProposal) {
    EXPECT_EQ(nearestMember(records_, "Engine.colour"), "");
    EXPECT_EQ(nearestMember(records_, ""), "");
    EXPECT_EQ(nearestMember(records_, std::string(1000, 'x')), "");
    EXPECT_EQ(proposal(records_, "Engine.colour"), ".");
    EXPECT_EQ(proposal(records_, "Engine.sped"), "; did you mean \"Engine.speed\"?");
}

}  // namespace
}  // namespace qor
