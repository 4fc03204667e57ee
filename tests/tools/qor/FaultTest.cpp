// SPDX-License-Identifier: Apache-2.0
//
// Faults of the world while the command works: nothing is lost that was written, and what happened is said.

#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "tools/qor/Command.h"

namespace {

class FaultCommand : public Command {
 protected:
    /** The start of a command line whose files end at this size, as on a full disk. */
    static std::string withFilesUpTo(int kibibytes) {
        return "bash -c 'ulimit -f " + std::to_string(kibibytes) + "; exec \"$@\"' x";
    }

    nlohmann::json packetsIn(const char* name) const {
        return jsonOf(std::string("info ") + name).at("channels").at(0).at("chunks");
    }
};

// A result takes 1.5 MB: two fit.
TEST_F(FaultCommand, AFullDiskEndsTheRunInWordsAndLosesNoWholeResult) {
    simulate("--frames 3");
    const Outcome outcome = run("run r.zelta --enlarge 1 --out p", withFilesUpTo(4000));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.errors,
              "qor run: Cannot write p/result.zelta: File too large. The packets before are in "
              "p/result.zelta.part: 2.\n");
    EXPECT_EQ(packetsIn("p/result.zelta.part"), 2);
    EXPECT_FALSE(std::filesystem::exists(path("p/result.zelta")));
}

// The calibration and the images of a frame take 2.9 MB: they fit, and the first image of the next frame.
TEST_F(FaultCommand, AFullDiskEndsASimulationInWordsAndLosesNoWholePacket) {
    const Outcome outcome =
        run("simulate --scene wall --quiet --frames 3 --out r.zelta", withFilesUpTo(3000));
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.errors,
              "qor simulate: Cannot write r.zelta: File too large. The packets before are in "
              "r.zelta.part: 6.\n");
    EXPECT_EQ(packetsIn("r.zelta.part"), 5) << "images, after a packet with the calibration";
    EXPECT_FALSE(std::filesystem::exists(path("r.zelta")));
}

// Large pictures of every frame leave time to kill the run while it writes.
TEST_F(FaultCommand, AKilledRunLeavesWhatItHadWritten) {
    simulate("--frames 40");
    const Outcome outcome =
        run("run r.zelta --enlarge 8 --out p --frames ::1 & command=$!; "
            "for i in $(seq 1200); do "
            "[ \"$(stat -c %s p/result.zelta.part)\" -gt 2000000 ] && break; sleep 0.05; done; "
            "kill -KILL $command; wait $command");
    EXPECT_EQ(outcome.exitCode, 128 + 9);
    EXPECT_FALSE(std::filesystem::exists(path("p/result.zelta")));
    recording::RecordingReader reader(path("p/result.zelta.part"));
    int results = 0;
    try {
        while (reader.next() != nullptr) {
            ++results;
        }
    } catch (const recording::RecordingError& error) {
        EXPECT_NE(std::string(error.what()).find("the file ends"), std::string::npos) << error.what();
    }
    EXPECT_GT(results, 0);
}

// It is killed between the pictures of a frame. What it left is listed as its own.
TEST_F(FaultCommand, AKilledRunLeavesAFolderThatTheNextRunCanReplace) {
    simulate("--frames 2");
    const Outcome outcome =
        run("run r.zelta --enlarge 32 --out p & command=$!; "
            "for i in $(seq 1200); do [ -s p/00000_distance.png ] && break; sleep 0.01; done; "
            "kill -KILL $command; wait $command");
    ASSERT_EQ(outcome.exitCode, 128 + 9);
    const Outcome next = run("run r.zelta --enlarge 1 --force --out p");
    EXPECT_EQ(next.exitCode, 0) << next.errors;
}

// The pipe is closed within a packet, as when the sender dies.
TEST_F(FaultCommand, ARecordingThatEndsWithinAPacketIsPlayedUpToThere) {
    simulate("--frames 3");
    const std::string size = std::to_string(std::filesystem::file_size(path("r.zelta")) - 1000);
    const Outcome outcome = run("run /dev/stdin --enlarge 1 --out p", "head -c " + size + " r.zelta |");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("the file ends in the data"), std::string::npos) << outcome.errors;
    EXPECT_EQ(packetsIn("p/result.zelta"), 2);
}

}  // namespace
