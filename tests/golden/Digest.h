// SPDX-License-Identifier: Apache-2.0
//
// The results of a recording as hashes: one for each frame and each member of each record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "golden/Hash.h"
#include "golden/PlainHost.h"

namespace golden {

/** A report names a line of the source, which moves: every number becomes a mark. */
std::string withoutNumbers(std::string_view text);

/**
 * Takes the answers of a session in their order. A frame's hashes cover all calls up to the one that finished
 * it; those of calls after the last frame have a separate column.
 */
class Digest {
 public:
    void add(const Answer& answer);

    /**
     * One line for what the calls returned ("calls"), then one for each member: channel, name, and for each
     * frame eight hexadecimal digits, or "-" where the channel was not there. Members of the result are
     * leaves, those of other records stand under the record's first level.
     */
    std::vector<std::string> lines() const;

    /** How many members were hashed, counting those of structures and of each call one by one. */
    std::uint64_t hashedMembers() const { return m_hashedMembers; }

    /** The texts of the plug-in about packets that it refused. */
    const std::set<std::string>& refusals() const { return m_refusals; }

 private:
    struct Key {
        int channel;
        std::size_t place;  ///< in the record's order
        std::string name;
        bool operator<(const Key& other) const {
            return std::tie(channel, place, name) < std::tie(other.channel, other.place, other.name);
        }
    };
    using Frame = std::map<Key, Hash>;

    void addRecord(const ZeltaChunk& chunk);

    std::vector<Frame> m_frames;
    Frame m_current;
    std::uint64_t m_hashedMembers = 0;
    std::set<std::string> m_refusals;
};

/**
 * Input, calls and members of a recording, played to a new pipeline: the content of its file of hashes. Lines
 * with "#" at the beginning are remarks.
 */
std::vector<std::string> digestOf(const Recording& recording);

/** Sentences that name what differs between two digests: frame, channel and member. */
std::vector<std::string> differences(const std::vector<std::string>& expected,
                                     const std::vector<std::string>& actual);

}  // namespace golden
