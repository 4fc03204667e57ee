// SPDX-License-Identifier: Apache-2.0
#include "ALErrorHandling.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALErrorHandlingTest";

// The locks that the tests install; they note what they were called with.
std::mutex g_mutex;
std::vector<std::string> g_lockCalls;

std::int32_t lockAndNote(std::int32_t handle) {
    g_mutex.lock();
    g_lockCalls.push_back("lock " + std::to_string(handle));
    return 0;
}

std::int32_t unlockAndNote(std::int32_t handle) {
    g_lockCalls.push_back("unlock " + std::to_string(handle));
    g_mutex.unlock();
    return 0;
}

/** Two empty histories, registered; what the reports print is caught. */
class ErrorHandling : public testing::Test {
 protected:
    ErrorHandling() {
        testing::internal::CaptureStdout();
        g_lockCalls.clear();
        ErrorHandling_Init(&run_, ALERR_HT_PER_RUN_HISTORY, 1);
        ErrorHandling_Init(&frame_, ALERR_HT_PER_FRAME_HISTORY, 1);
    }

    ~ErrorHandling() override {
        ErrorHandling_InitThreadSafety(0, nullptr, nullptr);
        ErrorHandling_Init(nullptr, ALERR_HT_PER_RUN_HISTORY, 0);
        ErrorHandling_Init(nullptr, ALERR_HT_PER_FRAME_HISTORY, 0);
        if (capturing_) {
            testing::internal::GetCapturedStdout();
        }
    }

    std::string printed() {
        capturing_ = false;
        return testing::internal::GetCapturedStdout();
    }

    ALErrorHistory run_ = {};
    ALErrorHistory frame_ = {};

 private:
    bool capturing_ = true;
};

// --- Reports ---

TEST_F(ErrorHandling, ReportStandsInBothHistories) {
    reportError("core/app-specific/src/Wiggling", 17, "no table");
    for (const ALErrorHistory* history : {&run_, &frame_}) {
        ASSERT_EQ(history->numValidEntries, 1);
        EXPECT_STREQ(history->entries[0].file, "Wiggling");
        EXPECT_EQ(history->entries[0].line, 17);
        EXPECT_STREQ(history->entries[0].errorMsg, "no table");
    }
}

TEST_F(ErrorHandling, ReportIsPrintedWithTheWholePath) {
    reportError("core/app-specific/src/Wiggling", 17, "no table");
    EXPECT_EQ(printed(), "Unexpected Error! File core/app-specific/src/Wiggling Line 17\n");
}

TEST_F(ErrorHandling, ReportsOfAFailureChainStandInnermostFirst) {
    reportError("src/Inner", 1, "cause");
    reportError("src/Outer", 2, nullptr);
    ASSERT_EQ(run_.numValidEntries, 2);
    EXPECT_STREQ(run_.entries[0].file, "Inner");
    EXPECT_STREQ(run_.entries[1].file, "Outer");
}

TEST_F(ErrorHandling, TwentyFirstReportChangesNoHistory) {
    for (int i = 0; i < 20; ++i) {
        reportError("src/Stage", i, "one of twenty");
    }
    const ALErrorHistory runBefore = run_;
    const ALErrorHistory frameBefore = frame_;
    reportError("src/Late", 99, "too late");
    EXPECT_EQ(run_.numValidEntries, 20);
    EXPECT_EQ(std::memcmp(&run_, &runBefore, sizeof(run_)), 0);
    EXPECT_EQ(std::memcmp(&frame_, &frameBefore, sizeof(frame_)), 0);
}

TEST_F(ErrorHandling, TwentyFirstReportIsStillPrinted) {
    for (int i = 0; i < 20; ++i) {
        reportError("src/Stage", i, "one of twenty");
    }
    reportError("src/Late", 99, "too late");
    EXPECT_NE(printed().find("Unexpected Error! File src/Late Line 99\n"), std::string::npos);
}

TEST_F(ErrorHandling, HistoryWithANegativeCountIsLeftAlone) {
    run_.numValidEntries = -1;
    const ALErrorHistory before = run_;
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(std::memcmp(&run_, &before, sizeof(run_)), 0);
}

TEST_F(ErrorHandling, HistoryWithTheLargestCountIsLeftAlone) {
    run_.numValidEntries = INT_MAX;
    const ALErrorHistory before = run_;
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(std::memcmp(&run_, &before, sizeof(run_)), 0);
}

TEST_F(ErrorHandling, ReportWithoutHistoriesIsPrintedOnly) {
    ErrorHandling_Init(nullptr, ALERR_HT_PER_RUN_HISTORY, 1);
    ErrorHandling_Init(nullptr, ALERR_HT_PER_FRAME_HISTORY, 1);
    reportError("src/Stage", 5, "text");
    EXPECT_EQ(run_.numValidEntries, 0);
    EXPECT_EQ(frame_.numValidEntries, 0);
    EXPECT_EQ(printed(), "Unexpected Error! File src/Stage Line 5\n");
}

// --- File names ---

TEST_F(ErrorHandling, FileIsWhatFollowsTheLastSeparatorOfEitherKind) {
    reportError("C:\\work/core\\Stage", 1, "text");
    EXPECT_STREQ(run_.entries[0].file, "Stage");
    reportError("core\\app/Stage2", 1, "text");
    EXPECT_STREQ(run_.entries[1].file, "Stage2");
}

TEST_F(ErrorHandling, FileNameWithoutSeparatorIsStoredAsItIs) {
    reportError("Stage", 1, "text");
    EXPECT_STREQ(run_.entries[0].file, "Stage");
}

TEST_F(ErrorHandling, PathThatEndsInASeparatorHasAnEmptyFile) {
    reportError("core/Stage/", 1, "text");
    EXPECT_STREQ(run_.entries[0].file, "");
}

TEST_F(ErrorHandling, FileNameOf25CharactersKeepsItsFirst19) {
    reportError("src/abcdefghijklmnopqrstuvwxy", 1, "text");
    EXPECT_STREQ(run_.entries[0].file, "abcdefghijklmnopqrs");
}

TEST_F(ErrorHandling, FileNameOf19CharactersIsStoredWhole) {
    reportError("src/abcdefghijklmnopqrs", 1, "text");
    EXPECT_STREQ(run_.entries[0].file, "abcdefghijklmnopqrs");
}

TEST_F(ErrorHandling, NothingOfALongDirectoryNameStaysBehindAShortFileName) {
    reportError("abcdefghijklmnopqrstuvwxyz/x", 1, "text");
    const char_t expected[20] = "x";
    EXPECT_EQ(std::memcmp(run_.entries[0].file, expected, sizeof(expected)), 0);
}

TEST_F(ErrorHandling, NothingOfAnEarlierEntryStaysBehindShorterTexts) {
    std::memset(&run_.entries[0], 'z', sizeof(run_.entries[0]));
    reportError("src/x", 1, "y");
    const char_t expectedFile[20] = "x";
    const char_t expectedMessage[128] = "y";
    EXPECT_EQ(std::memcmp(run_.entries[0].file, expectedFile, sizeof(expectedFile)), 0);
    EXPECT_EQ(std::memcmp(run_.entries[0].errorMsg, expectedMessage, sizeof(expectedMessage)), 0);
}

// --- Messages ---

TEST_F(ErrorHandling, MessageOf200CharactersKeepsItsFirst127) {
    reportError("src/Stage", 1, std::string(200, 'm').c_str());
    EXPECT_EQ(std::string(run_.entries[0].errorMsg), std::string(127, 'm'));
}

TEST_F(ErrorHandling, MessageOf127CharactersIsStoredWhole) {
    reportError("src/Stage", 1, std::string(127, 'm').c_str());
    EXPECT_EQ(std::string(run_.entries[0].errorMsg), std::string(127, 'm'));
}

TEST_F(ErrorHandling, EmptyMessageStaysEmpty) {
    reportError("src/Stage", 1, "");
    EXPECT_STREQ(run_.entries[0].errorMsg, "");
}

TEST_F(ErrorHandling, WithoutMessageTheTextNamesTheStoredFileAndTheLine) {
    reportError("core/app-specific/src/QorDistanceImageInterface", 82, nullptr);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@QorDistanceImageInt:82");
}

TEST_F(ErrorHandling, WithoutFileAndMessageTheTextHasTheLineOnly) {
    reportError(nullptr, 82, nullptr);
    EXPECT_STREQ(run_.entries[0].file, "");
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@:82");
}

TEST_F(ErrorHandling, WithoutFileTheReportIsStillPrinted) {
    reportError(nullptr, 82, nullptr);
    EXPECT_EQ(printed(), "Unexpected Error! File (null) Line 82\n");
}

TEST_F(ErrorHandling, LineOfFiveDigitsIsShownWhole) {
    reportError("src/Stage", 99999, nullptr);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@Stage:99999");
}

TEST_F(ErrorHandling, LineOfSixDigitsShowsItsLowerFive) {
    reportError("src/Stage", 123456, nullptr);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@Stage:23456");
    EXPECT_EQ(run_.entries[0].line, 123456);
}

TEST_F(ErrorHandling, LineIsShownWithoutLeadingZeros) {
    reportError("src/Stage", 100082, nullptr);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@Stage:82");
}

TEST_F(ErrorHandling, LineZeroIsShownAsOneDigit) {
    reportError("src/Stage", 0, nullptr);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@Stage:0");
}

TEST_F(ErrorHandling, LineAtTheLimitsOfItsTypeIsStored) {
    reportError("src/Stage", INT_MAX, nullptr);
    reportError("src/Stage", INT_MIN, nullptr);
    EXPECT_EQ(run_.entries[0].line, INT_MAX);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@Stage:83647");
    EXPECT_EQ(run_.entries[1].line, INT_MIN);
}

// --- reportFailure ---

TEST_F(ErrorHandling, ReportFailureIsOne) {
    EXPECT_EQ(reportFailure(kSourceFile), 1);
}

TEST_F(ErrorHandling, ReportFailureNamesTheLineOfItsCaller) {
    const std::int32_t here = __LINE__ + 1;
    reportFailure(kSourceFile, "text");
    ASSERT_EQ(run_.numValidEntries, 1);
    EXPECT_EQ(run_.entries[0].line, here);
    EXPECT_STREQ(run_.entries[0].file, "ALErrorHandlingTest");
    EXPECT_STREQ(run_.entries[0].errorMsg, "text");
}

TEST_F(ErrorHandling, ReportFailureTakesAFixedLine) {
    reportFailure(kSourceFile, nullptr, 311);
    EXPECT_STREQ(run_.entries[0].errorMsg, "ERR@ALErrorHandlingTest:311");
}

// --- Initialisation ---

TEST_F(ErrorHandling, InitWithEmptyingZeroesTheRecordAndMarksTheLines) {
    std::memset(&run_, 0x5A, sizeof(run_));
    EXPECT_EQ(ErrorHandling_Init(&run_, ALERR_HT_PER_RUN_HISTORY, 1), 0);
    EXPECT_EQ(run_.numValidEntries, 0);
    ALErrorDescription unused = {};
    unused.line = -1;
    for (const ALErrorDescription& entry : run_.entries) {
        EXPECT_EQ(std::memcmp(&entry, &unused, sizeof(entry)), 0);
    }
}

TEST_F(ErrorHandling, InitWithoutEmptyingContinuesTheHistory) {
    reportError("src/First", 1, "text");
    EXPECT_EQ(ErrorHandling_Init(&run_, ALERR_HT_PER_RUN_HISTORY, 0), 0);
    reportError("src/Second", 2, "text");
    ASSERT_EQ(run_.numValidEntries, 2);
    EXPECT_STREQ(run_.entries[0].file, "First");
    EXPECT_STREQ(run_.entries[1].file, "Second");
}

TEST_F(ErrorHandling, InitRefusesAnUnknownTypeAndLeavesTheRecord) {
    ALErrorHistory other;
    std::memset(&other, 0x5A, sizeof(other));
    const ALErrorHistory before = other;
    for (const int type : {-1, 2, INT_MAX, INT_MIN}) {
        EXPECT_EQ(ErrorHandling_Init(&other, static_cast<ALErrorHistoryType>(type), 1), 1) << type;
    }
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(std::memcmp(&other, &before, sizeof(other)), 0);
    EXPECT_EQ(run_.numValidEntries, 1);
}

TEST_F(ErrorHandling, EmptyingTheFrameHistoryKeepsTheRunHistory) {
    reportError("src/Stage", 1, "text");
    ErrorHandling_Init(&frame_, ALERR_HT_PER_FRAME_HISTORY, 1);
    EXPECT_EQ(frame_.numValidEntries, 0);
    EXPECT_EQ(run_.numValidEntries, 1);
}

// --- Per-frame query ---

TEST_F(ErrorHandling, NoErrorHasOccuredInAnEmptyFrameHistory) {
    EXPECT_EQ(ErrorHandling_PerFrameErrorOccured(), 0);
}

TEST_F(ErrorHandling, AnErrorHasOccuredAfterAReport) {
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(ErrorHandling_PerFrameErrorOccured(), 1);
}

TEST_F(ErrorHandling, NoErrorHasOccuredWithoutAFrameHistory) {
    ErrorHandling_Init(nullptr, ALERR_HT_PER_FRAME_HISTORY, 1);
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(ErrorHandling_PerFrameErrorOccured(), 0);
}

TEST_F(ErrorHandling, RunHistoryDoesNotCountAsFrameError) {
    reportError("src/Stage", 1, "text");
    ErrorHandling_Init(&frame_, ALERR_HT_PER_FRAME_HISTORY, 1);
    EXPECT_EQ(ErrorHandling_PerFrameErrorOccured(), 0);
}

// --- Locks ---

TEST_F(ErrorHandling, ReportLocksAndUnlocksWithTheHandle) {
    ErrorHandling_InitThreadSafety(42, lockAndNote, unlockAndNote);
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(g_lockCalls, (std::vector<std::string>{"lock 42", "unlock 42"}));
}

TEST_F(ErrorHandling, ANullLockDoesNothingOnItsSide) {
    ErrorHandling_InitThreadSafety(7, nullptr, [](std::int32_t handle) -> std::int32_t {
        g_lockCalls.push_back("unlock only " + std::to_string(handle));
        return 0;
    });
    reportError("src/Stage", 1, "text");
    EXPECT_EQ(g_lockCalls, (std::vector<std::string>{"unlock only 7"}));
    EXPECT_EQ(run_.numValidEntries, 1);
}

TEST_F(ErrorHandling, ReportsOfSeveralThreadsAreAllWhole) {
    ErrorHandling_InitThreadSafety(1, lockAndNote, unlockAndNote);
    std::vector<std::thread> workers;
    workers.reserve(4);
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([worker] {
            const std::string text(100, static_cast<char>('a' + worker));
            for (int i = 0; i < 5; ++i) {
                reportError("src/Worker", worker, text.c_str());
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    ASSERT_EQ(run_.numValidEntries, 20);
    std::vector<int> reportsOf(4);
    for (const ALErrorDescription& entry : run_.entries) {
        ASSERT_TRUE(entry.line >= 0 && entry.line < 4);
        ++reportsOf[static_cast<std::size_t>(entry.line)];
        EXPECT_EQ(std::string(entry.errorMsg), std::string(100, static_cast<char>('a' + entry.line)));
    }
    EXPECT_EQ(reportsOf, (std::vector<int>{5, 5, 5, 5}));
}

// --- Layout ---

TEST(ErrorHistoryLayout, IsOneOnEveryTarget) {
    EXPECT_EQ(sizeof(ALErrorDescription), 152U);
    EXPECT_EQ(offsetof(ALErrorDescription, line), 20U);
    EXPECT_EQ(offsetof(ALErrorDescription, errorMsg), 24U);
    EXPECT_EQ(sizeof(ALErrorHistory), 3044U);
    EXPECT_EQ(offsetof(ALErrorHistory, entries), 4U);
}

}  // namespace
