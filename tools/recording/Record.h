// SPDX-License-Identifier: Apache-2.0
//
// Records: bytes with their definition, read and written by expressions such as
// `QorDistanceImageIFInput.phaseInfo.freqIdx`.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "recording/Description.h"
#include "zelta_interpreter.h"
#include "zelta_packet.h"

namespace recording {

// A sentence about a faulty record or expression.
class RecordError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// A record that the tools make themselves. All its bytes are zero at first.
class Record {
 public:
    explicit Record(const Member& description);

    // Writes all elements that the expression addresses; a number written is of the member's own type.
    template <typename T>
    void set(const std::string& expression, std::span<const T> values) {
        zelta::modify<T>(zelta::interpreter<T>(type_, expression), values.data(),
                         static_cast<unsigned int>(values.size()), data_.data(),
                         static_cast<unsigned int>(data_.size()));
    }
    template <typename T>
    void set(const std::string& expression, const std::vector<T>& values) {
        set(expression, std::span<const T>(values));
    }
    template <typename T>
    void set(const std::string& expression, T value) {
        set(expression, std::span<const T>(&value, 1));
    }

    // The record as part of a packet; it points into this record.
    zelta::ZeltaChunk chunk(int channel) const;

    const zelta::TypeRef& type() const { return type_; }
    const std::vector<std::uint8_t>& data() const { return data_; }

 private:
    zelta::TypeRef type_;
    std::string definition_;
    std::vector<std::uint8_t> data_;
};

// The bytes of a packet of these chunks. Throws RecordError if they make none.
std::vector<std::uint8_t> packetOf(const std::vector<zelta::ZeltaChunk>& chunks);

// The first chunk on a channel, or null.
const zelta::ZeltaChunk* findChunk(const zelta::Packet& packet, int channel);

// The type of a chunk, of the library's cache. Throws RecordError if its definition is damaged or empty.
zelta::TypeRef typeOf(const zelta::ZeltaChunk& chunk);

// "array[3]", the expression of one element.
std::string element(const std::string& array, std::size_t index);

// Whether an expression addresses something in a chunk. Throws RecordError as typeOf.
bool hasMember(const zelta::ZeltaChunk& chunk, const std::string& expression);

// The number of elements that an expression addresses. Throws RecordError if it addresses nothing.
unsigned int countOf(const zelta::TypeRef& type, const std::string& expression);

// Reads all elements of an expression as double. Throws RecordError, also if
// their count is not as expected.
std::vector<double> numbersOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                              std::size_t expectedCount);
double numberOf(const zelta::ZeltaChunk& chunk, const std::string& expression);

// One unsigned number of 64 bits, exactly.
std::uint64_t wholeNumberOf(const zelta::ZeltaChunk& chunk, const std::string& expression);

// The same without converting to double, for images.
std::vector<float> imageOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                           std::size_t expectedCount);

// Bytes as they are, for images of bits.
std::vector<std::uint8_t> bytesOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                                  std::size_t expectedCount);

// Writes numbers given as text, separated by commas, into a record of any layout: one for every element, or
// one for all. Integers must be in range, decimal or 0x...; other numbers must
// be finite. Throws RecordError.
void setFromText(const zelta::TypeRef& type, const std::string& expression, const std::string& text,
                 std::span<std::uint8_t> data);

}  // namespace recording
