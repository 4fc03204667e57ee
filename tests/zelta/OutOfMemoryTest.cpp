// SPDX-License-Identifier: Apache-2.0
// Memory that runs out at each place where the library asks for some: an exception says so, nothing is lost
// or kept by half, and the same call goes through when there is memory again.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <new>

#include "TestMemory.h"
#include "zelta.h"
#include "zelta/TestTypes.h"

namespace zelta {
namespace {

struct Sample {
    int counter;
    float values[3];
};

TypeRef sampleType(TypeEndianess endianess) {
    return TypeRef(new StructType("Sample", {}, 0, sizeof(Sample), endianess,
                                  {TypeRef(new ElementaryType("counter", {}, 0, 4, endianess, TypeSigned)),
                                   TypeRef(new ElementaryType("values", {3}, 4, 4, endianess, TypeFloat))}));
}

const std::string& definition() {
    static const std::string bytes = createDatadefinition(sampleType(EndianLittle));
    return bytes;
}

void getDefinition(const void** buffer, unsigned int* size) {
    *buffer = definition().data();
    *size = static_cast<unsigned int>(definition().size());
}

const std::string& packetBytes() {
    static const std::string bytes = [] {
        const Sample sample{5, {1.0F, 2.0F, 3.0F}};
        const Packet chunks{{definition().data(), static_cast<int>(definition().size()), &sample,
                             static_cast<int>(sizeof sample), 7}};
        std::string packet(static_cast<std::size_t>(packet_get_required_size(chunks)), '\0');
        packet_create(packet.data(), static_cast<int>(packet.size()), chunks);
        return packet;
    }();
    return bytes;
}

/// Calls `work` with memory for 0, 1, 2 ... allocations until that is enough. Returns the number of times
/// that it was not.
template <typename Work>
std::size_t insist(const Work& work) {
    work();  // what is made once in a process is there
    PacketCacheClear();
    for (std::size_t allocations = 0;; ++allocations) {
        const std::size_t blocks = test_memory::g_blocks;
        bool failed = false;
        test_memory::g_allocationsLeft = allocations;
        try {
            work();
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
        PacketCacheClear();
        EXPECT_EQ(test_memory::g_blocks, blocks) << "after " << allocations << " allocations";
        if (!failed) {
            return allocations;
        }
    }
}

TEST(OutOfMemory, OfADefinitionThatIsReadIsTold) {
    EXPECT_GT(insist([] {
                  parseDatadefinition(definition().data(), static_cast<unsigned int>(definition().size()));
              }),
              5U);
}

TEST(OutOfMemory, OfADefinitionThatIsWrittenIsTold) {
    const TypeRef type = sampleType(EndianBig);
    EXPECT_GT(insist([&type] { createDatadefinition(type); }), 1U);
}

TEST(OutOfMemory, OfAPacketInABufferIsTold) {
    EXPECT_EQ(insist([] {
                  Packet packet;
                  packet_parse(packetBytes().data(), static_cast<int>(packetBytes().size()), packet);
              }),
              1U);
}

TEST(OutOfMemory, OfARecordThatIsAssignedIsToldAndTheCachesStayWhole) {
    Packet packet;
    packet_parse(packetBytes().data(), static_cast<int>(packetBytes().size()), packet);
    Sample sample{};
    EXPECT_GT(insist([&] {
                  sample = {};
                  PacketAssign(packet, 7, getDefinition, "Sample", &sample, sizeof sample, "Sample", false);
              }),
              10U);
    EXPECT_EQ(sample.counter, 5);
    EXPECT_EQ(sample.values[2], 3.0F);
}

// No cache is cleared between the attempts: what was entered before the fault serves the next.
TEST(OutOfMemory, OfARecordThatIsAssignedLeavesNothingByHalfInTheCaches) {
    Packet packet;
    packet_parse(packetBytes().data(), static_cast<int>(packetBytes().size()), packet);
    PacketCacheClear();
    Sample sample{};
    for (std::size_t allocations = 0; sample.counter != 5; ++allocations) {
        ASSERT_LT(allocations, 1000U);
        test_memory::g_allocationsLeft = allocations;
        try {
            PacketAssign(packet, 7, getDefinition, "Sample", &sample, sizeof sample, "Sample", false);
        } catch (const std::bad_alloc&) {
        }
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
    }
    EXPECT_EQ(sample.values[0], 1.0F);
    PacketCacheClear();
}

TEST(OutOfMemory, OfAnExpressionThatIsInterpretedIsTold) {
    Packet packet;
    packet_parse(packetBytes().data(), static_cast<int>(packetBytes().size()), packet);
    double values[3] = {};
    EXPECT_GT(insist([&] { PacketInterpret<double>("Sample.values", values, 3U, packet, 7); }), 5U);
    EXPECT_EQ(values[1], 2.0);
}

TEST(OutOfMemory, OfAPacketInAFileIsTold) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fwrite(packetBytes().data(), 1, packetBytes().size(), file), packetBytes().size());
    EXPECT_GT(insist([&] {
                  std::rewind(file);
                  Packet packet;
                  std::unique_ptr<char[]> storage;
                  packet_parse(file, packet, storage);
              }),
              3U);
    std::fclose(file);
}

}  // namespace
}  // namespace zelta
