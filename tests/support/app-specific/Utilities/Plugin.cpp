// SPDX-License-Identifier: Apache-2.0
#include "Plugin.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace host_testing {
namespace {

template <class Function>
void look(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        throw std::runtime_error(std::string("the plug-in has no ") + name);
    }
}

}  // namespace

Plugin::Plugin() : m_library(dlopen(QOR_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    look(m_library, "createAlgo", createAlgo);
    look(m_library, "clearAlgo", clearAlgo);
    look(m_library, "processZelta", processZelta);
    look(m_library, "getRequiredOutputSize", getRequiredOutputSize);
    look(m_library, "packResult", packResult);
    look(m_library, "getAlgoVersion", getAlgoVersion);
    look(m_library, "lastMessage", lastMessage);
    look(m_library, "prettyName", prettyName);
    look(m_library, "lastExceptionMessage", lastExceptionMessage);
}

Plugin::~Plugin() {
    clearAlgo();
    dlclose(m_library);
}

Plugin::Answer Plugin::process(const Bytes& packet, int fromCustomPin) const {
    int32_t exceptionOccured = -1;
    const int result =
        processZelta(packet.data(), static_cast<int32_t>(packet.size()), fromCustomPin, &exceptionOccured);
    if (exceptionOccured != 0 && exceptionOccured != 1) {
        throw std::runtime_error("a flag that is neither 0 nor 1");
    }
    return {result, exceptionOccured == 1};
}

Bytes Plugin::result(bool isPIL) const {
    const int32_t size = getRequiredOutputSize(isPIL ? 1 : 0);
    Bytes packet(static_cast<std::size_t>(size > 0 ? size : 0));
    if (size > 0 && packResult(packet.data(), size) != 0) {
        throw std::runtime_error("the result was not packed");
    }
    return packet;
}

Packet parsed(const Bytes& packet) {
    Packet chunks;
    if (!packet.empty() && packet_parse(packet.data(), static_cast<int>(packet.size()), chunks) != 0) {
        throw std::runtime_error("no packet");
    }
    return chunks;
}

std::optional<ZeltaChunk> chunkOn(const Packet& packet, int channelID) {
    for (const ZeltaChunk& chunk : packet) {
        if (chunk.channelID == channelID) {
            return chunk;
        }
    }
    return std::nullopt;
}

std::vector<int> channelsOf(const Bytes& packet) {
    std::vector<int> channels;
    for (const ZeltaChunk& chunk : parsed(packet)) {
        channels.push_back(chunk.channelID);
    }
    return channels;
}

Bytes inNewProcess(const std::function<Bytes()>& work) {
    constexpr std::size_t kCapacity = std::size_t{64} << 20U;
    void* const shared = mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw std::runtime_error("no memory to share");
    }
    const pid_t child = fork();
    if (child == 0) {
        int status = 1;
        try {
            const Bytes bytes = work();
            const std::size_t size = bytes.size();
            if (size + sizeof size <= kCapacity) {
                std::memcpy(shared, &size, sizeof size);
                std::memcpy(static_cast<std::uint8_t*>(shared) + sizeof size, bytes.data(), size);
                status = 0;
            }
        } catch (const std::exception& e) {
            std::fprintf(stderr, "in the new process: %s\n", e.what());
        }
        _exit(status);
    }
    int status = 1;
    Bytes bytes;
    if (child > 0 && waitpid(child, &status, 0) == child && status == 0) {
        std::size_t size = 0;
        std::memcpy(&size, shared, sizeof size);
        const auto* const begin = static_cast<const std::uint8_t*>(shared) + sizeof size;
        bytes.assign(begin, begin + size);
    }
    munmap(shared, kCapacity);
    return bytes;
}

std::vector<OwnedChunk> withoutClocks(const Bytes& packet) {
    std::vector<OwnedChunk> chunks;
    for (const ZeltaChunk& chunk : parsed(packet)) {
        const auto* const description = static_cast<const std::uint8_t*>(chunk.description);
        chunks.push_back(
            {chunk.channelID, Bytes(description, description + chunk.descSize),
             describedBytes(
                 chunk, {"QorDistanceImageProfiling", "QorDistanceImageState.total_frame_profiling",
                         "QorDistanceImageDebug.monotonicTimestamp", "QorDistanceImageDebug.systemTime"})});
    }
    return chunks;
}

}  // namespace host_testing
