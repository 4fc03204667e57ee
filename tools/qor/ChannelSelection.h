// SPDX-License-Identifier: Apache-2.0
//
// Which channels of the plug-in's results are kept, and how many bytes that makes.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "recording/Channels.h"

namespace qor {

class ChannelSelection {
 public:
    // The results of the frames and nothing else.
    ChannelSelection() = default;

    // Adds a channel by its name or number; "all" adds every one. False if the text is neither.
    bool add(const std::string& text);

    bool isAll() const { return all_; }
    bool contains(int channel) const { return all_ || channels_.contains(channel); }

    // Whether the plug-in's short results hold all of them.
    bool isInShortForm() const;

    // The bytes that the results of so many frames take, each of so many images,
    // with this version of the plug-in.
    std::uint64_t expectedBytes(std::uint64_t frames, double imagesPerFrame) const;

 private:
    bool all_ = false;
    std::set<int> channels_{recording::channel::result};
};

// None if one of the texts is no channel.
std::optional<ChannelSelection> readChannels(const std::vector<std::string>& texts);

std::string checkChannel(const std::string& text);

// The number of one channel, given by its name or number; none for another text, and for "all".
std::optional<int> channelNumber(const std::string& text);

std::string checkOneChannel(const std::string& text);

// The channels that have names, one a line: name, number, what it holds.
std::string channelList();

}  // namespace qor
