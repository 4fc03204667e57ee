// SPDX-License-Identifier: Apache-2.0
//
// The table of states and calls that QorPlugin.h shows to hosts, call by call.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>

#include "Plugin.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::Plugin;

enum class State { None, Idle, Chosen };

std::ostream& operator<<(std::ostream& out, State state) {
    return out << (state == State::None ? "none" : state == State::Idle ? "idle" : "chosen");
}

constexpr int kSizeWithoutChunks = 4;

class PluginStates : public ::testing::TestWithParam<State> {
 protected:
    PluginStates() { enter(GetParam()); }

    void enter(State state) {
        if (state == State::None) {
            return;
        }
        plugin_.createAlgo();
        process();
        if (state == State::Chosen) {
            size_ = plugin_.getRequiredOutputSize(0);
            EXPECT_GT(size_, kSizeWithoutChunks);
        }
    }

    /** A calibration has an answer, so that there is a result to choose. */
    Plugin::Answer process() { return plugin_.process(camera_.calibrationPacket()); }

    /** What packResult answers to a size; nothing if it refuses. */
    std::optional<int> pack(int size) {
        Bytes packet(static_cast<std::size_t>(size));
        try {
            return plugin_.packResult(packet.data(), size);
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

    /** The state as a host can tell it. */
    State state() {
        if (std::string(plugin_.prettyName()).empty()) {
            return State::None;
        }
        // Nothing chosen is a packet without chunks.
        return pack(kSizeWithoutChunks) ? State::Idle : State::Chosen;
    }

    bool hasAlgorithm() const { return GetParam() != State::None; }

    Plugin plugin_;
    Camera camera_;
    int size_ = kSizeWithoutChunks + 1;  // of what was chosen, otherwise a wrong one
};

TEST_P(PluginStates, IsEntered) {
    EXPECT_EQ(state(), GetParam());
}

TEST_P(PluginStates, CreateLeadsToIdleWithANewAlgorithm) {
    plugin_.createAlgo();
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0) << "what was there to choose is gone";
}

TEST_P(PluginStates, ClearLeadsToNone) {
    plugin_.clearAlgo();
    EXPECT_EQ(state(), State::None);
}

TEST_P(PluginStates, ProcessLeadsToIdleOrIsIgnored) {
    EXPECT_EQ(process(), (Plugin::Answer{0, false}));
    EXPECT_EQ(state(), hasAlgorithm() ? State::Idle : State::None);
}

TEST_P(PluginStates, AFailedProcessLeadsToIdleOrIsIgnored) {
    EXPECT_EQ(plugin_.process({1, 2, 3}), (Plugin::Answer{0, hasAlgorithm()}));
    EXPECT_EQ(state(), hasAlgorithm() ? State::Idle : State::None);
}

TEST_P(PluginStates, TheFlagOfAFailureIsWrittenByEveryCall) {
    const Bytes packet = camera_.calibrationPacket();
    int32_t failed = 7;
    plugin_.processZelta(packet.data(), static_cast<int32_t>(packet.size()), 0, &failed);
    EXPECT_EQ(failed, 0);
}

TEST_P(PluginStates, ASizeAbove0IsAChoice) {
    if (!hasAlgorithm()) {
        EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
        EXPECT_EQ(state(), State::None);
        return;
    }
    EXPECT_GT(plugin_.getRequiredOutputSize(0), kSizeWithoutChunks);
    EXPECT_EQ(state(), State::Chosen);
}

TEST_P(PluginStates, ASizeOf0LeadsToIdle) {
    // In the short form the answer to a calibration goes out once.
    plugin_.getRequiredOutputSize(1);
    EXPECT_EQ(plugin_.getRequiredOutputSize(1), 0);
    EXPECT_EQ(state(), hasAlgorithm() ? State::Idle : State::None);
}

TEST_P(PluginStates, OnlyWhatIsChosenIsPackedAndMoreThanOnce) {
    const std::optional<int> refused;
    const std::optional<int> expected = GetParam() == State::None     ? std::optional<int>(-1)
                                        : GetParam() == State::Chosen ? std::optional<int>(0)
                                                                      : refused;
    EXPECT_EQ(pack(size_), expected);
    EXPECT_EQ(pack(size_), expected);
    EXPECT_EQ(state(), GetParam());
}

TEST_P(PluginStates, AWrongSizeIsRefusedAndChangesNothing) {
    EXPECT_EQ(pack(size_ + 1).has_value(), !hasAlgorithm());
    EXPECT_EQ(state(), GetParam());
}

TEST_P(PluginStates, TheVersionIsThereWithAnAlgorithm) {
    AlgoVersion version = {9, 9, 9};
    plugin_.getAlgoVersion(&version);
    EXPECT_EQ(version.minor, hasAlgorithm() ? 3U : 9U);
    EXPECT_EQ(state(), GetParam());
}

TEST_P(PluginStates, TheTextsAreNeverNull) {
    ASSERT_NE(plugin_.prettyName(), nullptr);
    ASSERT_NE(plugin_.lastMessage(), nullptr);
    ASSERT_NE(plugin_.lastExceptionMessage(), nullptr);
    EXPECT_EQ(std::string(plugin_.prettyName()), hasAlgorithm() ? "Qor Distance Image" : "");
    EXPECT_EQ(state(), GetParam());
}

TEST_P(PluginStates, TheReasonOfAFailureOutlivesTheAlgorithm) {
    plugin_.createAlgo();
    plugin_.process({1, 2, 3});
    plugin_.clearAlgo();
    EXPECT_STREQ(plugin_.lastExceptionMessage(), "Unable to parse zelta packet");
}

TEST_P(PluginStates, CallsFromAnotherThreadAreTakenInTurn) {
    Plugin::Answer answer = {7, true};
    std::thread([&] { answer = process(); }).join();
    EXPECT_EQ(answer, (Plugin::Answer{0, false}));
    EXPECT_EQ(state(), hasAlgorithm() ? State::Idle : State::None);
}

INSTANTIATE_TEST_SUITE_P(QorPlugin, PluginStates, ::testing::Values(State::None, State::Idle, State::Chosen),
                         ::testing::PrintToStringParamName());

}  // namespace
