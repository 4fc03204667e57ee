// SPDX-License-Identifier: Apache-2.0
#include "TamAlgoSimInterface.h"

#include <algorithm>

TamAlgoSimInterface::TamAlgoSimInterface(int numMeasBuffers, const std::string& prettyName)
    : m_prettyName(prettyName), m_numMeasBuffers(std::max(numMeasBuffers, 0)) {
    if (numMeasBuffers < 1) {
        return;
    }
    if (numMeasBuffers % 2 != 0) {
        throw std::runtime_error("number of measurement buffers must be a even number!");
    }
    m_measBuffers = std::make_unique<AlgoMeasBuffer[]>(static_cast<std::size_t>(numMeasBuffers));
}

TamAlgoSimInterface::~TamAlgoSimInterface() = default;

bool TamAlgoSimInterface::processZelta(const void* dataPacket, int dataPacketBytes, bool fromCustomPin) {
    // A chosen result points into data that this packet replaces.
    m_resultChunks.clear();
    std::fill_n(m_measBuffers.get(), m_numMeasBuffers, AlgoMeasBuffer{});
    m_receivedChunks.clear();
    if (packet_parse(dataPacket, dataPacketBytes, m_receivedChunks) != 0) {
        throw std::runtime_error("Unable to parse zelta packet");
    }
    assignReceivedChunks(fromCustomPin);
    return processAlgo();
}

bool TamAlgoSimInterface::takeInShortForm(int channelID) {
    const auto once = std::remove(m_pilOnceChannels.begin(), m_pilOnceChannels.end(), channelID);
    if (once != m_pilOnceChannels.end()) {
        m_pilOnceChannels.erase(once, m_pilOnceChannels.end());
        return true;
    }
    return std::find(m_pilChannels.begin(), m_pilChannels.end(), channelID) != m_pilChannels.end();
}

int TamAlgoSimInterface::getRequiredOutputSize(bool isPIL) {
    m_resultChunks.clear();
    m_resultChunks.reserve(static_cast<std::size_t>(m_numMeasBuffers) / 2);  // all or nothing is chosen
    for (int i = 0; i < m_numMeasBuffers; i += 2) {
        const AlgoMeasBuffer& data = m_measBuffers[static_cast<std::size_t>(i)];
        const AlgoMeasBuffer& description = m_measBuffers[static_cast<std::size_t>(i) + 1];
        if (data.buffer == nullptr || description.buffer == nullptr) {
            continue;
        }
        if (isPIL && !takeInShortForm(data.channelID)) {
            continue;
        }
        m_resultChunks.push_back({.description = description.buffer,
                                  .descSize = static_cast<int>(description.sizeTotal),
                                  .data = data.buffer,
                                  .dataSize = static_cast<int>(data.sizeTotal),
                                  .channelID = data.channelID});
    }
    return m_resultChunks.empty() ? 0 : packet_get_required_size(m_resultChunks);
}

int TamAlgoSimInterface::packResult(void* dataPacket, int dataPacketSize) {
    const int required = packet_get_required_size(m_resultChunks);
    if (required != dataPacketSize) {
        throw std::runtime_error("Unexpected payload size (got: " + std::to_string(dataPacketSize) +
                                 " expected: " + std::to_string(required));
    }
    return packet_create(dataPacket, dataPacketSize, m_resultChunks);
}

bool TamAlgoSimInterface::receivedChunksContain(int32_t channelID) const {
    return std::any_of(m_receivedChunks.begin(), m_receivedChunks.end(),
                       [channelID](const ZeltaChunk& chunk) { return chunk.channelID == channelID; });
}
