// SPDX-License-Identifier: Apache-2.0
//
// docs/recordings.md explains every setting and every channel.
#include <gtest/gtest.h>

#include "Checkout.h"
#include "QorRecordLayout.h"

namespace {

const std::string& page() {
    static const std::string text = checkout::textOf(checkout::path("docs/recordings.md"));
    return text;
}

TEST(Recordings, EveryMemberOfTheCustomizationIsExplained) {
    bool isSetting = false;
    int settings = 0;
    for (const layout::Row& row : layout_tables::kQorDistanceImageIFInput) {
        if (row.level == 1) {
            isSetting = row.name == "customization";
        }
        if (isSetting && row.level == 2) {
            ++settings;
            const std::string name(row.name);
            const bool isExplained = page().find("| `" + name + "`") != std::string::npos ||
                                     page().find("| `" + name + ".") != std::string::npos;
            EXPECT_TRUE(isExplained) << name;
        }
    }
    EXPECT_GE(settings, 14);
}

TEST(Recordings, EveryChannelIsExplained) {
    for (const std::string& row : checkout::channelRows()) {
        const std::string number = row.substr(0, row.find(' '));
        EXPECT_TRUE(page().find("\n| " + number + " | ") != std::string::npos ||
                    page().find("channel " + number) != std::string::npos)
            << number;
    }
}

}  // namespace
