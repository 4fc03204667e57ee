// SPDX-License-Identifier: Apache-2.0
// Copy plans and packets, in bytes per second of the records that they carry.
//
// Two records: Image, 58 kB in one array, as an imager sends it; and Settings, 20 kB with padding and an
// array of structs, as its driver does.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "zelta.h"

namespace {

using namespace zelta;
using Bytes = std::vector<unsigned char>;

constexpr unsigned int kImageBytes = 58128;
constexpr int kImageChannel = 1;
constexpr int kSettingsChannel = 2;

TypeRef imageType(TypeEndianess endianess = EndianLittle) {
    const TypeRef samples(new ElementaryType("samples", {kImageBytes / 2}, 0, 2, endianess, TypeUnsigned));
    return TypeRef(new StructType("Image", {}, 0, kImageBytes, endianess, {samples}));
}

/// 16 scalars with a gap after every second one, then 64 polygons of 38 points and a number each.
TypeRef settingsType(TypeEndianess endianess = EndianLittle) {
    std::vector<TypeRef> members;
    int offset = 0;
    for (int i = 0; i < 16; ++i) {
        const unsigned int size = i % 2 == 0 ? 4 : 2;
        members.push_back(TypeRef(new ElementaryType("scalar" + std::to_string(i), {}, offset, size,
                                                     endianess, i % 4 == 0 ? TypeFloat : TypeUnsigned)));
        offset += 4;
    }
    const auto coordinate = [&](const char* name, int at) {
        return TypeRef(new ElementaryType(name, {}, at, 4, endianess, TypeFloat));
    };
    const TypeRef points(new StructType("points", {38}, offset, 8, endianess,
                                        {coordinate("x", offset), coordinate("y", offset + 4)}));
    const TypeRef number(new ElementaryType("number", {}, offset + 304, 4, endianess, TypeSigned));
    members.push_back(TypeRef(new StructType("polygons", {64}, offset, 308, endianess, {points, number})));
    return TypeRef(
        new StructType("Settings", {}, 0, static_cast<unsigned int>(offset) + 64 * 308, endianess, members));
}

void setBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
}

// --- Building ---

void buildPlan(benchmark::State& state, TypeRef (*type)(TypeEndianess), TypeEndianess sender) {
    const TypeRef source = type(sender);
    const TypeRef destination = type(EndianLittle);
    std::size_t items = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const AssignerRef plan = assigner(source, "", destination, "", false, false);
        items = plan->items().size();
        benchmark::DoNotOptimize(items);
    }
    state.counters["items"] = static_cast<double>(items);
    setBytes(state, destination->size);
}
BENCHMARK_CAPTURE(buildPlan, settings, &settingsType, EndianLittle);
BENCHMARK_CAPTURE(buildPlan, settingsSwapped, &settingsType, EndianBig);
BENCHMARK_CAPTURE(buildPlan, image, &imageType, EndianLittle);

// --- Applying ---

void applyPlan(benchmark::State& state, TypeRef (*type)(TypeEndianess), TypeEndianess sender) {
    const TypeRef source = type(sender);
    const TypeRef destination = type(EndianLittle);
    const AssignerRef plan = assigner(source, "", destination, "", false, false);
    const Bytes from(source->size, 1);
    Bytes to(destination->size);
    for ([[maybe_unused]] auto iteration : state) {
        assign(plan, from.data(), source->size, to.data(), destination->size);
        benchmark::ClobberMemory();
    }
    setBytes(state, destination->size);
}
BENCHMARK_CAPTURE(applyPlan, settings, &settingsType, EndianLittle);
BENCHMARK_CAPTURE(applyPlan, settingsSwapped, &settingsType, EndianBig);
BENCHMARK_CAPTURE(applyPlan, image, &imageType, EndianLittle);
BENCHMARK_CAPTURE(applyPlan, imageSwapped, &imageType, EndianBig);

void plainCopy(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const Bytes from(size, 1);
    Bytes to(size);
    for ([[maybe_unused]] auto iteration : state) {
        std::memcpy(to.data(), from.data(), size);
        benchmark::ClobberMemory();
    }
    setBytes(state, size);
}
BENCHMARK(plainCopy)->Arg(64 + 64 * 308)->Arg(kImageBytes)->Arg(64 + 64 * 308 + kImageBytes);

// --- A packet after the first ---

const std::string& definitionOf(TypeRef (*type)(TypeEndianess)) {
    static const std::string image = createDatadefinition(imageType());
    static const std::string settings = createDatadefinition(settingsType());
    return type == &imageType ? image : settings;
}

template <TypeRef (*type)(TypeEndianess)>
void getDefinition(const void** buffer, unsigned int* size) {
    *buffer = definitionOf(type).data();
    *size = static_cast<unsigned int>(definitionOf(type).size());
}

void receivePacket(benchmark::State& state) {
    Bytes image(imageType()->size, 1);
    Bytes settings(settingsType()->size, 1);
    const auto chunk = [](const std::string& definition, const Bytes& data, int channel) {
        return ZeltaChunk{definition.data(), static_cast<int>(definition.size()), data.data(),
                          static_cast<int>(data.size()), channel};
    };
    const Packet sent{chunk(definitionOf(&settingsType), settings, kSettingsChannel),
                      chunk(definitionOf(&imageType), image, kImageChannel)};
    Bytes bytes(static_cast<std::size_t>(packet_get_required_size(sent)));
    packet_create(bytes.data(), static_cast<int>(bytes.size()), sent);
    const auto sizeOf = [](const Bytes& record) { return static_cast<unsigned int>(record.size()); };

    Packet packet;
    for ([[maybe_unused]] auto iteration : state) {
        packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet);
        PacketAssign(packet, kSettingsChannel, &getDefinition<&settingsType>, "Settings", settings.data(),
                     sizeOf(settings), "Settings", false);
        PacketAssign(packet, kImageChannel, &getDefinition<&imageType>, "Image", image.data(), sizeOf(image),
                     "Image", false);
        benchmark::ClobberMemory();
    }
    setBytes(state, image.size() + settings.size());
}
BENCHMARK(receivePacket);

void parsePacket(benchmark::State& state) {
    const Bytes data(kImageBytes, 1);
    const std::string& definition = definitionOf(&imageType);
    const Packet sent(static_cast<std::size_t>(state.range(0)),
                      ZeltaChunk{definition.data(), static_cast<int>(definition.size()), data.data(),
                                 static_cast<int>(data.size()), kImageChannel});
    Bytes bytes(static_cast<std::size_t>(packet_get_required_size(sent)));
    packet_create(bytes.data(), static_cast<int>(bytes.size()), sent);
    Packet packet;
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet));
    }
}
BENCHMARK(parsePacket)->Arg(1)->Arg(10);

// --- Definitions and values ---

void parseDefinition(benchmark::State& state) {
    const std::string& definition = definitionOf(&settingsType);
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(
            parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size())));
    }
}
BENCHMARK(parseDefinition);

void readAsFloats(benchmark::State& state, TypeEndianess sender) {
    const TypeRef type = imageType(sender);
    const auto reader = interpreter<float>(type, "Image.samples");
    const Bytes data(type->size, 1);
    std::vector<float> values(reader->count());
    for ([[maybe_unused]] auto iteration : state) {
        interpret<float>(reader, values.data(), reader->count(), data.data(), type->size);
        benchmark::ClobberMemory();
    }
    setBytes(state, type->size);
}
BENCHMARK_CAPTURE(readAsFloats, littleEndian, EndianLittle);
BENCHMARK_CAPTURE(readAsFloats, bigEndian, EndianBig);

}  // namespace
