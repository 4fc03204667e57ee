// SPDX-License-Identifier: Apache-2.0
// What a host pays per packet once the definitions are known: no allocation at all.
#include <gtest/gtest.h>

#include "TestMemory.h"
#include "zelta.h"
#include "zelta/TestTypes.h"

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
    const std::size_t before = test_memory::g_allocations;
    call();
    return test_memory::g_allocations - before;
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

TEST(Allocations, OfADefinitionThatDeclaresFourGiBAreWhatItsStreamCanFill) {
    const unsigned char bytes[] = {0xDA, 0xDE, 3,    0, 1,    0,    0, 0, 0xFF,
                                   0xFF, 0xFF, 0xFF, 0, 0x78, 0xDA, 3, 0, 0};
    constexpr std::size_t kStreamBytes = 5;
    test_memory::g_largestAllocation = 0;
    EXPECT_THROW(parseDatadefinition(bytes, sizeof(bytes)), ParseError);
    EXPECT_LE(test_memory::g_largestAllocation, 1032 * kStreamBytes);
}

TEST(Allocations, OfADefinitionThatClaimsManyDimensionsAreSmall) {
    const unsigned char bytes[] = {0xDA, 0xDE, 3,   0,    0,    0,    0,    0, 0, 0, 0,
                                   9,    0,    'e', 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1};
    test_memory::g_largestAllocation = 0;
    EXPECT_THROW(parseDatadefinition(bytes, sizeof(bytes)), ParseError);
    EXPECT_LT(test_memory::g_largestAllocation, 4096U);
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
    test_memory::g_largestAllocation = 0;
    EXPECT_THROW(packet_parse(file, packet, storage), ZltEOFException);
    EXPECT_LT(test_memory::g_largestAllocation, std::size_t{1} << 20U);
    std::fclose(file);
}

/// A definition of version 0x0100 of a struct with `members` members of one byte.
std::string wideDefinition(std::size_t members) {
    test::Payload payload;
    payload.root("R", 4);
    for (std::size_t i = 0; i < members; ++i) {
        payload.member("x", 0, 1, 2);
    }
    return test::definition0100(payload.end().bytes());
}

/// Bytes that `call` holds at most, beyond those before it.
template <typename Call>
std::size_t mostHeldBy(Call call) {
    const std::size_t before = test_memory::g_heldBytes;
    test_memory::g_mostHeldBytes = before;
    call();
    return test_memory::g_mostHeldBytes - before;
}

TEST(Allocations, OfADefinitionThatGrowsToManyNodesAreBounded) {
    const std::string definition = wideDefinition(700'000);
    EXPECT_LT(definition.size(), 50'000U) << "small on the wire";
    const auto size = static_cast<unsigned int>(definition.size());
    const std::size_t most =
        mostHeldBy([&] { EXPECT_THROW(cachedDatadefinition(definition.data(), size), ParseError); });
    EXPECT_LT(most, std::size_t{3} << 20U);
}

/// A record whose definition has an unused byte.
class StrangersPackets {
 public:
    explicit StrangersPackets(unsigned int members) {
        test::Payload payload;
        payload.root("Image", sizeof(Image));
        for (unsigned int i = 0; i < members; ++i) {
            payload.member("member" + std::to_string(i), 4 * i, 4, 1);
        }
        m_definition = test::plainDefinition(payload.end().bytes());
    }

    /// Takes a packet whose definition differs from all others in its key, which nothing reads.
    void receive(unsigned int number) {
        m_definition[6] = static_cast<char>(number >> 8U);
        m_definition[7] = static_cast<char>(number);
        const Packet packet{{m_definition.data(), static_cast<int>(m_definition.size()), m_data.data(),
                             static_cast<int>(m_data.size()), 7}};
        PacketAssign(packet, 7, getDefinition, "Image", &m_image, sizeof(m_image), "Image", false);
        int value = 0;
        PacketInterpret<int>("Image.member0", value, packet, 7);
    }

 private:
    std::string m_definition;
    std::vector<char> m_data = std::vector<char>(sizeof(Image), 1);
    Image m_image{};
};

TEST(Allocations, OfTheCachesStopAtTheirLimit) {
    for (const unsigned int members : {1U, 6U, 60U, 4000U}) {
        PacketCacheClear();
        StrangersPackets strangers(members);
        const std::size_t before = test_memory::g_heldBytes;
        std::size_t most = 0;
        for (unsigned int i = 0; i < 200 + 20'000 / members; ++i) {
            strangers.receive(i);
            most = test_memory::g_heldBytes - before > most ? test_memory::g_heldBytes - before : most;
        }
        EXPECT_LE(most, kMaxCacheBytes) << members;
        EXPECT_GT(most, kMaxCacheBytes / 8) << "the caches keep next to nothing, members " << members;
    }
    PacketCacheClear();
}

TEST(Allocations, OfTheCachesGoBackWhenTheyAreCleared) {
    PacketCacheClear();
    StrangersPackets strangers(60);
    strangers.receive(0);
    PacketCacheClear();
    const std::size_t before = test_memory::g_heldBytes;
    for (unsigned int i = 0; i < 100; ++i) {
        strangers.receive(i);
    }
    EXPECT_GT(test_memory::g_heldBytes, before);
    PacketCacheClear();
    EXPECT_EQ(test_memory::g_heldBytes, before);
}

/// A double is the element of its own kind of interpreter, and so is each other T.
template <typename T>
void expectInterpreterIsForgotten(TypeIdentifier identifier) {
    const std::string definitionOfT =
        createDatadefinition(test::record("N", sizeof(T), 0, {test::number("v", identifier, sizeof(T), 0)}));
    const std::vector<char> data(sizeof(T));
    const Packet packet{{definitionOfT.data(), static_cast<int>(definitionOfT.size()), data.data(),
                         static_cast<int>(data.size()), 7}};
    PacketCacheClear();
    const std::size_t before = test_memory::g_heldBytes;
    PacketInterpreter<T>(packet, 7, "N.v");
    EXPECT_GT(test_memory::g_heldBytes, before);
    PacketCacheClear();
    EXPECT_EQ(test_memory::g_heldBytes, before) << sizeof(T) << " bytes of kind " << identifier;
}

TEST(Allocations, OfInterpretersOfEveryKindGoBackWhenTheCachesAreCleared) {
    expectInterpreterIsForgotten<signed char>(TypeSigned);
    expectInterpreterIsForgotten<short>(TypeSigned);
    expectInterpreterIsForgotten<int>(TypeSigned);
    expectInterpreterIsForgotten<long long>(TypeSigned);
    expectInterpreterIsForgotten<unsigned char>(TypeUnsigned);
    expectInterpreterIsForgotten<unsigned short>(TypeUnsigned);
    expectInterpreterIsForgotten<unsigned int>(TypeUnsigned);
    expectInterpreterIsForgotten<unsigned long long>(TypeUnsigned);
    expectInterpreterIsForgotten<float>(TypeFloat);
    expectInterpreterIsForgotten<double>(TypeFloat);
}

/// Keeps the number of releases at its end.
struct Witness {
    explicit Witness(std::size_t& atEnd) : m_atEnd(atEnd) {}
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() { m_atEnd = test_memory::g_releases; }
    std::size_t& m_atEnd;
};

TEST(Allocations, ThePointersCounterIsFreedBeforeTheObject) {
    std::size_t atEnd = 0;
    const std::size_t before = test_memory::g_releases;
    { const shared_ptr<Witness> pointer(new Witness(atEnd)); }
    EXPECT_EQ(atEnd, before + 1) << "the counter";
    EXPECT_EQ(test_memory::g_releases, before + 2) << "the counter and the object";
}

}  // namespace
}  // namespace zelta
