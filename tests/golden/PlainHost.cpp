// SPDX-License-Identifier: Apache-2.0
#include "golden/PlainHost.h"

#include <stdexcept>

#include "Camera.h"
#include "QorPlugin.h"
#include "UtilCommon.h"

namespace {

std::uint32_t g_ticks = 0;

}  // namespace

// These two replace those of the library, which the linker then leaves out. Time passes with every reading of
// a clock, so that run times are counts of readings.
Timestamp_t getTimeFct() {
    g_ticks += 10;
    return g_ticks;
}

AlgoSystemTime getSystemTimeFct() {
    g_ticks += 10;
    return {1700000000U + g_ticks / 1000000U, g_ticks % 1000000U * 1000U};
}

namespace golden {
namespace {

bool holdsResult(const Bytes& packet) {
    Packet chunks;
    if (packet.empty() || packet_parse(packet.data(), static_cast<int>(packet.size()), chunks) != 0) {
        return false;
    }
    for (const ZeltaChunk& chunk : chunks) {
        if (chunk.channelID == host_testing::kResultChannel) {
            return true;
        }
    }
    return false;
}

Bytes fetch(bool isPIL) {
    const int32_t size = getRequiredOutputSize(isPIL ? 1 : 0);
    if (size < 0) {
        throw std::runtime_error("the plug-in asks for a buffer of no size");
    }
    Bytes packet(static_cast<std::size_t>(size));
    if (size > 0 && packResult(packet.data(), size) != 0) {
        throw std::runtime_error("the result was not packed");
    }
    return packet;
}

}  // namespace

void restartClocks() {
    g_ticks = 0xFFFFFF00U;  // the clock of 32 bits wraps in the first frame
}

Answer call(const Step& step, Form form) {
    Answer answer;
    if (step.packet.empty()) {
        createAlgo();
        return answer;
    }
    int32_t exceptionOccured = -1;
    answer.result = processZelta(step.packet.data(), static_cast<int32_t>(step.packet.size()),
                                 step.fromCustomPin ? 1 : 0, &exceptionOccured);
    if (exceptionOccured != 0 && exceptionOccured != 1) {
        throw std::runtime_error("a flag that is neither 0 nor 1");
    }
    answer.exceptionOccured = exceptionOccured == 1;
    if (answer.exceptionOccured) {
        answer.exception = lastExceptionMessage();
    }
    answer.packet = fetch(true);
    answer.finishedFrame = holdsResult(answer.packet);
    if (form == Form::Full && (answer.finishedFrame || answer.exceptionOccured)) {
        answer.packet = fetch(false);
    }
    return answer;
}

void play(const std::vector<Step>& steps, const std::function<void(const Answer& answer)>& take, Form form) {
    restartClocks();
    createAlgo();
    for (const Step& step : steps) {
        take(call(step, form));
    }
    clearAlgo();
}

}  // namespace golden
