// SPDX-License-Identifier: Apache-2.0

#include "plugin/Plugin.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "recording/Record.h"
#include "tools/TestFolder.h"

namespace plugin {
namespace {

std::string refusal(const std::filesystem::path& path) {
    try {
        const Plugin algorithm(path);
        return "";
    } catch (const PluginError& error) {
        return error.what();
    }
}

TEST(Plugin, TellsWhoItIs) {
    const Plugin algorithm(FAKE_PLUGIN);
    EXPECT_EQ(algorithm.name(), "Fake Algorithm");
    EXPECT_EQ(algorithm.version(), "1.22.333");
    EXPECT_EQ(algorithm.lastMessage(), "fake message");
    EXPECT_EQ(algorithm.path(), FAKE_PLUGIN);
}

TEST(Plugin, AFileThatIsNoneIsToldByName) {
    EXPECT_EQ(refusal("/nowhere/libqor.so"),
              "Cannot open the plug-in /nowhere/libqor.so: cannot open shared object file: No such file or "
              "directory.");
    const TestFolder folder;
    writeBytes(folder.path() / "text.so", {'t', 'e', 'x', 't'});
    EXPECT_NE(refusal(folder.path() / "text.so").find("Cannot open the plug-in"), std::string::npos);
}

// A name without a folder means a file here, not one that the linker finds somewhere.
TEST(Plugin, ANameWithoutFolderIsNotSearchedFor) {
    EXPECT_NE(refusal("libc.so.6").find("Cannot open the plug-in libc.so.6"), std::string::npos)
        << refusal("libc.so.6");
}

TEST(Plugin, ASharedObjectWithoutTheFunctionsIsRefusedWithTheFirstMissing) {
    EXPECT_EQ(refusal(HALF_PLUGIN), HALF_PLUGIN " is no plug-in: it has no function clearAlgo.");
}

TEST(Plugin, LivesFromCreateToClear) {
    const TestFolder folder;
    const std::filesystem::path log = folder.path() / "log";
    setenv("FAKE_PLUGIN_LOG", log.c_str(), 1);
    {
        Plugin algorithm(FAKE_PLUGIN);
        algorithm.process(recording::packetOf({}), true);
        algorithm.process(recording::packetOf({}));
        EXPECT_TRUE(algorithm.result(true).empty());
        EXPECT_TRUE(algorithm.result(false).empty());
    }
    unsetenv("FAKE_PLUGIN_LOG");
    const std::vector<std::uint8_t> bytes = fileBytes(log);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "createAlgo\nprocessZelta 4 1\nprocessZelta 4 0\ngetRequiredOutputSize 1\n"
              "getRequiredOutputSize 0\nclearAlgo\n");
}

TEST(Plugin, AFailureComesWithThePluginsOwnWords) {
    Plugin algorithm(FAKE_PLUGIN);
    try {
        algorithm.process(std::vector<std::uint8_t>{1, 2, 3});
        FAIL();
    } catch (const PluginError& error) {
        EXPECT_STREQ(error.what(), "The plug-in failed to process the packet: Unable to parse zelta packet.");
    }
    EXPECT_FALSE(algorithm.process(recording::packetOf({})));  // and it goes on
}

TEST(Plugin, AnExceptionOutOfTheResultBecomesASentence) {
    setenv("FAKE_PLUGIN_BAD_RESULT", "1", 1);
    Plugin algorithm(FAKE_PLUGIN);
    algorithm.process(recording::packetOf({}));
    try {
        algorithm.result(false);
        ADD_FAILURE();
    } catch (const PluginError& error) {
        EXPECT_STREQ(error.what(), "The plug-in failed to pack its result: told to have a bad result.");
    }
    unsetenv("FAKE_PLUGIN_BAD_RESULT");
}

}  // namespace
}  // namespace plugin
