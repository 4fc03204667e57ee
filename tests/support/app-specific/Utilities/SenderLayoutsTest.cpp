// SPDX-License-Identifier: Apache-2.0
//
// Senders of other layouts are normal: whatever the layout of its packets, a session gives the same results.
#include <gtest/gtest.h>

#include "Plugin.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::LayoutChange;
using host_testing::OwnedChunk;
using host_testing::Plugin;

struct Sender {
    const char* name;
    LayoutChange change;
};

void PrintTo(const Sender& sender, std::ostream* out) {
    *out << sender.name;
}

/** The customizations and the parameters of two frames, in any layout: the result of the second frame. */
Bytes resultOf(const LayoutChange& change) {
    const Plugin plugin;
    plugin.createAlgo();
    Camera camera(change);
    camera.input = host_testing::richInput();
    camera.intensityImage = true;
    if (plugin.process(camera.customizationPacket(), 1) != Plugin::Answer{0, false} ||
        plugin.process(camera.calibrationPacket()) != Plugin::Answer{0, false}) {
        throw std::runtime_error(plugin.lastExceptionMessage());
    }
    for (int image = 0; image < 2 * camera.imagesPerFrame(); ++image) {
        if (plugin.process(camera.imagePacket()).exceptionOccured) {
            throw std::runtime_error(plugin.lastExceptionMessage());
        }
    }
    return plugin.result();
}

class SenderLayout : public ::testing::TestWithParam<Sender> {
 protected:
    static void SetUpTestSuite() {
        s_native = new Bytes(host_testing::inNewProcess([] { return resultOf({}); }));
    }
    static void TearDownTestSuite() { delete s_native; }

    static Bytes* s_native;
};

Bytes* SenderLayout::s_native = nullptr;

TEST_P(SenderLayout, GivesTheResultsOfTheNativeLayout) {
    const Bytes result = host_testing::inNewProcess([] { return resultOf(GetParam().change); });
    ASSERT_FALSE(s_native->empty());
    ASSERT_FALSE(result.empty());
    const std::vector<OwnedChunk> expected = host_testing::withoutClocks(*s_native);
    const std::vector<OwnedChunk> actual = host_testing::withoutClocks(result);
    ASSERT_EQ(expected.size(), 8U) << "the frame is not finished";
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(actual[i].channelID, expected[i].channelID);
        EXPECT_TRUE(actual[i].description == expected[i].description) << expected[i].channelID;
        EXPECT_TRUE(actual[i].data == expected[i].data) << expected[i].channelID;
    }
}

TEST_P(SenderLayout, GivesTheSameBytesOfTheResultRecord) {
    const Bytes result = host_testing::inNewProcess([] { return resultOf(GetParam().change); });
    const auto expected = host_testing::recordOn<QorDistanceImageIFOutput>(*s_native, 3210);
    const auto actual = host_testing::recordOn<QorDistanceImageIFOutput>(result, 3210);
    ASSERT_TRUE(expected);
    ASSERT_TRUE(actual);
    EXPECT_EQ(std::memcmp(&*actual, &*expected, sizeof *actual), 0);
    EXPECT_EQ(actual->frameCounter, 1U);
}

/** Members whose value is 0 in the session: whether they are sent makes no difference. */
const std::vector<std::string> kUnused = {"QorDistanceImageIFCalib.unitVectors",
                                          "QorDistanceImageIFCalib.imagerCalib.freqDependent.noiseParameter",
                                          "QorDistanceImageIFCalib.intrinsicCalibration.internalTransRot",
                                          "QorDICIAuxiliaryParam.illuWarmUpTime",
                                          "QorDistanceImageIFInput.param.verticalAssignment",
                                          "QorDistanceImageCustomization.compensateAmbientLightDrift"};

std::vector<Sender> senders() {
    std::vector<Sender> all;
    const auto add = [&all](const char* name, auto change) {
        Sender sender = {name, {}};
        change(sender.change);
        all.push_back(sender);
    };
    add("Native", [](LayoutChange&) {});
    add("Reversed", [](LayoutChange& change) { change.reversed = true; });
    add("Added", [](LayoutChange& change) { change.added = true; });
    add("Removed", [](LayoutChange& change) { change.removed = kUnused; });
    add("BigEndian", [](LayoutChange& change) { change.bigEndian = true; });
    add("Version1", [](LayoutChange& change) { change.version = 0x0100; });
    add("Version2", [](LayoutChange& change) { change.version = 0x0200; });
    add("AllAtOnce", [](LayoutChange& change) { change = {true, true, true, kUnused, {}, 0x0200}; });
    return all;
}

std::string nameOf(const ::testing::TestParamInfo<Sender>& sender) {
    return sender.param.name;
}

INSTANTIATE_TEST_SUITE_P(Senders, SenderLayout, ::testing::ValuesIn(senders()), nameOf);

}  // namespace
