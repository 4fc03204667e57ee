// SPDX-License-Identifier: Apache-2.0

#include <string>

#include "tools/qor/Command.h"

namespace {

class View : public Command {
 protected:
    View() {
        const std::string text = "<body><!--REPORT--><i></i><!--RECORDINGS--></body>";
        writeBytes(path("page.html"), {text.begin(), text.end()});
    }
};

TEST_F(View, WritesThePageWithTheRecordingsAndPrintsItsPath) {
    simulate();
    const Outcome outcome = run("view r.zelta r.zelta --page page.html --no-open -o v.html");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "v.html\n");
    const std::string page = contentOf(path("v.html"));
    const std::size_t first = page.find("data-name=\"r.zelta\"");
    EXPECT_NE(first, std::string::npos);
    EXPECT_NE(page.find("data-name=\"r.zelta\"", first + 1), std::string::npos);
}

TEST_F(View, NeedsNoRecording) {
    EXPECT_EQ(run("view --page page.html --no-open -o v.html").exitCode, 0);
    EXPECT_EQ(contentOf(path("v.html")), "<body><i></i></body>");
}

TEST_F(View, SaysHowManyFramesFit) {
    simulate("--frames 12");
    const Outcome outcome = run("view r.zelta --page page.html --no-open -o v.html --size-limit 5");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("of 12 frames of r.zelta"), std::string::npos) << outcome.errors;
    EXPECT_LT(std::filesystem::file_size(path("v.html")), 5'100'000U);
}

TEST_F(View, TellsADamagedRecordingAndTakesItsGoodFrames) {
    simulate("--frames 3");
    std::filesystem::resize_file(path("r.zelta"), std::filesystem::file_size(path("r.zelta")) - 100);
    const Outcome outcome = run("view r.zelta --page page.html --no-open -o v.html");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("r.zelta is damaged at byte"), std::string::npos) << outcome.errors;
    EXPECT_NE(contentOf(path("v.html")).find("data-name"), std::string::npos);
}

TEST_F(View, RefusesAnotherFileForThePage) {
    simulate();
    const Outcome outcome = run("view --page r.zelta --no-open -o v.html");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.errors, "qor view: r.zelta is not the page of the workbench.\n");
    EXPECT_FALSE(std::filesystem::exists(path("v.html")));
}

}  // namespace
