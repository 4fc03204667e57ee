// SPDX-License-Identifier: Apache-2.0
//
// The settings of a run as it fed them, in the form that --settings takes.

#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "qor/Override.h"
#include "recording/RecordingReader.h"

namespace qor {

class SettingsLog {
 public:
    explicit SettingsLog(std::vector<Override> overrides) : overrides_(std::move(overrides)) {}

    // A packet as it is fed. The settings are those of the first input record and the first customization.
    // Changes by later packets are kept separately.
    void add(const recording::RecordedPacket& packet);

    using Setting = std::pair<std::string, std::string>;  // expression, value

    // Of the first records.
    std::vector<Setting> settings() const;

    // "from packet 9 on: EXPRESSION = VALUE", the first thousand of them.
    const std::vector<std::string>& changes() const { return changes_; }

    // The file: a line for each setting, changes as comments after them.
    std::string text(const std::string& recording) const;

 private:
    // Of the records on one channel.
    struct Source {
        int channel = 0;
        std::vector<std::uint8_t> bytes;  // of the latest
        std::vector<Setting> first;
        std::vector<Setting> latest;
    };

    void addFrom(Source& source, const recording::RecordedPacket& packet);
    void noteChanges(const Source& source, const std::vector<Setting>& now, std::size_t packet);

    std::vector<Override> overrides_;
    std::vector<Source> sources_ = makeSources();
    std::vector<std::string> changes_;
    std::size_t moreChanges_ = 0;  // changes beyond those kept

    static std::vector<Source> makeSources();
};

}  // namespace qor
