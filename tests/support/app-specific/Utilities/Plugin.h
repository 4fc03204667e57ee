// SPDX-License-Identifier: Apache-2.0
//
// The plug-in as a host has it: loaded by dlopen, known by nine names.
#pragma once

#include <dlfcn.h>

#include <functional>
#include <optional>
#include <string>

#include "Camera.h"
#include "QorPlugin.h"

namespace host_testing {

class Plugin {
 public:
    Plugin();
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    decltype(&::createAlgo) createAlgo = nullptr;
    decltype(&::clearAlgo) clearAlgo = nullptr;
    decltype(&::processZelta) processZelta = nullptr;
    decltype(&::getRequiredOutputSize) getRequiredOutputSize = nullptr;
    decltype(&::packResult) packResult = nullptr;
    decltype(&::getAlgoVersion) getAlgoVersion = nullptr;
    decltype(&::lastMessage) lastMessage = nullptr;
    decltype(&::prettyName) prettyName = nullptr;
    decltype(&::lastExceptionMessage) lastExceptionMessage = nullptr;

    /** What one call of processZelta gives back. */
    struct Answer {
        int result;
        bool exceptionOccured;
        bool operator==(const Answer&) const = default;
    };
    Answer process(const Bytes& packet, int fromCustomPin = 0) const;

    /** The result as a packet; empty if there is none. */
    Bytes result(bool isPIL = false) const;

    void* symbol(const char* name) const { return dlsym(m_library, name); }

 private:
    void* m_library;
};

/** The chunks of a packet, pointing into it. */
Packet parsed(const Bytes& packet);

/** The chunk on a channel, if there is one. */
std::optional<ZeltaChunk> chunkOn(const Packet& packet, int channelID);

/** The channels of a packet, in its order. */
std::vector<int> channelsOf(const Bytes& packet);

/** A record that a packet holds in this build's layout. */
template <class Record>
std::optional<Record> recordOn(const Bytes& packet, int channelID) {
    const std::optional<ZeltaChunk> chunk = chunkOn(parsed(packet), channelID);
    if (!chunk || static_cast<std::size_t>(chunk->dataSize) != sizeof(Record)) {
        return std::nullopt;
    }
    Record record;
    std::memcpy(&record, chunk->data, sizeof record);
    return record;
}

/** Runs `work` in a process of its own, where the one pipeline is as new, and returns its bytes; empty if the
 * process failed. */
Bytes inNewProcess(const std::function<Bytes()>& work);

/**
 * A result without what clocks have written: for each chunk its channel, its definition and the bytes that
 * the definition describes.
 */
std::vector<OwnedChunk> withoutClocks(const Bytes& packet);

}  // namespace host_testing
