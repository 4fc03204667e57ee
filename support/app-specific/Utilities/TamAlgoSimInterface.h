// SPDX-License-Identifier: Apache-2.0
//
// What all algorithms of the plug-in interface have in common: packets in, packets out.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ALTypes.h"
#include "zelta_packet.h"

/**
 * Base of an algorithm that takes packets and offers its results as measurement buffers, in pairs of data and
 * definition. Virtual functions stand in the order that hosts rely on.
 */
class TamAlgoSimInterface {
 public:
    /** A failure of the algorithm itself. */
    class AlgoException : public std::runtime_error {
     public:
        explicit AlgoException(const std::string& message) : std::runtime_error(message) {}
        AlgoException(const AlgoException& other) = default;
    };

    /** Throws std::runtime_error for an odd number of measurement buffers. */
    TamAlgoSimInterface(int numMeasBuffers, const std::string& prettyName);
    TamAlgoSimInterface(const TamAlgoSimInterface&) = delete;
    TamAlgoSimInterface& operator=(const TamAlgoSimInterface&) = delete;
    virtual ~TamAlgoSimInterface();

    /**
     * Takes a packet apart and processes it. The packet's bytes are used during the call only. Throws
     * std::runtime_error for bytes that are no packet, AlgoException for a failure of the algorithm, and what
     * the assignment of its records throws. Returns what the algorithm returns.
     */
    virtual bool processZelta(const void* dataPacket, int dataPacketBytes, bool fromCustomPin);

    /**
     * Chooses the chunks of the result and returns the bytes that they take, 0 if there are none. The short
     * form (PIL) has only the main channels, and those that go out once.
     */
    virtual int getRequiredOutputSize(bool isPIL);

    /**
     * Writes the result that was chosen after the last packet. A packet drops any earlier choice, even if it
     * fails. Throws std::runtime_error if `dataPacketSize` is not the required size. Returns 0, or -1 if
     * nothing could be written.
     */
    virtual int packResult(void* dataPacket, int dataPacketSize);

    virtual void getAlgoVersion(AlgoVersion& version) = 0;
    virtual void assignReceivedChunks(bool fromCustomPin) = 0;
    virtual bool processAlgo() = 0;

    const std::string& lastMessage() const { return m_lastMessage; }
    const std::string& prettyName() const { return m_prettyName; }

 protected:
    bool receivedChunksContain(int32_t channelID) const;

    std::string m_lastMessage;
    std::string m_prettyName;
    std::unique_ptr<AlgoMeasBuffer[]> m_measBuffers;
    int m_numMeasBuffers;
    Packet m_resultChunks;    ///< point where m_measBuffers point; a packet empties them
    Packet m_receivedChunks;  ///< point into the host's packet
    std::vector<int> m_pilChannels;
    std::vector<int> m_pilOnceChannels;  ///< a channel leaves the list when it goes out

 private:
    bool takeInShortForm(int channelID);
};
