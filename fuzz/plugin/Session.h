// SPDX-License-Identifier: Apache-2.0
//
// A session with the plug-in as the fuzzer's bytes: a start, 1 byte (times 16) and in its low 4 bits the
// vector target, then a list of steps. A step is a packet: either the bytes themselves, or one of a camera's
// good packets with a few bytes changed, so that short inputs reach far.
//
//   kind, 1 byte: low 3 bits StepKind, then flags
//   StepPacket:   length, 2 bytes little-endian, and that many bytes
//   others:       number of changes, 1 byte (low 4 bits), then for each: position, 3 bytes little-endian (of
//                 the packet, or with the highest bit of its beginning), and the byte to put there
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

enum StepKind : std::uint8_t {
    StepPacket = 0,
    StepCalibration = 1,
    StepImage = 2,          ///< the next image of the frame
    StepRestartFrame = 3,   ///< no packet: the frame's first image comes next
    StepInput = 4,          ///< input record alone
    StepRaw = 5,            ///< image alone
    StepCustomization = 6,  ///< over the custom pin
    StepNewAlgorithm = 7,   ///< no packet
};

inline constexpr std::uint8_t kStepKinds = 7;
inline constexpr std::uint8_t kOtherLayout = 0x08;  ///< sent reordered, big-endian, definition 0x0200
inline constexpr std::uint8_t kRichInput = 0x10;    ///< two exposures and frequencies, all filters
inline constexpr std::uint8_t kIntensity = 0x20;    ///< the frame begins with an intensity image
inline constexpr std::uint8_t kFullResult = 0x40;   ///< fetch the long form of the result
inline constexpr std::uint8_t kCustomPin = 0x80;    ///< of StepPacket

inline constexpr std::uint32_t kAtTheBeginning = 0x800000;
inline constexpr std::size_t kBeginningBytes = 24 * 1024;  ///< definition and input record of an image packet

struct Change {
    std::uint32_t position;
    std::uint8_t value;
};

/** Writes steps. */
class SessionWriter {
 public:
    explicit SessionWriter(unsigned int start = 0, unsigned int target = 0)
        : m_bytes(1, static_cast<char>(16 * start + target)) {}

    SessionWriter& step(unsigned int kind, const std::vector<Change>& changes = {}) {
        m_bytes += static_cast<char>(kind);
        if ((kind & kStepKinds) == StepRestartFrame || (kind & kStepKinds) == StepNewAlgorithm) {
            return *this;
        }
        m_bytes += static_cast<char>(changes.size());
        for (const Change& change : changes) {
            append(change.position, 3);
            m_bytes += static_cast<char>(change.value);
        }
        return *this;
    }

    SessionWriter& packet(const std::vector<std::uint8_t>& bytes, unsigned int flags = 0) {
        m_bytes += static_cast<char>(StepPacket | flags);
        append(static_cast<std::uint32_t>(bytes.size()), 2);
        m_bytes.append(bytes.begin(), bytes.end());
        return *this;
    }

    const std::string& bytes() const { return m_bytes; }

 private:
    void append(std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
        }
    }

    std::string m_bytes;
};

/** Reads steps; what is cut off reads as 0. */
class SessionReader {
 public:
    SessionReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool atEnd() const { return m_size == 0; }

    std::uint32_t number(int bytes) {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes && m_size > 0; ++i) {
            value |= static_cast<std::uint32_t>(*m_data) << (8 * i);
            ++m_data;
            --m_size;
        }
        return value;
    }

    std::vector<std::uint8_t> block(std::size_t size) {
        const std::size_t taken = size < m_size ? size : m_size;
        std::vector<std::uint8_t> bytes(m_data, m_data + taken);
        m_data += taken;
        m_size -= taken;
        return bytes;
    }

    void applyChanges(std::span<std::uint8_t> packet) {
        const std::uint32_t changes = number(1) & 0x0FU;
        for (std::uint32_t i = 0; i < changes; ++i) {
            const std::uint32_t position = number(3);
            const auto value = static_cast<std::uint8_t>(number(1));
            const bool atTheBeginning = (position & kAtTheBeginning) != 0;
            const std::size_t range =
                atTheBeginning && packet.size() > kBeginningBytes ? kBeginningBytes : packet.size();
            packet[(position & ~kAtTheBeginning) % range] = value;
        }
    }

 private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

}  // namespace fuzz
