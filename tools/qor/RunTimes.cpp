// SPDX-License-Identifier: Apache-2.0

#include "qor/RunTimes.h"

#include <string_view>

#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

// The record's item of a whole packet, and that of the frame, which is no stage: it sums up the ends of
// calls.
constexpr std::string_view packetItem = "total";
constexpr std::string_view frameItem = "total_frame";

bool finishesFrame(const zelta::Packet& result) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(result, recording::channel::result);
    return chunk != nullptr && recording::numberOf(*chunk, "QorDistanceImageIFOutput.outputInvalid") == 0.0;
}

}  // namespace

void RunTimes::add(const zelta::Packet& result) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(result, recording::channel::profiling);
    if (chunk == nullptr) {
        return;
    }
    const zelta::TypeRef record = recording::typeOf(*chunk);
    for (const zelta::TypeRef& member : record->children()) {
        const std::string item = record->name + "." + member->name;
        if (!recording::hasMember(*chunk, item + ".numCalls") ||
            !recording::hasMember(*chunk, item + ".runtimeMsecs")) {
            continue;
        }
        if (member->name == frameItem) {
            continue;
        }
        Stage& stage = stages_[member->name];
        const double calls = recording::numberOf(*chunk, item + ".numCalls");
        if (calls == stage.calls) {
            continue;
        }
        const double time = recording::numberOf(*chunk, item + ".runtimeMsecs");
        stage.times.push_back(time);
        if (member->name == packetItem) {
            const bool anew = calls < stage.calls;  // what came before belongs to a frame that was given up
            ofFrame_ = anew ? time : ofFrame_ + time;
        }
        stage.calls = calls;
    }
    if (finishesFrame(result)) {
        frames_.push_back(ofFrame_);
        ofFrame_ = 0.0;
    }
}

std::map<std::string, StageTimes> RunTimes::stages() const {
    std::map<std::string, StageTimes> stages;
    for (const auto& [name, stage] : stages_) {
        stages[name] = {stage.times.size(), figures::percentilesOf(stage.times)};
    }
    return stages;
}

}  // namespace qor
