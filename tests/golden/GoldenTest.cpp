// SPDX-License-Identifier: Apache-2.0
//
// The same bits everywhere: what recordings give equals the stored hashes on every vector target, and the
// hashes are the same ones for every processor, compiler and optimisation.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Plugin.h"
#include "QorRecordLayout.h"
#include "golden/Digest.h"
#include "golden/Files.h"
#include "golden/RandomSettings.h"
#include "golden/Scenes.h"
#include "support/Targets.h"

namespace {

using golden::Recording;
using host_testing::Bytes;

/** A new process: the pipeline's block outlives its users and is zero only once, at the start. */
std::vector<std::string> digestOn(int64_t target, const Recording& recording) {
    const Bytes text = host_testing::inNewProcess([&] {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        std::string lines;
        for (const std::string& line : golden::digestOf(recording)) {
            lines += line + "\n";
        }
        return Bytes(lines.begin(), lines.end());
    });
    std::vector<std::string> lines(1);
    for (const std::uint8_t byte : text) {
        if (byte == '\n') {
            lines.emplace_back();
        } else {
            lines.back() += static_cast<char>(byte);
        }
    }
    return lines;
}

class Golden : public ::testing::TestWithParam<Recording> {};

TEST_P(Golden, HashesAreThoseStored) {
    const std::vector<std::string> stored =
        golden::readLines(golden::hashFile(QOR_GOLDEN_HASHES, GetParam().name));
    for (const int64_t target : testing_support::runnableTargets()) {
        const std::vector<std::string> found = golden::differences(stored, digestOn(target, GetParam()));
        std::string sentences;
        for (std::size_t i = 0; i < found.size() && i < 12; ++i) {
            sentences += "\n    " + found[i];
        }
        EXPECT_TRUE(found.empty()) << GetParam().name << " on " << hwy::TargetName(target) << ": "
                                   << found.size() << " differences from the stored hashes" << sentences
                                   << "\n  (if they are meant to change: scripts/golden --update)";
    }
}

INSTANTIATE_TEST_SUITE_P(Recordings, Golden, ::testing::ValuesIn(golden::recordings()),
                         [](const ::testing::TestParamInfo<Recording>& test) {
                             std::string name = test.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(GoldenHashes, BelongToRecordings) {
    std::set<std::string> names;
    for (const Recording& recording : golden::recordings()) {
        EXPECT_TRUE(names.insert(recording.name).second) << recording.name << " twice";
    }
    for (const auto& entry : std::filesystem::directory_iterator(QOR_GOLDEN_HASHES)) {
        EXPECT_EQ(names.count(entry.path().stem().string()), 1U) << entry.path();
    }
}

TEST(GoldenHashes, NameFrameChannelAndMemberThatDiffer) {
    EXPECT_EQ(golden::differences({"input 01", "3210 distance 1111 2222", "3210 X 5 6", "3214 intImg 7 8"},
                                  {"input 01", "3210 distance 1111 2223", "3214 intImg 7", "3220 line 1 2"}),
              (std::vector<std::string>{"3210 X is missing", "frame 1: 3210 distance is 2223, not 2222",
                                        "3214 intImg has 1 frames, not 2", "3220 line is new"}));
}

// The long run covers a setting only if it changes it.
TEST(RandomSettings, ChangeEveryMemberOfTheCustomizationAndOfTheParameters) {
    testing_support::Random random(5);
    SCOPED_TRACE(random.seedText());
    host_testing::Camera camera;
    camera.intensityImage = true;
    camera.calib->imagerCalib.frequencies[0] = golden::kDriftFrequencies[0];
    const auto bytesOf = [&camera] {
        const auto* const first = reinterpret_cast<const std::uint8_t*>(&camera.input);
        return Bytes(first, first + sizeof camera.input);
    };
    std::vector<Bytes> inputs;
    for (int i = 0; i < 300; ++i) {
        golden::changeParameters(camera, random);
        camera.intensityImage = true;
        golden::changeCustomization(camera, random);
        inputs.push_back(bytesOf());
    }
    std::set<std::string> unchanged;
    bool isSetting = false;
    for (const layout::Row& row : layout_tables::kQorDistanceImageIFInput) {
        if (row.level == 1) {
            isSetting = row.name == "customization" || row.name == "param";
        }
        if (!isSetting || row.kind == layout::Kind::Record) {
            continue;
        }
        const auto at = [&row](const Bytes& input) {
            return Bytes(&input[row.offset], &input[row.offset] + row.size);
        };
        if (std::all_of(inputs.begin(), inputs.end(),
                        [&](const Bytes& input) { return at(input) == at(inputs[0]); })) {
            unchanged.insert(std::string(row.name));
        }
    }
    EXPECT_EQ(unchanged, (std::set<std::string>{"ID"}));  // of the first region, which is always 0
}

}  // namespace
