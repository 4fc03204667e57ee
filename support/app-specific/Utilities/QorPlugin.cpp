// SPDX-License-Identifier: Apache-2.0
//
// The exported functions: one algorithm, and no exception out of processZelta.
#include <memory>
#include <string>
#include <string_view>

#include "AlgoDistanceImage.h"
#include "PacketZelta.h"
#include "QorPlugin.h"

namespace {

std::unique_ptr<AlgoDistanceImage> g_algoInstance;
std::string g_lastExceptionMessage;

/** Never fails: when memory has run out, the text is cut to what fits into the previous text's memory. */
void keepMessage(std::string_view text) noexcept {
    try {
        g_lastExceptionMessage.reserve(text.size());
    } catch (...) {
        text = text.substr(0, g_lastExceptionMessage.capacity());
    }
    g_lastExceptionMessage.assign(text);
}

}  // namespace

void createAlgo() {
    g_algoInstance = std::make_unique<AlgoDistanceImage>();
}

void clearAlgo() {
    g_algoInstance.reset();
    PacketCacheClear();
}

int32_t processZelta(const void* dataPacket, int32_t dataPacketBytes, int32_t fromCustomPin,
                     int32_t* exceptionOccured) {
    *exceptionOccured = 0;
    if (g_algoInstance == nullptr) {
        return 0;
    }
    try {
        return g_algoInstance->processZelta(dataPacket, dataPacketBytes, fromCustomPin == 1) ? 1 : 0;
    } catch (const std::exception& e) {
        keepMessage(e.what());
    } catch (...) {
        keepMessage("Unknown exception");
    }
    *exceptionOccured = 1;
    return 0;
}

int32_t getRequiredOutputSize(int32_t isPIL) {
    return g_algoInstance != nullptr ? g_algoInstance->getRequiredOutputSize(isPIL == 1) : 0;
}

int32_t packResult(void* dataPacket, int dataPacketSize) {
    return g_algoInstance != nullptr ? g_algoInstance->packResult(dataPacket, dataPacketSize) : -1;
}

void getAlgoVersion(AlgoVersion* version) {
    if (g_algoInstance != nullptr) {
        g_algoInstance->getAlgoVersion(*version);
    }
}

const char* lastMessage() {
    return g_algoInstance != nullptr ? g_algoInstance->lastMessage().c_str() : "";
}

const char* prettyName() {
    return g_algoInstance != nullptr ? g_algoInstance->prettyName().c_str() : "";
}

const char* lastExceptionMessage() {
    return g_lastExceptionMessage.c_str();
}
