// SPDX-License-Identifier: Apache-2.0
//
// The command with ever more address space, from where it starts at all to where it does its work: each time
// an error in words, or the work.

#include "tools/qor/Command.h"

namespace {

class MemoryLimit : public Command {
 protected:
    Outcome runWith(int mebibytes, const std::string& arguments) const {
        return run(arguments, "bash -c 'ulimit -v " + std::to_string(1024 * mebibytes) + "; exec \"$@\"' x");
    }

    /** The least memory in MiB with which the loader can start the command. */
    int leastToStart() const {
        int mebibytes = 1;
        while (mebibytes < kEnough && runWith(mebibytes, "--version").exitCode != 0) {
            ++mebibytes;
        }
        return mebibytes;
    }

    static constexpr int kEnough = 1024;
};

TEST_F(MemoryLimit, IsToldInWordsWhereverItIsReached) {
    simulate();
    const int least = leastToStart();
    for (const char* arguments : {"run r.zelta --enlarge 1 --force --quiet --out p", "info r.zelta",
                                  "simulate --scene wall --quiet --out s.zelta"}) {
        int mebibytes = least;
        Outcome outcome = runWith(mebibytes, arguments);
        for (; outcome.exitCode != 0 && mebibytes < kEnough; outcome = runWith(++mebibytes, arguments)) {
            // 1 where the plug-in dropped images for want of memory, so that no frame was finished.
            EXPECT_TRUE(outcome.exitCode == 3 || outcome.exitCode == 1)
                << outcome.exitCode << ": " << arguments << " with " << mebibytes << " MiB";
            EXPECT_EQ(outcome.errors.substr(0, 3), "qor") << arguments << " with " << mebibytes << " MiB";
        }
        EXPECT_LT(mebibytes, kEnough) << arguments << ": " << outcome.errors;
    }
    EXPECT_TRUE(std::filesystem::exists(path("p/result.zelta")));
}

}  // namespace
