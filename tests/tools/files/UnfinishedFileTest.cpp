// SPDX-License-Identifier: Apache-2.0

#include "files/UnfinishedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>
#include <thread>

#include "tools/TestFolder.h"

namespace files {
namespace {

const std::vector<std::uint8_t> bytes{1, 2, 3};

class Unfinished : public testing::Test {
 protected:
    std::filesystem::path path(const char* name) const { return folder_.path() / name; }

    static void writeTo(const std::filesystem::path& path) {
        UnfinishedFile file(path);
        file.write(bytes);
        file.finish();
    }

    TestFolder folder_;
};

TEST_F(Unfinished, ASymbolicLinkStaysAndWhatItNamesIsReplaced) {
    writeBytes(path("target"), {9});
    std::filesystem::create_symlink("target", path("link"));
    writeTo(path("link"));
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    EXPECT_FALSE(std::filesystem::is_symlink(path("target")));
    EXPECT_EQ(fileBytes(path("target")), bytes);
}

TEST_F(Unfinished, ASymbolicLinkToAFileThatIsNotThereMakesIt) {
    std::filesystem::create_symlink(path("deep/target"), path("link"));
    writeTo(path("link"));
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    EXPECT_EQ(fileBytes(path("deep/target")), bytes);
}

TEST_F(Unfinished, AChainOfLinksIsFollowed) {
    std::filesystem::create_directories(path("deep"));
    std::filesystem::create_symlink("deep/second", path("first"));
    std::filesystem::create_symlink("target", path("deep/second"));
    writeTo(path("first"));
    EXPECT_TRUE(std::filesystem::is_symlink(path("deep/second")));
    EXPECT_EQ(fileBytes(path("deep/target")), bytes);
}

TEST_F(Unfinished, AFifoTakesTheBytesAndStays) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    std::vector<std::uint8_t> read;
    std::thread reader([&] { read = fileBytes(path("pipe")); });
    writeTo(path("pipe"));
    reader.join();
    EXPECT_EQ(read, bytes);
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe")));
    EXPECT_FALSE(std::filesystem::exists(path("pipe.part")));
}

TEST_F(Unfinished, ADeviceTakesTheBytesAndStays) {
    writeTo("/dev/null");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_THROW(writeTo("/dev/full"), std::runtime_error);
}

TEST_F(Unfinished, AnEmptyNameIsRefused) {
    EXPECT_THROW(UnfinishedFile(""), std::runtime_error);
}

TEST_F(Unfinished, StreamsAreFifosDevicesAndOpenDescriptors) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("pipe", path("link"));
    for (const auto& stream :
         {path("pipe"), path("link"), std::filesystem::path("/dev/null"), std::filesystem::path("-"),
          std::filesystem::path("/dev/stdout"), std::filesystem::path("/dev/fd/1")}) {
        EXPECT_TRUE(isStream(stream)) << stream;
    }
    writeBytes(path("file"), bytes);
    for (const auto& other : {path("file"), path("none"), folder_.path(), std::filesystem::path("./-")}) {
        EXPECT_FALSE(isStream(other)) << other;
    }
}

}  // namespace
}  // namespace files
