// SPDX-License-Identifier: Apache-2.0

#include "qor/TruthFollower.h"

#include <utility>

namespace qor {

TruthFollower::TruthFollower(const std::filesystem::path& recording) : path_(recording) {
    rewind();
}

void TruthFollower::rewind() {
    reader_.emplace(path_);
    truth_.reset();
    simulation_.reset();
}

bool TruthFollower::find(std::uint32_t timestamp) {
    if (findAhead(timestamp)) {
        return true;
    }
    // It may lie before those that were found.
    rewind();
    if (findAhead(timestamp)) {
        return true;
    }
    rewind();
    return false;
}

bool TruthFollower::findAhead(std::uint32_t timestamp) {
    while (const recording::RecordedPacket* const packet = reader_->next()) {
        if (auto simulation = recording::simulationSettingsIn(packet->chunks)) {
            simulation_ = std::move(simulation);
        }
        if (auto truth = recording::truthIn(packet->chunks)) {
            truth_ = std::move(truth);
        }
        const std::optional<plugin::ImageInfo> image = images_.read(packet->chunks);
        if (image && image->clock == timestamp) {
            return true;
        }
    }
    return false;
}

}  // namespace qor
