// SPDX-License-Identifier: Apache-2.0

#include <string>

#include "tools/qor/Command.h"

namespace {

const std::string minAmplitude = "QorDistanceImageIFInput.customization.minAmplitude";

// A page of the workbench, as small as can be.
class ReportCommand : public Command {
 protected:
    ReportCommand() { writeFile("page.html", "<body><!--REPORT--><i></i><!--RECORDINGS--></body>"); }

    void writeFile(const std::string& name, const std::string& text) const {
        writeBytes(path(name), {text.begin(), text.end()});
    }

    // The page that it writes; `expected` exit code.
    std::string report(const std::string& arguments, int expected = 0) const {
        const Outcome outcome = run("report --page page.html --quiet -o report.html " + arguments);
        EXPECT_EQ(outcome.exitCode, expected) << outcome.errors;
        return contentOf(path("report.html"));
    }
};

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// What stands in the row of a figure.
std::string figureIn(const std::string& page, const std::string& name) {
    const std::string head = "<code>" + name + "</code></th><td>";
    const std::size_t at = page.find(head);
    return at == std::string::npos
               ? "no such figure"
               : page.substr(at + head.size(), page.find('<', at + head.size()) - at - head.size());
}

TEST_F(ReportCommand, HasTheFiguresOfMetrics) {
    simulate("--frames 2 --intensity-image");
    const auto figures = jsonOf("metrics r.zelta")["figures"];
    const std::string page = report("r.zelta");
    for (const std::string name :
         {"rms_mm", "valid_share", "plane_rms_mm", "temporal_noise_mm", "flying_pixels"}) {
        ASSERT_TRUE(figures[name].is_number()) << name;
        EXPECT_NEAR(std::stod(figureIn(page, name)), figures[name].get<double>(), 5.1e-5) << name;
    }
}

TEST_F(ReportCommand, OfAResultHasTheFiguresOfItsRecording) {
    simulate("--frames 2 --intensity-image");
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    const std::string ofRecording = report("r.zelta");
    const std::string ofResult = report("run/result.zelta --truth r.zelta");
    for (const std::string name : {"rms_mm", "valid_share", "temporal_noise_mm", "within_one_sigma"}) {
        EXPECT_EQ(figureIn(ofResult, name), figureIn(ofRecording, name)) << name;
        EXPECT_NE(figureIn(ofResult, name), "-") << name;
    }
    EXPECT_EQ(countOf(ofResult, "<img"), countOf(ofRecording, "<img"));
    EXPECT_EQ(figureIn(report("run/result.zelta"), "rms_mm"), "-");
}

TEST_F(ReportCommand, TakesTheFramesOfTheTruthOfAResultAlong) {
    simulate();
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    EXPECT_TRUE(has(report("run/result.zelta --truth r.zelta"), "class=\"recording\""));
    EXPECT_FALSE(has(report("run/result.zelta"), "class=\"recording\""));
}

TEST_F(ReportCommand, RefusesATruthForARecording) {
    simulate();
    EXPECT_EQ(run("report r.zelta --truth r.zelta -o report.html --quiet").exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(path("report.html")));
}

TEST_F(ReportCommand, RefusesSettingsForAResult) {
    simulate();
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    const Outcome outcome =
        run("report run/result.zelta -o report.html --quiet --set " + minAmplitude + "=30");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_TRUE(has(outcome.errors, "was made with its settings")) << outcome.errors;
}

TEST_F(ReportCommand, ListsWhatDiffersFromTheDefaultsAndNothingElse) {
    simulate();
    EXPECT_TRUE(has(report("r.zelta"), "differ from the defaults</h3>\n<p>None.</p>"));
    const std::string page = report("r.zelta --set " + minAmplitude + "=33");
    EXPECT_TRUE(has(page, "<tr><td><code>" + minAmplitude +
                              "</code></td><td>33</td><td>20</td><td>changed for this run</td></tr>"));
    EXPECT_EQ(countOf(page, "changed for this run"), 1U);
}

TEST_F(ReportCommand, ListsDifferencesThatTheRecordingHasItself) {
    simulate("--frequencies 60MHz,80MHz");
    EXPECT_TRUE(has(report("r.zelta"),
                    "<tr><td><code>QorDistanceImageIFInput.param.numFrequencies</code></td><td>2"
                    "</td><td>1</td><td></td></tr>"));
}

TEST_F(ReportCommand, DrawsErrorsAndNoiseMeasuredAgainstPredicted) {
    ASSERT_EQ(run("simulate --scene hall --frames 2 --intensity-image --quiet --out r.zelta").exitCode, 0);
    const std::string page = report("r.zelta");
    EXPECT_TRUE(has(page, ">Error by raw amplitude</text>"));
    EXPECT_TRUE(has(page, ">Noise by amplitude</text>"));
    EXPECT_TRUE(has(page, ">measured</text>"));
    EXPECT_TRUE(has(page, ">predicted</text>"));
}

TEST_F(ReportCommand, KeepsItsLimitAndSaysWhatDidNotFit) {
    simulate("--frames 16");
    const std::string page = report("r.zelta --size-limit 6");
    EXPECT_LE(page.size(), 6'000'000U);
    EXPECT_TRUE(has(page, "more did not fit the page's limit of 6 MB (--size-limit)"));
}

TEST_F(ReportCommand, LeavesOutPicturesThatDoNotFitAndCountsThem) {
    simulate("--frames 12");
    const std::string page = report("r.zelta --size-limit 1 --frames 0:12");
    EXPECT_LE(page.size(), 1'000'000U);
    EXPECT_TRUE(has(page, "did not fit the page.</p>"));
}

TEST_F(ReportCommand, SaysItsSizeAndLimit) {
    simulate();
    const Outcome outcome = run("report r.zelta --page page.html -o report.html");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_TRUE(has(outcome.output, " of at most 10 MB")) << outcome.output;
}

TEST_F(ReportCommand, ListsTheDamageOfARecording) {
    simulate("--frames 2");
    std::filesystem::resize_file(path("r.zelta"), std::filesystem::file_size(path("r.zelta")) - 100);
    const std::string page = report("r.zelta", 3);
    EXPECT_TRUE(has(page, "<p class=\"finding\">r.zelta is damaged at byte"));
}

TEST_F(ReportCommand, EscapesWhatAFileIsCalled) {
    simulate("", "'a<b>.zelta'");
    const std::string page = report("'a<b>.zelta'");
    EXPECT_TRUE(has(page, "<h2>a&lt;b&gt;.zelta</h2>"));
    EXPECT_FALSE(has(page, "a<b>.zelta"));
}

TEST_F(ReportCommand, OfFilesOfOneNameHasThePicturesOfEach) {
    std::filesystem::create_directories(path("other"));
    simulate();
    simulate("--seed 2", "other/r.zelta");
    const std::string page = report("r.zelta other/r.zelta");
    const std::size_t second = page.rfind("<h2>");
    const auto pictureAfter = [&page](std::size_t from) {
        const std::size_t at = page.find("base64,", from);
        return page.substr(at, page.find('"', at) - at);
    };
    EXPECT_NE(pictureAfter(0), pictureAfter(second));
}

}  // namespace
