// SPDX-License-Identifier: Apache-2.0
// Data definitions: type trees as bytes, as they travel beside the records that they describe.
#pragma once

#include <string>

#include "zelta_type.h"

namespace zelta {

// Limits of what a definition may become. A few bytes can unfold to a tree of gigabytes, so reading
// stops here with a ParseError. The limits are far above what records need: a large one has 200 nodes,
// nested 8 deep, in 8 KiB of payload.

/// Structs that may be nested.
inline constexpr unsigned int kMaxStructDepth = 64;

/// Nodes of a tree, its root included.
inline constexpr unsigned int kMaxTypeNodes = 4096;

/// Bytes of an uncompressed payload.
inline constexpr unsigned int kMaxPayloadBytes = 1U << 20U;

/// Reads a definition of version 0x0100, 0x0200 or 0x0300. Returns the root, or a null pointer for a valid
/// definition with an empty payload. Throws ParseError, or CryptError for an enciphered payload. Only the
/// `size` bytes at `data` are read. The size that a compressed definition declares may be larger than what
/// its stream holds. Room is made for what the stream can give, `kMaxPayloadBytes` at most.
TypeRef parseDatadefinition(const void* data, unsigned int size);

/// Writes a definition of version 0x0300: compressed, padded to a multiple of 4 bytes. The
/// definition always says little-endian, whatever the nodes say. Throws ParseError if `type` is
/// null, or is a tree that could not be read back.
std::string createDatadefinition(const TypeRef& type);

/// Deciphers `size` bytes of a stored payload in place; reports failure as CryptError.
using Decipher = void (*)(unsigned int cipherMethod, unsigned int keyId, unsigned char* data,
                          unsigned int size);

/// Installs the function that deciphers payloads and returns the one before it. Null, the initial value,
/// means that there is none; enciphered definitions then throw CryptError.
Decipher setDecipher(Decipher decipher) noexcept;

// The parts of the format. Each consumes what it reads from `data` and `size`, or throws ParseError.

unsigned char consume_uint8(const unsigned char*& data, unsigned int& size);
unsigned int consume_uint32(const unsigned char*& data, unsigned int& size);  ///< big-endian

/// One type record with all that is nested in it; null if the bytes end before a type item. `depth` is the
/// number of structs around it, `endianess` what the outermost record said.
TypeRef recParse_v_1_0(const unsigned char*& data, unsigned int& size, unsigned int depth,
                       TypeEndianess endianess);

std::string encodeUint32(unsigned int value);  ///< four bytes, big-endian

/// Appends one type record with all that is nested in it; only the outermost one (`topLevel`) names a byte
/// order.
void recGenerate_v_1_0(std::string& out, const TypeRef& type, bool topLevel);

}  // namespace zelta
