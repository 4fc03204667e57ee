// SPDX-License-Identifier: Apache-2.0

#include "qor/Complaints.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

TEST(Complaints, NoneMeanThatAllIsGood) {
    EXPECT_EQ(Complaints("run").exitCode(), 0);
    EXPECT_EQ(Complaints("run").tell(), 0);
}

TEST(Complaints, TheWorstGivesTheExitCode) {
    Complaints complaints("run");
    complaints.add(3, "damaged.");
    complaints.add(1, "odd.");
    EXPECT_EQ(complaints.exitCode(), 3);
}

TEST(Complaints, TheyAreToldInTheirOrderFromTheGivenOneOn) {
    Complaints complaints("info");
    complaints.add(1, "first.");
    complaints.add(1, "second.");
    complaints.add(3, "third\x1b.");
    testing::internal::CaptureStderr();
    EXPECT_EQ(complaints.tell(1), 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qor info: second.\nqor info: third\\x1b.\n");
}

}  // namespace
}  // namespace qor
