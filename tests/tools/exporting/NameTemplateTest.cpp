// SPDX-License-Identifier: Apache-2.0

#include "exporting/NameTemplate.h"

#include <gtest/gtest.h>

#include "exporting/Channel.h"

namespace exporting {
namespace {

const NameParts parts{"room", "distance", "png", 12, 345};

TEST(NameTemplate, FillsItsFields) {
    EXPECT_EQ(NameTemplate("{frame:05}_{channel}").nameOf(parts), "00012_distance");
    EXPECT_EQ(NameTemplate("{recording}/{format}-{packet}-{frame:1}").nameOf(parts), "room/png-345-12");
    EXPECT_EQ(NameTemplate("plain").nameOf(parts), "plain");
    EXPECT_EQ(NameTemplate("{frame:20}").nameOf(parts), "00000000000000000012");
}

TEST(NameTemplate, ANumberLongerThanItsDigitsStaysWhole) {
    EXPECT_EQ(NameTemplate("{packet:2}").nameOf(parts), "345");
}

TEST(NameTemplate, NamesFromRecordsMakeNoFoldersAndNoSurprises) {
    const NameParts strange{"../a b", "R.m[3]:/\n\x80", "npy", 0, 0};
    EXPECT_EQ(NameTemplate("{recording}").nameOf(strange), ".._a_b");
    EXPECT_EQ(NameTemplate("{channel}").nameOf(strange), "R.m[3]____");
}

TEST(NameTemplate, WhatIsNoTemplateIsRefused) {
    for (const char* text :
         {"", "{", "}", "a{", "a}b", "{}", "{frames}", "{frame:}", "{frame:0}", "{frame:21}", "{frame:-5}",
          "{frame:5x}", "{channel:5}", "{frame", "{{frame}}", "folder/", "{frame:99999999999999999999}"}) {
        EXPECT_THROW(NameTemplate{text}, ExportError) << text;
    }
}

}  // namespace
}  // namespace exporting
