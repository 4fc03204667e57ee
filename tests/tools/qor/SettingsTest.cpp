// SPDX-License-Identifier: Apache-2.0
//
// Settings, streams and folders of qor run and qor simulate as their users meet them.

#include <sys/stat.h>

#include "tools/qor/Command.h"

namespace {

const std::string fake = " --plugin '" FAKE_PLUGIN "'";
const std::string custom = "QorDistanceImageIFInput.customization.";

class Settings : public Command {};

TEST_F(Settings, TheRecordingMayFollowASetMember) {
    simulate();
    EXPECT_EQ(run("run --set " + custom + "minAmplitude=30 r.zelta --out p" + fake).exitCode, 0);
    EXPECT_EQ(run("run --settings p/settings.txt r.zelta --out q" + fake).exitCode, 0);
}

TEST_F(Settings, EnumeratorsAndSwitchesAreSetByName) {
    simulate();
    ASSERT_EQ(run("run r.zelta --out p --set " + custom + "filterSet.spatialFilter=median --set " + custom +
                  "filter2FreqAssignment=true" + fake)
                  .exitCode,
              0);
    const std::string settings = contentOf(path("p/settings.txt"));
    EXPECT_NE(settings.find(custom + "filterSet.spatialFilter = median\n"), std::string::npos) << settings;
    EXPECT_NE(settings.find(custom + "filter2FreqAssignment = 1\n"), std::string::npos) << settings;
}

TEST_F(Settings, TheNearestMemberIsProposed) {
    simulate();
    for (const std::string& name : {custom + "minAmplitud", std::string("minAmplitude")}) {
        const Outcome outcome = run("run r.zelta --out p --set " + name + "=20" + fake);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_NE(outcome.errors.find("; did you mean \"" + custom + "minAmplitude\"?"), std::string::npos)
            << outcome.errors;
        EXPECT_FALSE(std::filesystem::exists(path("p")));
    }
}

// Every line can be read back: the second run uses and writes the same.
TEST_F(Settings, ARunWritesTheSettingsItUsed) {
    simulate();
    ASSERT_EQ(run("run r.zelta --out p --set " + custom + "minAmplitude=33.5" + fake).exitCode, 0);
    ASSERT_EQ(run("run r.zelta --out q --settings p/settings.txt" + fake).exitCode, 0);
    EXPECT_EQ(contentOf(path("p/settings.txt")), contentOf(path("q/settings.txt")));
    EXPECT_NE(contentOf(path("q/settings.txt")).find(custom + "minAmplitude = 33.5\n"), std::string::npos);
    EXPECT_EQ(contentOf(path("q/settings.txt")).find("ROIs["), std::string::npos);
}

TEST_F(Settings, AFileOfSettingsHasCommentsAndEmptyLinesAndYieldsToSet) {
    simulate();
    std::ofstream(path("s.txt")) << "# limits\n\n  " << custom << "minAmplitude = 40  # counts\r\n"
                                 << custom << "maximumRawSymmetry=0.25\n";
    ASSERT_EQ(run("run r.zelta --out p --settings s.txt --set " + custom + "minAmplitude=50" + fake).exitCode,
              0);
    const std::string settings = contentOf(path("p/settings.txt"));
    EXPECT_NE(settings.find(custom + "minAmplitude = 50\n"), std::string::npos) << settings;
    EXPECT_NE(settings.find(custom + "maximumRawSymmetry = 0.25\n"), std::string::npos) << settings;
}

TEST_F(Settings, AFaultInAFileOfSettingsIsToldWithItsLine) {
    simulate();
    std::ofstream(path("s.txt")) << "# one\nnonsense\n";
    std::ofstream(path("t.txt")) << "\n" << custom << "none = 1\n";
    const Outcome syntax = run("run r.zelta --out p --settings s.txt");
    EXPECT_EQ(syntax.exitCode, 2);
    EXPECT_NE(syntax.errors.find("s.txt, line 2: \"nonsense\" sets nothing"), std::string::npos)
        << syntax.errors;
    const Outcome member = run("run r.zelta --out p --settings t.txt");
    EXPECT_EQ(member.exitCode, 2);
    EXPECT_NE(member.errors.find("t.txt, line 2: \"" + custom + "none\" addresses nothing"),
              std::string::npos)
        << member.errors;
    EXPECT_EQ(run("run r.zelta --out p --settings none.txt").exitCode, 3);
    EXPECT_EQ(run("run r.zelta --out p --settings ''").exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(path("p")));
}

TEST_F(Settings, ARecordingThroughAPipeTakesSeveral) {
    simulate();
    const Outcome outcome = run("run - --out p --set " + custom + "minAmplitude=30 --set " + custom +
                                    "maximumRawSymmetry=0.25" + fake,
                                "cat r.zelta |");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const std::string settings = contentOf(path("p/settings.txt"));
    EXPECT_NE(settings.find(custom + "minAmplitude = 30\n"), std::string::npos);
    EXPECT_NE(settings.find(custom + "maximumRawSymmetry = 0.25\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("packets read                   5\n"), std::string::npos) << outcome.output;
}

TEST_F(Settings, ThroughAPipeNothingIsWrittenForAMemberThatIsNotThere) {
    simulate();
    const Outcome outcome = run("run - --out p --set None.a=3" + fake, "cat r.zelta |");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors,
              "qor run: --set: no packet of standard input holds a record None, which None.a=3 names.\n");
    EXPECT_FALSE(std::filesystem::exists(path("p")));
}

using Streams = Settings;

TEST_F(Streams, ADashIsStandardOutputAndInput) {
    simulate();
    const Outcome written = run("simulate --scene wall --out -");
    EXPECT_EQ(written.exitCode, 0);
    EXPECT_EQ(written.output, contentOf(path("r.zelta")));
    EXPECT_NE(written.errors.find("standard output   5 packets"), std::string::npos) << written.errors;
    ASSERT_EQ(run("run r.zelta --quiet --out p" + fake).exitCode, 0);
    const Outcome results = run("run - --json --out -" + fake, "cat r.zelta |");
    EXPECT_EQ(results.exitCode, 0) << results.errors;
    EXPECT_EQ(results.output, contentOf(path("p/result.zelta")));
    EXPECT_EQ(nlohmann::json::parse(results.errors).at("files"), nlohmann::json({"-"}));
    EXPECT_FALSE(std::filesystem::exists(path("-")));
}

TEST_F(Streams, ARunIntoAStreamDrawsNothing) {
    simulate();
    const Outcome outcome = run("run r.zelta --out - --cloud ply" + fake);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, "qor run: --cloud needs a folder as --out.\n");
    EXPECT_EQ(outcome.output, "");
}

TEST_F(Streams, AFifoGivenAsOutputIsWrittenTo) {
    simulate();
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(run("simulate --scene wall --quiet --out pipe", "cat pipe >copy.zelta &").exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe")));
    // The reader of the first may not have ended yet, and would take what is written for the command.
    ASSERT_EQ(mkfifo(path("another").c_str(), 0600), 0);
    EXPECT_EQ(run("info another", "cat r.zelta >another &").exitCode, 0);
    EXPECT_EQ(run("run r.zelta --quiet --out /dev/null" + fake).exitCode, 0);
}

TEST_F(Streams, ASymbolicLinkGivenAsOutputStays) {
    std::filesystem::create_symlink("target.zelta", path("link.zelta"));
    simulate("", "link.zelta");
    EXPECT_TRUE(std::filesystem::is_symlink(path("link.zelta")));
    EXPECT_EQ(run("info target.zelta").exitCode, 0);
}

TEST_F(Streams, AnEmptyNameOfAnOutputIsRefused) {
    simulate();
    for (const char* arguments : {"run r.zelta -o ''", "simulate -o ''", "run r.zelta --out="}) {
        EXPECT_EQ(run(arguments).exitCode, 2) << arguments;
    }
    EXPECT_FALSE(std::filesystem::exists(path("result.zelta")));
}

TEST_F(Streams, AFolderHoldsOneRun) {
    simulate("--frames 2");
    ASSERT_EQ(run("run r.zelta --quiet --enlarge 1 --out p --frames 0:2" + fake).exitCode, 0);
    std::ofstream(path("p/notes.txt")) << "mine";
    const Outcome refused = run("run r.zelta --enlarge 1 --out p" + fake);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.errors, "qor run: p holds the results of an earlier run; --force replaces them.\n");
    EXPECT_TRUE(std::filesystem::exists(path("p/00001_distance.png")));
    const nlohmann::json document = jsonOf("run r.zelta --enlarge 1 --out p --force" + fake);
    EXPECT_FALSE(std::filesystem::exists(path("p/00001_distance.png")));
    EXPECT_EQ(contentOf(path("p/notes.txt")), "mine");
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path("p"))) {
        if (entry.path().filename() != "notes.txt") {
            found.push_back("p/" + entry.path().filename().string());
        }
    }
    std::vector<std::string> told = document.at("files");
    std::sort(found.begin(), found.end());
    std::sort(told.begin(), told.end());
    EXPECT_EQ(told, found);
}

}  // namespace
