// SPDX-License-Identifier: Apache-2.0

#include "qor/Reception.h"

#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "qor/CommandLine.h"
#include "qor/ExitCode.h"
#include "tools/TestFolder.h"

namespace {

struct Received {
    int exitCode = -1;
    qor::Reception reception;
    std::string printed;
};

Received runInProcess(std::vector<const char*> words) {
    words.insert(words.begin(), "qor");
    Received received;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        const qor::ScopedReception scope(received.reception);
        received.exitCode = qor::runCommandLine(static_cast<int>(words.size()), words.data());
    }
    received.printed = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    return received;
}

TEST(Reception, GetsTheDocumentInsteadOfStandardOutput) {
    const TestFolder folder;
    const std::string file = (folder.path() / "wall.zelta").string();
    const Received received = runInProcess({"simulate", "--out", file.c_str(), "--json", "--quiet"});
    EXPECT_EQ(received.exitCode, qor::ExitCode::Good);
    EXPECT_EQ(nlohmann::json::parse(received.reception.document)["command"], "simulate");
    EXPECT_EQ(received.reception.errors, "");
    EXPECT_EQ(received.printed, "");
}

TEST(Reception, GetsTheSentencesInsteadOfStandardError) {
    const Received received = runInProcess({"info", "/nowhere.zelta", "--json"});
    EXPECT_EQ(received.exitCode, qor::ExitCode::BadData);
    EXPECT_EQ(received.reception.errors,
              "qor info: Cannot read /nowhere.zelta: No such file or directory.\n");
    EXPECT_EQ(nlohmann::json::parse(received.reception.document)["error"],
              "Cannot read /nowhere.zelta: No such file or directory.");
    EXPECT_EQ(received.printed, "");
}

TEST(Reception, GetsWhatIsWrongWithALine) {
    const Received received = runInProcess({"simulate", "--no-such-option"});
    EXPECT_EQ(received.exitCode, qor::ExitCode::Usage);
    EXPECT_NE(received.reception.errors.find("--no-such-option"), std::string::npos);
    EXPECT_EQ(received.printed, "");
}

TEST(Reception, EndsWithItsScope) {
    runInProcess({"info", "/nowhere.zelta"});
    EXPECT_EQ(qor::currentReception(), nullptr);
    testing::internal::CaptureStderr();
    const std::array words{"qor", "info", "/nowhere.zelta"};
    qor::runCommandLine(static_cast<int>(words.size()), words.data());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "qor info: Cannot read /nowhere.zelta: No such file or directory.\n");
}

}  // namespace
