// SPDX-License-Identifier: Apache-2.0
// Packet helpers: find a channel, know its type, copy or read its data. Definitions, plans and interpreters
// are built once and kept, so that a packet whose definitions are known costs look-ups and copies only.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zelta_assigner.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"
#include "zelta_packet.h"
#include "zelta_parse.h"

namespace zelta {

/// Hands out a definition that is compiled in: its address and its size in bytes.
using DefinitionGetter = void (*)(const void** dataDescriptionBuffer, unsigned int* bufferSize);

/// The index of the first chunk on a channel. Throws std::runtime_error if there is none, as do all helpers
/// below that take a channel.
int findChannelInPacket(const std::vector<ZeltaChunk>& chunks, int channel);

/// What all caches may keep together, in bytes. When the next entry would exceed it, all of them are emptied
/// first; an entry that alone would exceed it is not kept. Ordinary records need some hundred KiB.
inline constexpr std::size_t kMaxCacheBytes = std::size_t{16} << 20U;

/// The type of a definition. Definitions of the same bytes give the very same object until the caches are
/// emptied.
TypeRef cachedDatadefinition(const void* data, unsigned int size);

/// The type of a channel.
TypeRef PacketParseDataDefinition(const std::vector<ZeltaChunk>& chunks, unsigned int channel);

/// The plan between two expressions of two types. Types are told apart by identity. With `relative` the
/// destination buffer holds only the part addressed; the source is always the whole record.
AssignerRef cachedAssigner(const TypeRef& source, std::string_view sourceExpression,
                           const TypeRef& destination, std::string_view destinationExpression, bool relative);

/// Forgets all definitions, plans and interpreters. Those that callers hold stay valid.
void PacketCacheClear();

/// Copies the data of a channel into a record of another layout; returns the bytes copied. Members that the
/// sender lacks keep their bytes.
int PacketAssign(const AssignerRef& assigner, const std::vector<ZeltaChunk>& chunks, int channel,
                 void* destination, unsigned int destinationSize);
int PacketAssign(const TypeRef& source, const std::vector<ZeltaChunk>& chunks, int channel,
                 std::string_view sourceExpression, const TypeRef& destination, void* buffer,
                 unsigned int size, std::string_view destinationExpression, bool relative);

/// The usual way to receive: the destination's layout is a compiled-in definition; the
/// source's layout comes with the packet.
int PacketAssign(const std::vector<ZeltaChunk>& chunks, int channel, DefinitionGetter getter,
                 std::string_view sourceExpression, void* buffer, unsigned int size,
                 std::string_view destinationExpression, bool relative);

/// The plan from a channel's layout, for repeated use.
AssignerRef PacketAssigner(const std::vector<ZeltaChunk>& chunks, int channel,
                           std::string_view sourceExpression, const TypeRef& destination,
                           std::string_view destinationExpression, bool relative);

/// The interpreter for one expression of a channel's layout. T is one of Interpreter's ten numeric types.
template <typename T>
typename InterpreterRef<T>::Type PacketInterpreter(const std::vector<ZeltaChunk>& chunks, int channel,
                                                   std::string_view expression);

/// Reads values from the data of a channel with a given interpreter.
template <typename T>
void PacketInterpret(const typename InterpreterRef<T>::Type& interpreter, T* values, unsigned int count,
                     const std::vector<ZeltaChunk>& chunks, int channel) {
    const ZeltaChunk& chunk = chunks[static_cast<std::size_t>(findChannelInPacket(chunks, channel))];
    interpret<T>(interpreter, values, count, chunk.data, static_cast<unsigned int>(chunk.dataSize));
}

template <typename T>
void PacketInterpret(const typename InterpreterRef<T>::Type& interpreter, T& value,
                     const std::vector<ZeltaChunk>& chunks, int channel) {
    PacketInterpret<T>(interpreter, &value, 1U, chunks, channel);
}

/// Reads values with an interpreter that is made from `type` for this call.
template <typename T>
void PacketInterpret(const TypeRef& type, const std::string& expression, T* values, unsigned int count,
                     const std::vector<ZeltaChunk>& chunks, int channel) {
    PacketInterpret<T>(zelta::interpreter<T>(type, expression), values, count, chunks, channel);
}

template <typename T>
void PacketInterpret(const TypeRef& type, const std::string& expression, T& value,
                     const std::vector<ZeltaChunk>& chunks, int channel) {
    PacketInterpret<T>(type, expression, &value, 1U, chunks, channel);
}

/// Reads values by the channel's own definition, with an interpreter that is kept.
template <typename T>
void PacketInterpret(std::string_view expression, T* values, unsigned int count,
                     const std::vector<ZeltaChunk>& chunks, int channel) {
    PacketInterpret<T>(PacketInterpreter<T>(chunks, channel, expression), values, count, chunks, channel);
}

template <typename T>
void PacketInterpret(std::string_view expression, T& value, const std::vector<ZeltaChunk>& chunks,
                     int channel) {
    PacketInterpret<T>(expression, &value, 1U, chunks, channel);
}

}  // namespace zelta

using zelta::cachedAssigner;
using zelta::cachedDatadefinition;
using zelta::findChannelInPacket;
using zelta::PacketAssign;
using zelta::PacketAssigner;
using zelta::PacketCacheClear;
using zelta::PacketInterpret;
using zelta::PacketInterpreter;
using zelta::PacketParseDataDefinition;
