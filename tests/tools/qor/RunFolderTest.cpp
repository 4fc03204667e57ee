// SPDX-License-Identifier: Apache-2.0

#include "qor/RunFolder.h"

#include <gtest/gtest.h>

#include "tools/TestFolder.h"

namespace qor {
namespace {

class Folder : public testing::Test {
 protected:
    std::filesystem::path path(const char* name) const { return folder_.path() / "p" / name; }

    void begin(bool force, const std::vector<std::string>& files = {}) const {
        RunFolder folder(folder_.path() / "p", folder_.path() / "r.zelta", force);
        folder.begin();
        folder.add(files);
        for (const std::string& name : files) {
            writeBytes(folder_.path() / "p" / name, {1});
        }
    }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path() / "p")) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    TestFolder folder_;
};

TEST_F(Folder, AnEarlierRunIsRefused) {
    begin(false, {"result.zelta", "00003_distance.png"});
    EXPECT_THROW(begin(false), FolderInUse);
    EXPECT_TRUE(std::filesystem::exists(path("00003_distance.png")));
}

TEST_F(Folder, ForceRemovesWhatTheEarlierRunWroteAndNothingElse) {
    begin(false, {"result.zelta", "00003_distance.png", "00003_points.ply"});
    writeBytes(path("notes.txt"), {1});
    writeBytes(path("other.zelta"), {1});
    begin(true, {"result.zelta", "00000_distance.png"});
    EXPECT_EQ(names(), (std::vector<std::string>{"00000_distance.png", "notes.txt", "other.zelta",
                                                 "qor-run.txt", "result.zelta"}));
}

// Of an older version, or put there by the user: nobody knows.
TEST_F(Folder, AFileOfARunThatNoListNamesIsRefusedEvenWithForce) {
    std::filesystem::create_directories(path(""));
    writeBytes(path("00001_noise.png"), {1});
    EXPECT_THROW(begin(false), FolderInUse);
    EXPECT_THROW(begin(true), FolderInUse);
    EXPECT_EQ(names(), (std::vector<std::string>{"00001_noise.png"}));
}

TEST_F(Folder, AListCannotNameWhatNoRunWrites) {
    begin(false);
    writeBytes(path("notes.txt"), {1});
    writeBytes(folder_.path() / "00000_x.png", {1});
    std::ofstream(path("qor-run.txt"), std::ios::app)
        << "notes.txt\n../00000_x.png\n00000_/../../00000_x.png\n"
        << folder_.path().string() << "\n";
    begin(true);
    EXPECT_TRUE(std::filesystem::exists(path("notes.txt")));
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / "00000_x.png"));
}

TEST_F(Folder, ARecordingOfTheEarlierRunIsNotRemovedWhileItIsRead) {
    begin(false, {"result.zelta"});
    EXPECT_THROW(RunFolder(folder_.path() / "p", path("result.zelta"), true), FolderInUse);
    EXPECT_TRUE(std::filesystem::exists(path("result.zelta")));
}

TEST_F(Folder, AListOfSomebodyElseIsRefused) {
    std::filesystem::create_directories(path(""));
    std::ofstream(path("qor-run.txt")) << "result.zelta\n";
    writeBytes(path("result.zelta"), {1});
    EXPECT_THROW(begin(true), FolderInUse);
    EXPECT_TRUE(std::filesystem::exists(path("result.zelta")));
}

TEST_F(Folder, FilesThatNoRunWritesDoNotMatter) {
    std::filesystem::create_directories(path(""));
    for (const char* name : {"r.zelta", "result.zelta.part", "distance.png", "0000_x.png", "00000.png"}) {
        writeBytes(path(name), {1});
    }
    begin(false);
    EXPECT_EQ(names().size(), 6U);
}

TEST_F(Folder, NothingChangesBeforeTheRunBegins) {
    begin(false, {"result.zelta"});
    const RunFolder next(folder_.path() / "p", folder_.path() / "r.zelta", true);
    EXPECT_TRUE(std::filesystem::exists(path("result.zelta")));
}

}  // namespace
}  // namespace qor
