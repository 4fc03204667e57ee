// SPDX-License-Identifier: Apache-2.0
// What a host pays per packet once the definitions are known: no allocation at all.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "zelta.h"

namespace {
std::size_t g_allocations = 0;
std::size_t g_largest = 0;
std::size_t g_releases = 0;

void* allocate(std::size_t size) {
    ++g_allocations;
    g_largest = size > g_largest ? size : g_largest;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void release(void* memory) {
    ++g_releases;
    std::free(memory);
}
}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++g_allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

namespace zelta {
namespace {

struct Image {
    int counter;
    unsigned char samples[58128];
};

TypeRef imageType(TypeEndianess endianess = EndianLittle) {
    return TypeRef(new StructType(
        "Image", {}, 0, sizeof(Image), endianess,
        {TypeRef(new ElementaryType("counter", {}, 0, 4, endianess, TypeSigned)),
         TypeRef(new ElementaryType("samples", {sizeof(Image::samples)}, 4, 1, endianess, TypeUnsigned))}));
}

const std::string& definition() {
    static const std::string bytes = createDatadefinition(imageType());
    return bytes;
}

void getDefinition(const void** buffer, unsigned int* size) {
    *buffer = definition().data();
    *size = static_cast<unsigned int>(definition().size());
}

std::vector<char> imagePacket() {
    const std::vector<char> data(sizeof(Image), 1);
    const Packet chunks{{definition().data(), static_cast<int>(definition().size()), data.data(),
                         static_cast<int>(data.size()), 7}};
    std::vector<char> bytes(static_cast<std::size_t>(packet_get_required_size(chunks)));
    packet_create(bytes.data(), static_cast<int>(bytes.size()), chunks);
    return bytes;
}

template <typename Call>
std::size_t allocationsOf(Call call) {
    const std::size_t before = g_allocations;
    call();
    return g_allocations - before;
}

TEST(Allocations, CountingWorks) {
    EXPECT_EQ(allocationsOf([] { std::vector<int>(100).clear(); }), 1U);
}

TEST(Allocations, OfAPacketAfterTheFirstAreNone) {
    const std::vector<char> bytes = imagePacket();
    Packet packet;
    static Image image;
    int counter = 0;
    const auto receive = [&] {
        packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet);
        PacketAssign(packet, 7, getDefinition, "Image", &image, sizeof(image), "Image", false);
        PacketInterpret<int>("Image.counter", counter, packet, 7);
    };
    receive();
    EXPECT_EQ(allocationsOf(receive), 0U);
    EXPECT_EQ(counter, 0x01010101);
}

TEST(Allocations, OfParsingIntoANewVectorIsTheVector) {
    const std::vector<char> bytes = imagePacket();
    EXPECT_EQ(allocationsOf([&] {
                  Packet packet;
                  packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet);
              }),
              1U);
}

TEST(Allocations, OfApplyingAPlanAreNone) {
    std::vector<char> from(sizeof(Image));
    std::vector<char> to(sizeof(Image));
    for (const TypeEndianess endianess : {EndianLittle, EndianBig}) {
        const AssignerRef plan = assigner(imageType(endianess), "", imageType(), "", false, false);
        EXPECT_EQ(allocationsOf([&] { assign(plan, from.data(), sizeof(Image), to.data(), sizeof(Image)); }),
                  0U);
    }
}

TEST(Allocations, OfADefinitionThatDeclaresFourGiBAreSmall) {
    const unsigned char bytes[] = {0xDA, 0xDE, 3,    0, 1,    0,    0, 0, 0xFF,
                                   0xFF, 0xFF, 0xFF, 0, 0x78, 0xDA, 3, 0, 0};
    g_largest = 0;
    EXPECT_THROW(parseDatadefinition(bytes, sizeof(bytes)), ParseError);
    EXPECT_LT(g_largest, 4096U);
}

TEST(Allocations, OfADefinitionThatClaimsManyDimensionsAreSmall) {
    const unsigned char bytes[] = {0xDA, 0xDE, 3,   0,    0,    0,    0,    0, 0, 0, 0,
                                   9,    0,    'e', 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1};
    g_largest = 0;
    EXPECT_THROW(parseDatadefinition(bytes, sizeof(bytes)), ParseError);
    EXPECT_LT(g_largest, 4096U);
}

TEST(Allocations, OfAPacketThatClaimsTooManyChunksAreNone) {
    const unsigned char bytes[] = {1, 4, 0, 0};  // 1025
    Packet packet;
    EXPECT_EQ(allocationsOf([&] { packet_parse(bytes, sizeof(bytes), packet); }), 0U);
}

TEST(Allocations, OfAFileThatClaimsTwoGiBAreBoundedByWhatItHolds) {
    const unsigned char bytes[] = {1,    0, 0, 0, 7, 0,    0,    0,    0xFF, 0xFF, 0xFF,
                                   0x7F, 1, 0, 0, 0, 0x67, 0x45, 0x23, 0x01, 'x'};
    FILE* const file = std::tmpfile();
    std::fwrite(bytes, 1, sizeof(bytes), file);
    std::rewind(file);
    Packet packet;
    std::unique_ptr<char[]> storage;
    g_largest = 0;
    EXPECT_THROW(packet_parse(file, packet, storage), ZltEOFException);
    EXPECT_LT(g_largest, std::size_t{1} << 20U);
    std::fclose(file);
}

/// Keeps what had been freed when it ended.
struct Witness {
    explicit Witness(std::size_t& atEnd) : m_atEnd(atEnd) {}
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() { m_atEnd = g_releases; }
    std::size_t& m_atEnd;
};

TEST(Allocations, ThePointersCounterIsFreedBeforeTheObject) {
    std::size_t atEnd = 0;
    const std::size_t before = g_releases;
    { const shared_ptr<Witness> pointer(new Witness(atEnd)); }
    EXPECT_EQ(atEnd, before + 1) << "the counter";
    EXPECT_EQ(g_releases, before + 2) << "the counter and the object";
}

}  // namespace
}  // namespace zelta
