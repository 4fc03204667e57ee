// SPDX-License-Identifier: Apache-2.0
//
// Numbers of a record by expression, whatever the record is.

#pragma once

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "zelta_packet.h"

namespace qor {

// An expression that the record does not have.
class NoSuchExpression : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// One number or array of numbers, in the type that the record has for it.
struct RecordValue {
    std::string expression;
    std::variant<std::vector<signed char>, std::vector<short>, std::vector<int>, std::vector<long long>,
                 std::vector<unsigned char>, std::vector<unsigned short>, std::vector<unsigned int>,
                 std::vector<unsigned long long>, std::vector<float>, std::vector<double>>
        numbers;
    std::vector<unsigned int> dimensions;  // none for a single number
};

enum class Unused { LeftOut, Shown };

// What an expression addresses: one value, or for a structure all that is in it. Indices may be slices. In a
// structure, some arrays have a member beside them that counts their elements in use, such as regions of
// interest; only those elements are taken, unless all are wanted. Throws NoSuchExpression;
// recording::RecordError if the record is damaged or has more than a hundred thousand members.
std::vector<RecordValue> recordValuesOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                                        Unused unused = Unused::LeftOut);

}  // namespace qor
