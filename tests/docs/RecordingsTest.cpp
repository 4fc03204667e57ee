// SPDX-License-Identifier: Apache-2.0
//
// docs/recordings.md explains every channel.
#include <gtest/gtest.h>

#include "Checkout.h"

namespace {

const std::string& page() {
    static const std::string text = checkout::textOf(checkout::path("docs/recordings.md"));
    return text;
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
