// SPDX-License-Identifier: Apache-2.0
//
// Records as other programs would send them: the layout of this build, or one with members reordered, added
// and removed, in either byte order, with a definition of any version.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PacketZelta.h"

namespace host_testing {

using Bytes = std::vector<std::uint8_t>;

/** A chunk that owns its bytes. */
struct OwnedChunk {
    int channelID;
    Bytes description;
    Bytes data;
};

/** The bytes of a packet. */
Bytes packetOf(const std::vector<OwnedChunk>& chunks);

/** The same as chunks that point into `chunks`. */
Packet viewOf(const std::vector<OwnedChunk>& chunks);

/** How a sender's layout differs from that of this build. */
struct LayoutChange {
    bool reversed = false;             ///< members of every struct in the opposite order
    bool added = false;                ///< every struct begins and ends with members that nobody knows
    bool bigEndian = false;            ///< in the definition and in the data
    std::vector<std::string> removed;  ///< paths of members that the sender does not have
    std::vector<std::string> retyped;  ///< paths of numbers of which the sender has the other signedness
    unsigned int version = 0x0300;     ///< of the definition
};

/** The layout in which a sender writes one record. */
class Layout {
 public:
    explicit Layout(zelta::DefinitionGetter native, const LayoutChange& change = {});

    /** Writes a record of this build's layout as the sender would. Members that only the sender has are 0xA5
     * bytes. */
    OwnedChunk chunk(int channelID, const void* record) const;

    const Bytes& definition() const { return m_definition; }

 private:
    zelta::TypeRef m_native;
    zelta::TypeRef m_sent;
    Bytes m_definition;
    bool m_bigEndian;
};

/** The definition of this build. */
Bytes nativeDefinition(zelta::DefinitionGetter getter);

/** A definition of a payload in any version, compressed. */
Bytes definitionOf(const std::string& payload, unsigned int version);

/** A definition of version 0x0300 whose payload is marked as enciphered. */
Bytes encipheredDefinitionOf(const std::string& payload);

/** All bytes of a record that its definition describes, without those of the nodes named in `without`. */
Bytes describedBytes(const ZeltaChunk& chunk, const std::vector<std::string>& without = {});

}  // namespace host_testing
