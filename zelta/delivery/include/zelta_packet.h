// SPDX-License-Identifier: Apache-2.0
// The packet: up to 1024 chunks in a flat run of bytes, each a definition, the record it describes and a
// channel.
#pragma once

#include <cstdio>
#include <iosfwd>
#include <memory>
#include <vector>

#include "zelta_error.h"

namespace zelta {

/// One record and its definition. The bytes belong to others: to the buffer
/// that was parsed, or to the writer.
struct ZeltaChunk {
    const void* description;
    int descSize;  ///< bytes of the description, above 0
    const void* data;
    int dataSize;  ///< bytes of the data, above 0
    int channelID;
};

using Packet = std::vector<ZeltaChunk>;

/// No reader takes more chunks than this.
inline constexpr unsigned int kMaxChunks = 1024;

/// The bytes that a packet of these chunks takes; -1 if a size is not above 0 or the sum does not fit an int.
int packet_get_required_size(const std::vector<ZeltaChunk>& chunks);

/// Writes a packet. `bufferSize` must be exactly the required size. Returns 0, or -1 with nothing written.
int packet_create(void* buffer, int bufferSize, const std::vector<ZeltaChunk>& chunks);

/// Reads a packet in place: the chunks point into `buffer`. Bytes after the last chunk are ignored. Returns
/// 0, or -1 with the chunks up to the fault in the vector.
int packet_parse(const void* buffer, int size, std::vector<ZeltaChunk>& chunks);

/// Reads one packet from where the stream stands. The chunks point into `storage`, whose old content is
/// freed. Returns 0, or -1 with a null storage. A stream that ends too early gives -1, or, if nothing but
/// zero bytes came, a packet without chunks.
int packet_parse(std::istream& stream, std::vector<ZeltaChunk>& chunks, std::unique_ptr<char[]>& storage);

/// The same from a file. A file that ends too early throws ZltEOFException and leaves `storage` alone.
int packet_parse(FILE* stream, std::vector<ZeltaChunk>& chunks, std::unique_ptr<char[]>& storage);

/// The size of the packet that begins where the file stands, found from its sizes alone. The
/// position is the same afterwards. Returns -1 if it is no packet or too large for an int; throws
/// ZltEOFException if the file ends before the header of a chunk. In both cases the position
/// stays where the fault was found.
int packet_size(FILE* stream);

}  // namespace zelta

// Hosts and plug-ins know the packet by its plain names.
using zelta::Packet;
using zelta::packet_create;
using zelta::packet_get_required_size;
using zelta::packet_parse;
using zelta::packet_size;
using zelta::ZeltaChunk;
using zelta::ZltEOFException;
