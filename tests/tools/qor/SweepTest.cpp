// SPDX-License-Identifier: Apache-2.0
//
// What the command does for a sweep itself: it finds Python, or says what is missing. tests/python/sweep has
// the rest.

#include "tools/qor/Command.h"

namespace {

class Sweep : public Command {
 protected:
    // A Python that prints its arguments and the environment that it gets.
    void makePython() const {
        std::ofstream(path("python"))
            << "#!/bin/sh\nprintf '%s\\n' \"$@\" \"$QOR_COMMAND\" \"$PYTHONPATH\"\nexit 7\n";
        std::filesystem::permissions(path("python"), std::filesystem::perms::owner_all);
    }
};

TEST_F(Sweep, WithoutPythonSaysWhatItNeeds) {
    const Outcome outcome = run("sweep plan.toml", "QOR_PYTHON=/nowhere/python");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.errors,
              "qor sweep: /nowhere/python cannot be started: No such file or directory. A sweep needs Python "
              "3.11 and "
              "Dask, in Debian python3-distributed.\n");
}

TEST_F(Sweep, HandsItsOptionsToPythonAndGivesItsExitCode) {
    makePython();
    const Outcome outcome =
        run("sweep plan.toml 'a b.zelta' --jobs 3 --best 'rms_mm where x > 1' --resume --report",
            "PYTHONPATH=/other QOR_PYTHON=./python");
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(
        outcome.output.rfind("-m\nqor.sweep\n--out=out/sweep\n--jobs=3\n--best=rms_mm where x > 1\n--resume\n"
                             "--report\n--\nplan.toml\na b.zelta\n" QOR_COMMAND "\n/",
                             0),
        0U)
        << outcome.output;
    EXPECT_TRUE(outcome.output.ends_with("/python:/other\n")) << outcome.output;
}

}  // namespace
