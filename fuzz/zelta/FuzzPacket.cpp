// SPDX-License-Identifier: Apache-2.0
// Any bytes as a packet, read from a buffer, a file and a stream; what parses is used as a host would.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "Seeds.h"

namespace {

using namespace zelta;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

const std::string& localDefinition() {
    static const std::string definition = createDatadefinition(fuzz::sampleType());
    return definition;
}

void getLocal(const void** buffer, unsigned int* size) {
    *buffer = localDefinition().data();
    *size = static_cast<unsigned int>(localDefinition().size());
}

template <typename Call>
void mayThrow(Call call) {
    try {
        call();
    } catch (const Error&) {
    }
}

void use(const Packet& packet) {
    for (const ZeltaChunk& chunk : packet) {
        std::vector<unsigned char> local(fuzz::sampleType()->size);
        mayThrow([&] {
            PacketAssign(packet, chunk.channelID, getLocal, "R", local.data(),
                         static_cast<unsigned int>(local.size()), "R", false);
        });
        mayThrow([&] {
            double value = 0;
            PacketInterpret<double>("R.d", value, packet, chunk.channelID);
        });
    }
    PacketCacheClear();
}

/// Writing what was read gives the same bytes.
void requireRoundTrip(const Packet& packet, const unsigned char* data) {
    std::vector<unsigned char> written(static_cast<std::size_t>(packet_get_required_size(packet)));
    require(packet_create(written.data(), static_cast<int>(written.size()), packet) == 0);
    require(std::memcmp(written.data(), data, written.size()) == 0);
}

int parseStream(const unsigned char* data, std::size_t size) {
    std::istringstream stream(std::string(data, data + size));
    Packet packet;
    std::unique_ptr<char[]> storage;
    return packet_parse(stream, packet, storage);
}

int parseFile(const unsigned char* data, std::size_t size) {
    FILE* const file = fmemopen(const_cast<unsigned char*>(data), size, "rb");
    if (file == nullptr) {
        return -1;
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> closer(file, &std::fclose);
    try {
        packet_size(file);
    } catch (const ZltEOFException&) {
    }
    std::rewind(file);
    Packet packet;
    std::unique_ptr<char[]> storage;
    try {
        return packet_parse(file, packet, storage);
    } catch (const ZltEOFException&) {
        return -1;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Packet packet;
    const int result = packet_parse(data, static_cast<int>(size), packet);
    require(result == 0 || result == -1);
    if (size >= 4) {
        // All readers agree.
        require(parseStream(data, size) == result);
        require(parseFile(data, size) == result);
    }
    if (result == 0) {
        requireRoundTrip(packet, data);
        use(packet);
    }
    return 0;
}
