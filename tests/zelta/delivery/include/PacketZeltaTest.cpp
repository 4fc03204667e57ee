// SPDX-License-Identifier: Apache-2.0
#include "PacketZelta.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "zelta/TestTypes.h"

namespace zelta {
namespace {

using test::messageOf;
using test::number;
using test::put;
using test::record;
using Bytes = std::vector<unsigned char>;

/// { i32 a; f32 b[2]; u16 c; }
TypeRef sentType(TypeEndianess endianess = EndianLittle) {
    return record("R", 16, 0,
                  {number("a", TypeSigned, 4, 0, {}, endianess), number("b", TypeFloat, 4, 4, {2}, endianess),
                   number("c", TypeUnsigned, 2, 12, {}, endianess)},
                  {}, endianess);
}

const std::string& sentDefinition() {
    static const std::string definition = createDatadefinition(sentType());
    return definition;
}

Bytes sentData() {
    Bytes data(16);
    put(data, 0, -7);
    put(data, 4, 1.5F);
    put(data, 8, 2.5F);
    put(data, 12, static_cast<unsigned short>(9));
    return data;
}

/// The local layout: { u16 c; i32 a; i32 mine; }
const std::string& localDefinition() {
    static const std::string definition = createDatadefinition(record(
        "L", 12, 0,
        {number("c", TypeUnsigned, 2, 0), number("a", TypeSigned, 4, 4), number("mine", TypeSigned, 4, 8)}));
    return definition;
}

struct Local {
    unsigned short c = 1;
    int a = 2;
    int mine = 3;
};

void getLocal(const void** buffer, unsigned int* size) {
    *buffer = localDefinition().data();
    *size = static_cast<unsigned int>(localDefinition().size());
}

constexpr int kChannel = 3208;

/// Two chunks: another channel first, then the record on kChannel. Caches are empty at the start of each
/// test.
class PacketHelpers : public testing::Test {
 protected:
    PacketHelpers() {
        PacketCacheClear();
        m_packet.push_back(chunk(sentDefinition(), m_other, 1));
        m_packet.push_back(chunk(sentDefinition(), m_data, kChannel));
    }
    ~PacketHelpers() override { PacketCacheClear(); }

    static ZeltaChunk chunk(const std::string& definition, const Bytes& data, int channel) {
        return {definition.data(), static_cast<int>(definition.size()), data.data(),
                static_cast<int>(data.size()), channel};
    }

    static TypeRef cached(const std::string& definition) {
        return cachedDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
    }

    Bytes m_other = Bytes(16);
    Bytes m_data = sentData();
    Packet m_packet;
};

template <typename Call>
std::string runtimeError(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

const char* const kMissing = "Unable to find requested channel 42 in ZeltaChunk vector";

// --- Channels ---

TEST_F(PacketHelpers, FirstChunkOfAChannelWins) {
    m_packet.push_back(chunk(localDefinition(), m_other, kChannel));
    EXPECT_EQ(findChannelInPacket(m_packet, kChannel), 1);
    EXPECT_EQ(findChannelInPacket(m_packet, 1), 0);
}

TEST_F(PacketHelpers, AbsentChannelIsNamedByEveryHelper) {
    int value = 0;
    Local local;
    EXPECT_EQ(runtimeError([&] { findChannelInPacket(m_packet, 42); }), kMissing);
    EXPECT_EQ(runtimeError([&] { findChannelInPacket({}, -3); }),
              "Unable to find requested channel -3 in ZeltaChunk vector");
    EXPECT_EQ(runtimeError([&] { PacketParseDataDefinition(m_packet, 42); }), kMissing);
    EXPECT_EQ(
        runtimeError([&] { PacketAssign(m_packet, 42, getLocal, "R", &local, sizeof(local), "L", false); }),
        kMissing);
    EXPECT_EQ(runtimeError([&] {
                  PacketAssign(TypeRef(), m_packet, 42, "R", TypeRef(), &local, sizeof(local), "L", false);
              }),
              kMissing)
        << "before anything is built";
    EXPECT_EQ(runtimeError([&] { PacketAssign(AssignerRef(), m_packet, 42, &local, sizeof(local)); }),
              kMissing);
    EXPECT_EQ(runtimeError([&] { PacketAssigner(m_packet, 42, "R", sentType(), "R", false); }), kMissing);
    EXPECT_EQ(runtimeError([&] { PacketInterpreter<int>(m_packet, 42, "R.a"); }), kMissing);
    EXPECT_EQ(runtimeError([&] { PacketInterpret<int>("R.a", value, m_packet, 42); }), kMissing);
    EXPECT_EQ(
        runtimeError([&] { PacketInterpret<int>(interpreter<int>(sentType(), "R.a"), value, m_packet, 42); }),
        kMissing);
}

// --- Caches ---

TEST_F(PacketHelpers, ByteIdenticalDefinitionsShareOneType) {
    const std::string copy = sentDefinition();
    EXPECT_EQ(cached(sentDefinition()).get(), cached(copy).get());
    EXPECT_EQ(PacketParseDataDefinition(m_packet, kChannel).get(), cached(copy).get());
}

TEST_F(PacketHelpers, DefinitionsThatDifferInOnePaddingByteAreTwoTypes) {
    // The padding follows the stream: two bytes, so that the count stays right.
    const std::string payload = test::Payload().endianess(200).member("v", 0, 4, 1).bytes();
    std::string one = test::definition0200(payload, 2);
    std::string two = one;
    two.back() = 1;
    EXPECT_EQ(test::textOf(cached(one)), test::textOf(cached(two)));
    EXPECT_NE(cached(one).get(), cached(two).get());
}

TEST_F(PacketHelpers, ClearedCacheParsesAgain) {
    const TypeRef before = cached(sentDefinition());
    PacketCacheClear();
    EXPECT_NE(cached(sentDefinition()).get(), before.get());
    EXPECT_EQ(before->name, "R") << "callers keep what they hold";
}

TEST_F(PacketHelpers, ClearedCacheLeavesPlansAndInterpretersToTheirHolders) {
    const AssignerRef plan = PacketAssigner(m_packet, kChannel, "R.a", sentType(), "R.a", true);
    const auto reader = PacketInterpreter<int>(m_packet, kChannel, "R.a");
    PacketCacheClear();
    int value = 0;
    EXPECT_EQ(PacketAssign(plan, m_packet, kChannel, &value, 4), 4);
    EXPECT_EQ(value, -7);
    value = 0;
    PacketInterpret<int>(reader, value, m_packet, kChannel);
    EXPECT_EQ(value, -7);
    EXPECT_NE(PacketInterpreter<int>(m_packet, kChannel, "R.a").get(), reader.get());
}

TEST_F(PacketHelpers, ClearedCacheForgetsPlans) {
    const TypeRef type = sentType();
    const AssignerRef before = cachedAssigner(type, "R.a", type, "R.a", false);
    PacketCacheClear();
    EXPECT_NE(cachedAssigner(type, "R.a", type, "R.a", false).get(), before.get());
}

/// A type that reports its end.
class WatchedType : public StructType {
 public:
    explicit WatchedType(int& alive)
        : StructType("W", {}, 0, 4, EndianLittle, {number("a", TypeSigned, 4, 0)}), m_alive(alive) {
        ++m_alive;
    }
    ~WatchedType() override { --m_alive; }

 private:
    int& m_alive;
};

/// Plans are found by the address of their types: as long as a plan is kept, no other type may have it.
TEST_F(PacketHelpers, KeptPlanKeepsItsTypes) {
    int alive = 0;
    cachedAssigner(TypeRef(new WatchedType(alive)), "W", TypeRef(new WatchedType(alive)), "W", false);
    EXPECT_EQ(alive, 2);
    PacketCacheClear();
    EXPECT_EQ(alive, 0);
}

TEST_F(PacketHelpers, TypesMayOutnumberWhatTheCachesKeep) {
    // 200 types of 4000 nodes; each plan holds two of them.
    test::Payload payload;
    payload.root("R", 16);
    for (unsigned int i = 0; i < 4000; ++i) {
        payload.member("a", 0, 4, 1);
    }
    std::string definition = test::plainDefinition(payload.end().bytes());
    for (int i = 0; i < 200; ++i) {
        definition[7] = static_cast<char>(i);
        Local local;
        const Packet packet{chunk(definition, m_data, kChannel)};
        EXPECT_GE(PacketAssign(packet, kChannel, getLocal, "R", &local, sizeof(local), "L", false), 4);
        EXPECT_EQ(local.a, -7) << i;
    }
}

/// An entry that alone exceeds the limit is used but not kept.
TEST_F(PacketHelpers, DefinitionLargerThanAllThatIsKeptIsParsedEachTime) {
    const std::string payload = test::Payload().endianess(200).member("v", 0, 4, 1).bytes();
    const std::string large = test::definition0100(payload) + std::string(kMaxCacheBytes, '\0');
    const TypeRef first = cached(large);
    EXPECT_EQ(first->name, "v");
    EXPECT_NE(cached(large).get(), first.get());
    EXPECT_EQ(cached(sentDefinition()).get(), cached(sentDefinition()).get());
}

TEST_F(PacketHelpers, BadDefinitionIsTriedAgainEachTime) {
    const std::string bad = test::plainDefinition("zzz");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(messageOf<ParseError>([&] { cached(bad); }), "Error in parsing data definition");
    }
    EXPECT_NO_THROW(cached(sentDefinition()));
}

TEST_F(PacketHelpers, DefinitionWithoutPayloadIsCachedAsNull) {
    EXPECT_FALSE(cached(test::plainDefinition("")));
    EXPECT_FALSE(cached(test::plainDefinition("")));
}

TEST_F(PacketHelpers, MissingDefinitionIsRefused) {
    EXPECT_THROW(cachedDatadefinition(nullptr, 100), ParseError);
    m_packet[1].descSize = -1;
    EXPECT_THROW(PacketParseDataDefinition(m_packet, kChannel), ParseError);
}

TEST_F(PacketHelpers, PlanIsKeptForTypesExpressionsAndFlag) {
    const TypeRef source = cached(sentDefinition());
    const TypeRef destination = cached(localDefinition());
    const AssignerRef plan = cachedAssigner(source, "R.a", destination, "L.a", false);
    EXPECT_EQ(cachedAssigner(source, "R.a", destination, "L.a", false).get(), plan.get());
    EXPECT_NE(cachedAssigner(source, "R.a", destination, "L.a", true).get(), plan.get());
    EXPECT_NE(cachedAssigner(source, "R.a", destination, "L.mine", false).get(), plan.get());
    EXPECT_NE(cachedAssigner(source, "R", destination, "L", false).get(), plan.get());
    EXPECT_NE(cachedAssigner(source, "R.a", source, "R.a", false).get(), plan.get());
    EXPECT_NE(cachedAssigner(sentType(), "R.a", destination, "L.a", false).get(), plan.get())
        << "types are told apart by identity";
}

TEST_F(PacketHelpers, RelativeAndAbsolutePlansAreTwoEntries) {
    const TypeRef type = record("a", 4, 0, {number("x", TypeSigned, 4, 0)});
    const TypeRef other = record("b", 4, 0, {number("x", TypeSigned, 4, 0)});
    EXPECT_NE(cachedAssigner(type, "a", other, "b", false).get(),
              cachedAssigner(type, "a", other, "b", true).get());
}

TEST_F(PacketHelpers, CachedPlanIsRelativeInItsDestinationOnly) {
    const TypeRef source = cached(sentDefinition());
    const AssignerRef plan = cachedAssigner(source, "R.b[1]", source, "R.b[1]", true);
    EXPECT_EQ(plan->sourceSize(), 16);
    EXPECT_EQ(plan->destinationSize(), 4);
}

TEST_F(PacketHelpers, FailedPlanLeavesNoEntry) {
    const TypeRef source = cached(sentDefinition());
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(cachedAssigner(source, "R.q", source, "R.a", false), InterpretError);
        EXPECT_THROW(cachedAssigner(TypeRef(), "R.a", source, "R.a", false), InterpretError);
    }
}

TEST_F(PacketHelpers, InterpreterIsKeptForTypeExpressionAndElement) {
    const auto first = PacketInterpreter<float>(m_packet, kChannel, "R.a");
    EXPECT_EQ(PacketInterpreter<float>(m_packet, kChannel, "R.a").get(), first.get());
    EXPECT_EQ(PacketInterpreter<float>(m_packet, 1, "R.a").get(), first.get()) << "the same definition";
    EXPECT_NE(PacketInterpreter<float>(m_packet, kChannel, "R.c").get(), first.get());
    EXPECT_THROW(PacketInterpreter<short>(m_packet, kChannel, "R.a"), InterpretError);
    EXPECT_THROW(PacketInterpreter<short>(m_packet, kChannel, "R.a"), InterpretError);
}

// --- Copying ---

TEST_F(PacketHelpers, AssignWithAGetterLandsInTheLocalLayoutByName) {
    Local local;
    EXPECT_EQ(PacketAssign(m_packet, kChannel, getLocal, "R", &local, sizeof(local), "L", false), 6);
    EXPECT_EQ(local.a, -7);
    EXPECT_EQ(local.c, 9);
    EXPECT_EQ(local.mine, 3) << "the sender has no such member";
}

TEST_F(PacketHelpers, AssignReadsEveryVersionAndByteOrder) {
    // The same record, big-endian and with its members elsewhere, in definitions of all versions.
    const std::string payload = test::Payload()
                                    .name("R")
                                    .dimensions()
                                    .offset(0)
                                    .size(12)
                                    .endianess(201)
                                    .type(0xFE)
                                    .member("new", 0, 4, 1)
                                    .member("c", 4, 2, 2)
                                    .member("a", 8, 4, 1)
                                    .end()
                                    .bytes();
    const Bytes data{1, 2, 3, 4, 0, 9, 0, 0, 0xFF, 0xFF, 0xFF, 0xF9};
    for (const std::string& definition :
         {test::definition0100(payload), test::definition0200(payload, 0), test::plainDefinition(payload)}) {
        const Packet packet{chunk(definition, data, kChannel)};
        Local local;
        EXPECT_EQ(PacketAssign(packet, kChannel, getLocal, "R", &local, sizeof(local), "L", false), 6);
        EXPECT_EQ(local.a, -7);
        EXPECT_EQ(local.c, 9);
        EXPECT_EQ(local.mine, 3);
    }
}

TEST_F(PacketHelpers, AssignWithTypesUsesTheSourceGiven) {
    int value = 0;
    EXPECT_EQ(PacketAssign(sentType(), m_packet, kChannel, "R.a", sentType(), &value, 4, "R.a", true), 4);
    EXPECT_EQ(value, -7);
}

TEST_F(PacketHelpers, AssignOfARecordOfAnotherSizeThanItsDefinitionFails) {
    Local local;
    m_packet[1].dataSize = 15;
    EXPECT_EQ(messageOf<InterpretError>([&] {
                  PacketAssign(m_packet, kChannel, getLocal, "R", &local, sizeof(local), "L", false);
              }),
              "Size mismatch: ");
    m_packet[1].dataSize = -16;
    EXPECT_THROW(PacketAssign(m_packet, kChannel, getLocal, "R", &local, sizeof(local), "L", false),
                 InterpretError);
    EXPECT_EQ(local.a, 2);
}

TEST_F(PacketHelpers, AssignOfAnotherRootNameFails) {
    Local local;
    EXPECT_EQ(messageOf<InterpretError>([&] {
                  PacketAssign(m_packet, kChannel, getLocal, "Q", &local, sizeof(local), "L", false);
              }),
              "Error while interpreting expression:\"Q\"");
}

// --- Reading ---

TEST_F(PacketHelpers, InterpretReadsByTheSendersDefinition) {
    int value = 0;
    PacketInterpret<int>("R.a", value, m_packet, kChannel);
    EXPECT_EQ(value, -7);
    std::vector<float> values(2);
    PacketInterpret<float>("R.b", values.data(), 2, m_packet, kChannel);
    EXPECT_EQ(values, (std::vector<float>{1.5F, 2.5F}));
}

TEST_F(PacketHelpers, InterpretReadsWithAnInterpreterOrATypeGiven) {
    unsigned short value = 0;
    PacketInterpret<unsigned short>(interpreter<unsigned short>(sentType(), "R.c"), value, m_packet,
                                    kChannel);
    EXPECT_EQ(value, 9);
    value = 0;
    PacketInterpret<unsigned short>(interpreter<unsigned short>(sentType(), "R.c"), &value, 1, m_packet,
                                    kChannel);
    EXPECT_EQ(value, 9);
    value = 0;
    PacketInterpret<unsigned short>(sentType(), "R.c", value, m_packet, kChannel);
    EXPECT_EQ(value, 9);
    std::vector<double> values(2);
    PacketInterpret<double>(sentType(), "R.b", values.data(), 2, m_packet, kChannel);
    EXPECT_EQ(values[1], 2.5);
    PacketInterpret<unsigned short>(sentType(EndianBig), "R.c", value, m_packet, kChannel);
    EXPECT_EQ(value, 9 << 8) << "the type given decides, not the sender's";
}

TEST_F(PacketHelpers, InterpretReadsEveryNumberType) {
    const auto readsBack = []<typename T>(T value, TypeIdentifier identifier) {
        const std::string definition =
            createDatadefinition(record("N", sizeof(T), 0, {number("v", identifier, sizeof(T), 0)}));
        Bytes data(sizeof(T));
        put(data, 0, value);
        const Packet packet{chunk(definition, data, 5)};
        T read{};
        PacketInterpret<T>("N.v", read, packet, 5);
        return read == value;
    };
    EXPECT_TRUE(readsBack(static_cast<signed char>(-1), TypeSigned));
    EXPECT_TRUE(readsBack(static_cast<short>(-2), TypeSigned));
    EXPECT_TRUE(readsBack(-3, TypeSigned));
    EXPECT_TRUE(readsBack(-4LL, TypeSigned));
    EXPECT_TRUE(readsBack(static_cast<unsigned char>(5), TypeUnsigned));
    EXPECT_TRUE(readsBack(static_cast<unsigned short>(6), TypeUnsigned));
    EXPECT_TRUE(readsBack(7U, TypeUnsigned));
    EXPECT_TRUE(readsBack(8ULL, TypeUnsigned));
    EXPECT_TRUE(readsBack(9.5F, TypeFloat));
    EXPECT_TRUE(readsBack(10.5, TypeFloat));
}

}  // namespace
}  // namespace zelta
