// SPDX-License-Identifier: Apache-2.0
// Writes the seeds of the fuzz targets with the library's own writers: make_corpus FOLDER.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Seeds.h"
#include "zelta/TestTypes.h"

namespace {

using zelta::TypeRef;
using zelta::fuzz::nestedPayload;
using zelta::test::deflated;

class Folder {
 public:
    Folder(const std::filesystem::path& base, const char* name) : m_path(base / name) {
        std::filesystem::create_directories(m_path);
    }

    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream file(m_path / name, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file) {
            throw std::runtime_error("cannot write " + (m_path / name).string());
        }
    }

 private:
    std::filesystem::path m_path;
};

std::string payloadOf(const TypeRef& type) {
    std::string payload;
    zelta::recGenerate_v_1_0(payload, type, true);
    return payload;
}

std::string version1(const std::string& stream, unsigned int declaredSize) {
    return std::string("\xDA\xDE\x01\x00", 4) + zelta::encodeUint32(declaredSize) + stream;
}

std::string version2(const std::string& stream, unsigned int declaredSize, unsigned int padding) {
    return std::string("\xDA\xDE\x02\x00", 4) + zelta::encodeUint32(declaredSize) +
           static_cast<char>(padding) + stream + std::string(padding, '\0');
}

std::string version3(const std::string& stored, unsigned int declaredSize, bool compressed,
                     bool enciphered = false) {
    return std::string("\xDA\xDE\x03\x00", 4) + static_cast<char>(compressed ? 1 : 0) +
           std::string(enciphered ? "\x01\x00\x01" : "\x00\x00\x00", 3) + zelta::encodeUint32(declaredSize) +
           '\0' + stored;
}

std::string plain(const std::string& payload) {
    return version3(payload, static_cast<unsigned int>(payload.size()), false);
}

/// A record that claims to be 4 GiB of structs of one byte.
std::string endlessDefinition() {
    const TypeRef number(new zelta::ElementaryType("x", {}, 0, 1, zelta::EndianLittle, zelta::TypeUnsigned));
    const TypeRef structs(new zelta::StructType("s", {0xFFFFFFFFU}, 0, 1, zelta::EndianLittle, {number}));
    return plain(
        payloadOf(TypeRef(new zelta::StructType("R", {}, 0, 0xFFFFFFFFU, zelta::EndianLittle, {structs}))));
}

/// A record of many members of one name, which take little room on the wire.
std::string widePayload(unsigned int members) {
    const TypeRef number(new zelta::ElementaryType("x", {}, 0, 1, zelta::EndianLittle, zelta::TypeUnsigned));
    return payloadOf(TypeRef(
        new zelta::StructType("R", {}, 0, 4, zelta::EndianLittle, std::vector<TypeRef>(members, number))));
}

void writeDefinitions(const Folder& folder) {
    const std::string payload = payloadOf(zelta::fuzz::sampleType());
    const auto size = static_cast<unsigned int>(payload.size());
    const std::string stream = deflated(payload);
    folder.write("written", zelta::createDatadefinition(zelta::fuzz::sampleType()));
    folder.write("version1", version1(stream, size));
    folder.write("version2", version2(stream, size, 0));
    folder.write("version2-padded", version2(stream, size, 3));
    folder.write("plain", plain(payload));
    folder.write("enciphered", version3(stream, size, true, true));
    for (const unsigned int depth : {10U, 64U, 65U, 3000U}) {
        folder.write("nested-" + std::to_string(depth), plain(nestedPayload(depth)));
        folder.write("nested-compressed-" + std::to_string(depth),
                     version1(deflated(nestedPayload(depth)), depth * 36 + 64));
    }
    constexpr unsigned int kFourGiB = 0xFFFFFFFFU;
    folder.write("four-gib-1", version1(stream, kFourGiB));
    folder.write("four-gib-2", version2(stream, kFourGiB, 1));
    folder.write("four-gib-3", version3(stream, kFourGiB, true));
    folder.write("four-gib-plain", version3(payload, kFourGiB, false));
    const TypeRef huge(new zelta::ElementaryType("x", {0xFFFFFFFFU, 0xFFFFFFFFU}, 0x7FFFFFFF, 8,
                                                 zelta::EndianLittle, zelta::TypeFloat));
    folder.write("huge", plain(payloadOf(TypeRef(new zelta::StructType("R", {}, 0, 0xFFFFFFFFU,
                                                                       zelta::EndianLittle, {huge, huge})))));
    folder.write("endless", endlessDefinition());
    for (const unsigned int members : {zelta::kMaxTypeNodes - 1, zelta::kMaxTypeNodes, 200'000U}) {
        const std::string wide = widePayload(members);
        folder.write("wide-" + std::to_string(members),
                     version1(deflated(wide), static_cast<unsigned int>(wide.size())));
    }
}

void writeExpressions(const Folder& folder) {
    // An expression, a line end, and the definition that it is resolved against.
    const std::string definition = plain(payloadOf(zelta::fuzz::sampleType()));
    int number = 0;
    for (const char* expression : {"", "R", "R.a", "R.a[1]", "R.a[1][2]", "R.points", "R.points[2].x",
                                   "R.points[0].id", "R.text", "R.d", "R.points.x", "R.", ".", "[1].a",
                                   "R.a[-1]", "R.a[4294967295]", "R.a[9x", "R.a[][]", "R..a"}) {
        folder.write("expression-" + std::to_string(number++), expression + ("\n" + definition));
    }
    for (const std::string& expression : zelta::validExpressions(zelta::fuzz::sampleType())) {
        folder.write("valid-" + std::to_string(number++), expression + "\n" + definition);
    }
    folder.write("endless", "R.s\n" + endlessDefinition());
}

void writePackets(const Folder& folder) {
    const std::string definition = zelta::createDatadefinition(zelta::fuzz::sampleType());
    const std::string big = plain(payloadOf(zelta::fuzz::sampleType()));
    const std::string deep = plain(nestedPayload(zelta::kMaxStructDepth));
    const std::string data(88, 'd');
    const auto chunk = [&data](const std::string& description, int channel) {
        return ZeltaChunk{description.data(), static_cast<int>(description.size()), data.data(),
                          static_cast<int>(data.size()), channel};
    };
    const auto write = [&folder](const std::string& name, const Packet& packet,
                                 const std::string& behind = "") {
        std::string bytes(static_cast<std::size_t>(packet_get_required_size(packet)), '\0');
        packet_create(bytes.data(), static_cast<int>(bytes.size()), packet);
        folder.write(name, bytes + behind);
    };
    write("empty", {});
    write("one", {chunk(definition, 1)});
    write("behind", {chunk(definition, 1)}, "more");
    write("three", {chunk(definition, 1), chunk(big, 2), chunk(deep, 3)});
    write("many", Packet(100, chunk("x", 1)));
    folder.write("too-many", std::string("\x01\x04\x00\x00", 4));
    folder.write("two-gib",
                 std::string("\x01\0\0\0\x01\0\0\0\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x7F\x67\x45\x23\x01", 20));
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    const std::filesystem::path base = arguments[1];
    writeDefinitions(Folder(base, "definition"));
    writeExpressions(Folder(base, "expression"));
    writePackets(Folder(base, "packet"));
    return 0;
}
