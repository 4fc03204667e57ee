// SPDX-License-Identifier: Apache-2.0
#include "zelta_parse.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <random>

#include "zelta/TestTypes.h"

namespace zelta {
namespace {

using test::bigEndian;
using test::bytesOf;
using test::messageOf;
using test::number;
using test::parse;
using test::Payload;
using test::plainDefinition;
using test::record;

const char* const kParseError = "Error in parsing data definition";

std::string parseFailure(const std::string& definition) {
    return messageOf<ParseError>([&definition] { parse(definition); });
}

/// The failure of a payload, after the fixed words.
std::string payloadFailure(const Payload& payload) {
    const std::string text = parseFailure(plainDefinition(payload.bytes()));
    const std::string head = std::string(kParseError) + ": ";
    return text == kParseError ? "no message" : text.rfind(head, 0) == 0 ? text.substr(head.size()) : text;
}

std::string treeOf(const Payload& payload) {
    return test::textOf(parse(plainDefinition(payload.bytes())));
}

/// A record of 60 bytes with one array of bytes, as its writer stores it.
std::string goldenPayload() {
    return bytesOf({0x64, 0, 0, 0, 4,    'S', 'c', 'a', 'n',       // name, 4 bytes
                    0x65, 0, 0, 0, 0,                              // no dimension
                    0x66, 0, 0, 0, 0,                              // offset 0
                    0x67, 0, 0, 0, 60,                             // size 60
                    0x68, 0, 0, 0, 0xC8,                           // little-endian
                    0x96, 0, 0, 0, 0xFE,                           // struct begins
                    0x64, 0, 0, 0, 5,    'p', 'i', 'x', 'e', 'l',  //
                    0x65, 0, 0, 0, 1,    0,   0,   0,   60,        // one dimension, 60
                    0x66, 0, 0, 0, 0,                              //
                    0x67, 0, 0, 0, 1,                              //
                    0x96, 0, 0, 0, 2,                              // unsigned
                    0x96, 0, 0, 0, 0xFF});                         // struct ends
}

const char* const kGoldenTree = "Scan[]@0 size 60 order 0 kind 3 {pixel[60,]@0 size 1 order 0 kind 1}";

TypeRef goldenType() {
    return record("Scan", 60, 0, {number("pixel", TypeUnsigned, 1, 0, {60})});
}

/// A struct in a struct in a struct ..., `depth` of them, with one number at the bottom.
std::string nested(unsigned int depth) {
    Payload payload;
    payload.root("r", 4);
    for (unsigned int i = 1; i < depth; ++i) {
        payload.name("s").dimensions().offset(0).size(4).type(0xFE);
    }
    payload.member("x", 0, 4, 1);
    for (unsigned int i = 0; i < depth; ++i) {
        payload.end();
    }
    return payload.bytes();
}

// --- Type records ---

TEST(TypeRecord, GoldenBytesGiveTheirTree) {
    const std::string payload = goldenPayload();
    const auto* data = reinterpret_cast<const unsigned char*>(payload.data());
    auto size = static_cast<unsigned int>(payload.size());
    EXPECT_EQ(test::textOf(recParse_v_1_0(data, size, 0, EndianUnset)), kGoldenTree);
    EXPECT_EQ(size, 0U);
}

TEST(TypeRecord, TreeGivesTheGoldenBytes) {
    std::string payload;
    recGenerate_v_1_0(payload, goldenType(), true);
    EXPECT_EQ(payload, goldenPayload());
}

TEST(TypeRecord, OfNoBytesIsNullWithoutError) {
    const unsigned char* data = nullptr;
    unsigned int size = 0;
    EXPECT_FALSE(recParse_v_1_0(data, size, 0, EndianUnset));
}

TEST(TypeRecord, WithoutTypeItemIsNullAtDepthZero) {
    EXPECT_EQ(treeOf(Payload().name("a").dimensions().offset(0).size(4)), "null");
}

TEST(TypeRecord, ItemsBeforeTheTypeMayComeInAnyOrder) {
    EXPECT_EQ(treeOf(Payload().endianess(201).size(4).offset(8).dimensions({2, 3}).name("a").type(3)),
              "a[2,3,]@8 size 4 order 1 kind 2");
}

TEST(TypeRecord, ChildrenInheritTheByteOrder) {
    EXPECT_EQ(treeOf(Payload()
                         .name("R")
                         .dimensions()
                         .offset(0)
                         .size(4)
                         .endianess(201)
                         .type(0xFE)
                         .member("a", 0, 4, 1)
                         .end()),
              "R[]@0 size 4 order 1 kind 3 {a[]@0 size 4 order 1 kind 0}");
}

TEST(TypeRecord, OutermostWithoutByteOrderFailsAtItsType) {
    EXPECT_EQ(payloadFailure(Payload().member("a", 0, 4, 1)), "no message");
}

TEST(TypeRecord, ChildWithByteOrderIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).name("a").endianess(200)),
              "endianess set more than once");
}

TEST(TypeRecord, SecondNameIsRefusedInTheseWords) {
    EXPECT_EQ(payloadFailure(Payload().name("a").name("b")), "name is empty");
}

TEST(TypeRecord, NameLongerThanTheRestIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().add('d', 4).raw("abc")), "dataSize < string length");
    EXPECT_EQ(payloadFailure(Payload().add('d', 0xFFFFFFFFU).raw("abc")), "dataSize < string length");
}

TEST(TypeRecord, SecondDimensionsAreRefused) {
    EXPECT_EQ(payloadFailure(Payload().dimensions({2}).dimensions({2})), "dimension set more than once");
}

TEST(TypeRecord, DimensionsMayFollowAnItemWithoutAny) {
    EXPECT_EQ(
        treeOf(Payload().name("a").dimensions().dimensions({7}).offset(0).size(1).endianess(200).type(2)),
        "a[7,]@0 size 1 order 0 kind 1");
}

TEST(TypeRecord, UpTo255DimensionsAreRead) {
    const TypeRef type = parse(plainDefinition(Payload()
                                                   .name("a")
                                                   .dimensions(test::Dimensions(255, 1))
                                                   .offset(0)
                                                   .size(1)
                                                   .endianess(200)
                                                   .type(2)
                                                   .bytes()));
    EXPECT_EQ(type->dimensions.size(), 255U);
}

TEST(TypeRecord, MoreThan255DimensionsRunOutOfBytes) {
    EXPECT_EQ(payloadFailure(Payload().dimensions(test::Dimensions(256, 1)).name("a")), "dataSize < 4");
    EXPECT_EQ(payloadFailure(Payload().add('e', 0xFFFFFFFFU)), "dataSize < 4");
}

TEST(TypeRecord, SecondOffsetIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().offset(0).offset(0)), "offset set more than once");
}

TEST(TypeRecord, OffsetOfAllOnesCountsAsNone) {
    EXPECT_EQ(
        treeOf(Payload().name("a").dimensions().offset(0xFFFFFFFFU).offset(3).size(1).endianess(200).type(2)),
        "a[]@3 size 1 order 0 kind 1");
    EXPECT_EQ(
        payloadFailure(Payload().name("a").dimensions().offset(0xFFFFFFFFU).size(1).endianess(200).type(2)),
        "no message");
}

TEST(TypeRecord, SecondSizeIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().size(4).size(4)), "size set more than once");
}

TEST(TypeRecord, SecondByteOrderIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().endianess(200).endianess(200)), "endianess set more than once");
}

TEST(TypeRecord, OnlyTheLowEightBitsOfTheByteOrderCount) {
    EXPECT_EQ(treeOf(Payload().name("a").dimensions().offset(0).size(1).endianess(0x1C8).type(2)),
              "a[]@0 size 1 order 0 kind 1");
}

TEST(TypeRecord, UnknownByteOrderIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().endianess(199)), "unknown endianess");
    EXPECT_EQ(payloadFailure(Payload().endianess(202)), "unknown endianess");
}

TEST(TypeRecord, TypeNeedsNameDimensionsOffsetAndSize) {
    EXPECT_EQ(payloadFailure(Payload().dimensions().offset(0).size(1).endianess(200).type(1)), "no message");
    EXPECT_EQ(payloadFailure(Payload().name("").dimensions().offset(0).size(1).endianess(200).type(1)),
              "no message");
    EXPECT_EQ(payloadFailure(Payload().name("a").offset(0).size(1).endianess(200).type(1)), "no message");
    EXPECT_EQ(payloadFailure(Payload().name("a").dimensions().size(1).endianess(200).type(1)), "no message");
    EXPECT_EQ(payloadFailure(Payload().name("a").dimensions().offset(0).endianess(200).type(1)),
              "no message");
    EXPECT_EQ(payloadFailure(Payload().name("a").dimensions().offset(0).size(0).endianess(200).type(1)),
              "no message");
}

TEST(TypeRecord, UnknownKindIsRefused) {
    for (const unsigned int kind : {0U, 4U, 0xFDU, 0xFFU, 0x101U}) {
        EXPECT_EQ(
            payloadFailure(Payload().name("a").dimensions().offset(0).size(1).endianess(200).type(kind)),
            "no message")
            << kind;
    }
}

TEST(TypeRecord, UnknownTagIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().raw("c")), "no message");
    EXPECT_EQ(payloadFailure(Payload().raw("i")), "no message");
}

TEST(TypeRecord, ThatEndsInsideANumberIsRefused) {
    EXPECT_EQ(payloadFailure(Payload().raw(bytesOf({'f', 0, 0, 0}))), "dataSize < 4");
}

TEST(TypeRecord, StructWithoutEndRunsOutOfBytes) {
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).member("a", 0, 4, 1)), "dataSize = 0");
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).member("a", 0, 4, 1).raw(bytesOf({0x96}))),
              "dataSize < 4");
}

TEST(TypeRecord, ExtraBytesBehindTheRootAreRefused) {
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).member("a", 0, 4, 1).end().raw("d")), "no message");
}

TEST(TypeRecord, ExtraBytesInsideAStructAreTakenForAChild) {
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).member("a", 0, 4, 1).raw("zzzzz").end()), "no message");
    EXPECT_EQ(payloadFailure(Payload().root("R", 4).member("a", 0, 4, 1).add('f', 1).end()), "no message")
        << "a child that has an offset and then the end of the struct as its type";
}

TEST(TypeRecord, OfAnEmptyStructHasNoChildren) {
    EXPECT_EQ(treeOf(Payload().root("R", 4).end()), "R[]@0 size 4 order 0 kind 3");
}

TEST(TypeRecord, NestingIsBoundedAt64Structs) {
    TypeRef type = parse(plainDefinition(nested(64)));
    unsigned int depth = 0;
    for (TypeRef node = type; node->typeIdentifier() == TypeStruct; node = node->children()[0]) {
        ++depth;
    }
    EXPECT_EQ(depth, 64U);
    EXPECT_EQ(parseFailure(plainDefinition(nested(65))), kParseError);
    EXPECT_EQ(parseFailure(test::definition0100(nested(20000))), kParseError);
}

/// Parses, lists, copies, writes and releases a tree, as a program may do on a thread of its own.
void* useDeepestTree(void* succeeded) {
    const TypeRef type = parse(plainDefinition(nested(kMaxStructDepth)));
    const bool isListed = validExpressions(type).size() == 1;
    const bool isWritten = !createDatadefinition(rec_CopyType(type, 0)).empty();
    const AssignerRef plan = assigner(type, "", type, "", false, false);
    *static_cast<bool*>(succeeded) = isListed && isWritten && plan->items().size() == 1;
    return nullptr;
}

TEST(TypeRecord, DeepestNestingNeedsNoMoreStackThanASmallThreadHas) {
    constexpr std::size_t kStackBytes = std::size_t{256} * 1024;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackBytes), 0);
    bool succeeded = false;
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, useDeepestTree, &succeeded), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_TRUE(succeeded);
}

/// A struct with this many members.
Payload wide(unsigned int members) {
    Payload payload;
    payload.root("R", 4);
    for (unsigned int i = 0; i < members; ++i) {
        payload.member("x", 0, 4, 1);
    }
    payload.end();
    return payload;
}

TEST(TypeRecord, NodesAreBoundedAt4096) {
    EXPECT_EQ(parse(plainDefinition(wide(4095).bytes()))->children().size(), 4095U);
    EXPECT_EQ(payloadFailure(wide(4096)), "too many nodes");
    EXPECT_EQ(parseFailure(test::definition0100(wide(20000).bytes())),
              std::string(kParseError) + ": too many nodes");
}

TEST(TypeRecord, NumbersAreBigEndian) {
    EXPECT_EQ(encodeUint32(0x89ABCDEFU), bytesOf({0x89, 0xAB, 0xCD, 0xEF}));
    const std::string bytes = bytesOf({0x89, 0xAB, 0xCD, 0xEF, 0x12});
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    unsigned int size = 5;
    EXPECT_EQ(consume_uint32(data, size), 0x89ABCDEFU);
    EXPECT_EQ(consume_uint8(data, size), 0x12U);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(messageOf<ParseError>([&] { consume_uint8(data, size); }),
              std::string(kParseError) + ": dataSize = 0");
    EXPECT_EQ(messageOf<ParseError>([&] { consume_uint32(data, size); }),
              std::string(kParseError) + ": dataSize < 4");
}

// --- Headers ---

TEST(Definition, WithoutMagicIsRefused) {
    const std::string message = std::string(kParseError) + ": magic number at the beginning (0xdade) missing";
    EXPECT_EQ(parseFailure(bytesOf({0xDE, 0xDA, 3, 0})), message);
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDF, 3, 0})), message);
    EXPECT_EQ(parseFailure(""), message);
    EXPECT_EQ(messageOf<ParseError>([] { parseDatadefinition(nullptr, 100); }), message);
}

TEST(Definition, OfAnotherVersionIsRefused) {
    const std::string message = std::string(kParseError) + ": unknown zelta version";
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDE, 0, 0}) + std::string(20, '\0')), message);
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDE, 3, 1}) + std::string(20, '\0')), message);
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDE, 4, 0}) + std::string(20, '\0')), message);
}

TEST(Definition, ErrorsNameTheirSource) {
    try {
        parse("");
        FAIL() << "nothing thrown";
    } catch (const ParseError& error) {
        EXPECT_EQ(std::string(error.what()).rfind("core/app-specific/zelta_parse (line ", 0), 0U)
            << error.what();
    }
}

TEST(Definition, OfEveryVersionGivesTheSameTree) {
    const std::string payload = goldenPayload();
    const std::string stored = test::deflated(payload);
    const auto size = static_cast<unsigned int>(payload.size());
    EXPECT_EQ(test::textOf(parse(test::definition0100(payload))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0200(payload, 0))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0200(payload, 3))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, size, 1))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, size, 1, 0, 0, 3))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0300(payload, size, 0))), kGoldenTree);
}

TEST(Definition, IsPlainForEveryCompressionByteButOne) {
    const auto size = static_cast<unsigned int>(goldenPayload().size());
    for (const int compressed : {0, 2, 255}) {
        EXPECT_EQ(test::textOf(parse(test::definition0300(goldenPayload(), size, compressed))), kGoldenTree);
    }
}

TEST(Definition, OfAnEmptyPayloadIsNull) {
    EXPECT_FALSE(parse(plainDefinition("")));
    EXPECT_FALSE(parse(test::definition0100("")));
    EXPECT_FALSE(parse(test::definition0200("", 1)));
    EXPECT_FALSE(parse(test::definition0300(test::deflated(""), 0, 1)));
}

TEST(Definition, IsParsedToTheLengthThatTheStreamReallyHas) {
    // A declared size above the true one is room, not payload.
    const std::string stored = test::deflated(goldenPayload());
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, 1000, 1))), kGoldenTree);
}

TEST(Definition, WithTooSmallADeclaredSizeDoesNotUncompress) {
    const std::string stored = test::deflated(goldenPayload());
    const auto size = static_cast<unsigned int>(goldenPayload().size());
    EXPECT_EQ(parseFailure(test::definition0300(stored, size - 1, 1)),
              std::string(kParseError) + ": uncompress failed");
}

TEST(Definition, WithADamagedStreamDoesNotUncompress) {
    const std::string message = std::string(kParseError) + ": uncompress failed";
    std::string stored = test::deflated(goldenPayload());
    stored[stored.size() - 1] = static_cast<char>(stored[stored.size() - 1] ^ 1);
    const auto size = static_cast<unsigned int>(goldenPayload().size());
    EXPECT_EQ(parseFailure(test::definition0300(stored, size, 1)), message);
    EXPECT_EQ(parseFailure(test::definition0300("", 10, 1)), message);
}

/// The payload is what the stream holds; the declared size only says how much room to make.
TEST(Definition, DeclaringMoreThanItsStreamCanHoldIsRead) {
    const std::string stored = test::deflated(goldenPayload());
    const std::string fourGiB = bigEndian(0xFFFFFFFFU);
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, 0xFFFFFFFFU, 1))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(bytesOf({0xDA, 0xDE, 1, 0}) + fourGiB + stored)), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(bytesOf({0xDA, 0xDE, 2, 0}) + fourGiB + bytesOf({0}) + stored)),
              kGoldenTree);
}

TEST(Definition, CompressedAsFarAsZlibCanIsRead) {
    const std::string name(1000000, 'n');
    const Payload payload = Payload().name(name).dimensions().offset(0).size(1).endianess(200).type(2);
    const std::string definition = test::definition0100(payload.bytes());
    EXPECT_LT(definition.size(), 1100U);
    EXPECT_EQ(parse(definition)->name, name);
}

/// A record whose name fills its payload.
std::string payloadOfBytes(std::size_t size) {
    constexpr std::size_t kItems = 30;
    return Payload()
        .name(std::string(size - kItems, 'n'))
        .dimensions()
        .offset(0)
        .size(1)
        .endianess(200)
        .type(2)
        .bytes();
}

TEST(Definition, OfMoreThanAMiBOfPayloadIsRefused) {
    constexpr std::size_t kMiB = 1U << 20U;
    const std::string message = std::string(kParseError) + ": payload too large";
    const std::string largest = payloadOfBytes(kMiB);
    const std::string tooLarge = payloadOfBytes(kMiB + 1);
    ASSERT_EQ(tooLarge.size(), kMiB + 1);
    EXPECT_TRUE(parse(plainDefinition(largest)));
    EXPECT_TRUE(parse(test::definition0100(largest)));
    EXPECT_EQ(parseFailure(plainDefinition(tooLarge)), message);
    EXPECT_EQ(parseFailure(test::definition0100(tooLarge)), message);
}

TEST(Definition, OfAMiBOfPayloadMayDeclareMore) {
    const std::string stored = test::deflated(payloadOfBytes(1U << 20U));
    EXPECT_TRUE(parse(test::definition0300(stored, 0xFFFFFFFFU, 1)));
}

/// Writers count padding as they like: the size declared is what a plain payload has.
TEST(Definition, PlainPayloadMayReachIntoThePadding) {
    const std::string payload = goldenPayload();
    std::string definition = plainDefinition(payload);
    definition[12] = 3;
    EXPECT_EQ(test::textOf(parse(definition)), kGoldenTree);
}

/// The stream of version 0x0200 is counted one byte too long, so one byte too much of padding does no harm.
TEST(Definition, Of0200TakesTheFirstByteOfThePaddingForTheStream) {
    const std::string payload = goldenPayload();
    std::string definition = test::definition0200(payload, 0);
    definition[8] = 1;
    EXPECT_EQ(test::textOf(parse(definition)), kGoldenTree);
    definition[8] = 2;
    EXPECT_EQ(parseFailure(definition), std::string(kParseError) + ": uncompress failed");
}

TEST(Definition, PlainPayloadEndsWithTheDefinition) {
    const std::string payload = goldenPayload();
    const auto size = static_cast<unsigned int>(payload.size());
    EXPECT_EQ(parseFailure(test::definition0300(payload, size + 1, 0)).rfind(kParseError, 0), 0U);
    EXPECT_EQ(parseFailure(test::definition0300(payload, 0xFFFFFFFFU, 0)).rfind(kParseError, 0), 0U);
}

TEST(Definition, CutOffAnywhereIsRefused) {
    const std::string payload = goldenPayload();
    const std::string stored = test::deflated(payload);
    const auto size = static_cast<unsigned int>(payload.size());
    for (const std::string& whole :
         {test::definition0100(payload), test::definition0200(payload, 0), test::definition0200(payload, 3),
          test::definition0300(stored, size, 1), plainDefinition(payload)}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            // Padding may be missing: the stream of version 0x0200 counts into it anyway.
            try {
                EXPECT_EQ(test::textOf(parse(whole.substr(0, length))), kGoldenTree) << length;
                EXPECT_GT(length, whole.size() - 4) << "version " << static_cast<int>(whole[2]);
            } catch (const ParseError& error) {
                EXPECT_NE(std::string(error.what()).find(kParseError), std::string::npos) << length;
            }
        }
    }
}

TEST(Definition, WithMorePaddingThanBytesIsRefused) {
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDE, 2, 0, 0, 0, 0, 9, 200})).rfind(kParseError, 0), 0U);
    EXPECT_EQ(parseFailure(bytesOf({0xDA, 0xDE, 3, 0, 1, 0, 0, 0, 0, 0, 0, 9, 200})).rfind(kParseError, 0),
              0U);
}

TEST(Definition, WithAnyByteChangedParsesOrThrows) {
    const std::string payload = goldenPayload();
    const std::string stored = test::deflated(payload);
    const auto size = static_cast<unsigned int>(payload.size());
    int parsed = 0;
    int refused = 0;
    for (const std::string& whole : {test::definition0200(payload, 2), test::definition0300(stored, size, 1),
                                     plainDefinition(payload)}) {
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (int bit = 0; bit < 8; ++bit) {
                std::string changed = whole;
                changed[at] = static_cast<char>(changed[at] ^ (1 << bit));
                try {
                    parse(changed);
                    ++parsed;
                } catch (const ParseError&) {
                    ++refused;
                } catch (const CryptError&) {
                    ++refused;
                }
            }
        }
    }
    EXPECT_GT(parsed, 0);
    EXPECT_GT(refused, 0);
}

TEST(Definition, OfRandomBytesBehindAGoodHeaderParsesOrThrows) {
    constexpr unsigned int kSeed = 4711;
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    const std::string items = "defgh\x96";
    int refused = 0;
    for (int i = 0; i < 20000; ++i) {
        Payload payload;
        const unsigned int count = random() % 8;
        for (unsigned int k = 0; k < count; ++k) {
            const unsigned int value = random() % 4 == 0 ? static_cast<unsigned int>(random()) : random() % 5;
            payload.add(static_cast<unsigned char>(items[random() % items.size()]), value);
        }
        try {
            parse(plainDefinition(payload.bytes()));
        } catch (const ParseError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 10000);
}

// --- Enciphered payloads ---

void flipAllBits(unsigned int, unsigned int, unsigned char* data, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i) {
        data[i] = static_cast<unsigned char>(~data[i]);
    }
}

void wantMethod7AndKey0x1234(unsigned int cipherMethod, unsigned int keyId, unsigned char* data,
                             unsigned int size) {
    if (cipherMethod != 7 || keyId != 0x1234) {
        throw CryptError("here", 1, "unexpected key");
    }
    flipAllBits(cipherMethod, keyId, data, size);
}

unsigned int g_decipheredBytes = 0;

void flipAndCount(unsigned int cipherMethod, unsigned int keyId, unsigned char* data, unsigned int size) {
    g_decipheredBytes = size;
    flipAllBits(cipherMethod, keyId, data, size);
}

/// Installs a decipher function for one test.
class EncipheredDefinition : public testing::Test {
 protected:
    ~EncipheredDefinition() override { setDecipher(nullptr); }

    static std::string enciphered(int method, unsigned int key) {
        std::string stored = test::deflated(goldenPayload());
        flipAllBits(0, 0, reinterpret_cast<unsigned char*>(stored.data()),
                    static_cast<unsigned int>(stored.size()));
        return test::definition0300(stored, static_cast<unsigned int>(goldenPayload().size()), 1, method, key,
                                    2);
    }
};

TEST_F(EncipheredDefinition, WithoutDecipherFunctionEndsInCryptError) {
    EXPECT_EQ(messageOf<CryptError>([] { parse(enciphered(1, 1)); }).rfind("Crypt error", 0), 0U);
}

TEST_F(EncipheredDefinition, IsDecipheredByTheFunctionInstalled) {
    EXPECT_EQ(setDecipher(&wantMethod7AndKey0x1234), nullptr);
    EXPECT_EQ(test::textOf(parse(enciphered(7, 0x1234))), kGoldenTree);
}

TEST_F(EncipheredDefinition, PassesTheFailureOfItsDecipherFunction) {
    setDecipher(&wantMethod7AndKey0x1234);
    EXPECT_EQ(messageOf<CryptError>([] { parse(enciphered(7, 0x1235)); }), "Crypt error: unexpected key");
}

TEST_F(EncipheredDefinition, IsDecipheredInItsStoredLengthWithoutThePadding) {
    setDecipher(&flipAndCount);
    g_decipheredBytes = 0;
    EXPECT_EQ(test::textOf(parse(enciphered(1, 1))), kGoldenTree);
    EXPECT_EQ(g_decipheredBytes, test::deflated(goldenPayload()).size());
}

TEST_F(EncipheredDefinition, NeedsBothMethodAndKey) {
    setDecipher(&flipAllBits);
    const std::string stored = test::deflated(goldenPayload());
    const auto size = static_cast<unsigned int>(goldenPayload().size());
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, size, 1, 1, 0))), kGoldenTree);
    EXPECT_EQ(test::textOf(parse(test::definition0300(stored, size, 1, 0, 1))), kGoldenTree);
}

TEST_F(EncipheredDefinition, IsNeverPlain) {
    setDecipher(&flipAllBits);
    const auto size = static_cast<unsigned int>(goldenPayload().size());
    EXPECT_EQ(test::textOf(parse(test::definition0300(goldenPayload(), size, 0, 1, 1))), kGoldenTree);
}

// --- Writing ---

TEST(CreateDefinition, WritesHeaderStreamAndPadding) {
    const std::string definition = createDatadefinition(goldenType());
    const std::string stored = test::deflated(goldenPayload());
    const auto padding = static_cast<unsigned int>(~stored.size() & 3U);
    EXPECT_EQ(definition, bytesOf({0xDA, 0xDE, 3, 0,  // magic, version
                                   1,                 // compressed
                                   0, 0, 0,           // no cipher
                                   0, 0, 0, 73}) +    // payload of 73 bytes
                              static_cast<char>(padding) +
                              stored + std::string(padding, '\0'));
}

TEST(CreateDefinition, MakesAMultipleOfFourBytesOfEveryLength) {
    std::mt19937 random(1);
    for (unsigned int length = 1; length <= 64; ++length) {
        std::string name;
        for (unsigned int i = 0; i < length; ++i) {
            name += static_cast<char>('!' + random() % 90);
        }
        const std::string definition = createDatadefinition(number(name, TypeFloat, 4, 0));
        const auto padding = static_cast<unsigned char>(definition[12]);
        EXPECT_EQ(definition.size() % 4, 0U) << length;
        EXPECT_LE(padding, 3U) << length;
        EXPECT_EQ(definition.substr(definition.size() - padding), std::string(padding, '\0'));
        EXPECT_EQ(parse(definition)->name, name);
    }
}

TEST(CreateDefinition, OfABigEndianTypeSaysLittleEndian) {
    const TypeRef big = record("R", 4, 0, {number("a", TypeSigned, 4, 0, {}, EndianBig)}, {}, EndianBig);
    const TypeRef read = parse(createDatadefinition(big));
    EXPECT_EQ(read->endianess, EndianLittle);
    EXPECT_EQ(read->children()[0]->endianess, EndianLittle);
}

TEST(CreateDefinition, IsReadBackAsTheSameTree) {
    const TypeRef type =
        record("R", 40, 0,
               {number("a", TypeUnsigned, 1, 0), number("b", TypeSigned, 4, 4, {2, 1}),
                record("s", 8, 12, {number("c", TypeUnsigned, 2, 12), number("d", TypeFloat, 4, 16)}, {3}),
                number("e", TypeFloat, 8, 36)});
    EXPECT_EQ(test::textOf(parse(createDatadefinition(type))), test::textOf(type));
}

TEST(CreateDefinition, OfNullIsRefused) {
    EXPECT_EQ(messageOf<ParseError>([] { createDatadefinition(TypeRef()); }),
              std::string(kParseError) + ": type is NULL");
}

TEST(CreateDefinition, OfATypeThatCannotBeReadBackIsRefused) {
    EXPECT_EQ(messageOf<ParseError>([] { createDatadefinition(number("", TypeSigned, 4, 0)); }), kParseError);
    EXPECT_EQ(messageOf<ParseError>([] { createDatadefinition(number("a", TypeSigned, 0, 0)); }),
              kParseError);
    EXPECT_EQ(messageOf<ParseError>(
                  [] { createDatadefinition(number("a", static_cast<TypeIdentifier>(4), 4, 0)); }),
              kParseError);
}

}  // namespace
}  // namespace zelta
