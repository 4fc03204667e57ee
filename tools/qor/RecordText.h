// SPDX-License-Identifier: Apache-2.0
//
// Values of a record as text and as JSON, whatever the record is.

#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "qor/RecordValues.h"
#include "zelta_packet.h"

namespace qor {

// One number or array of numbers.
// NOLINTNEXTLINE(bugprone-exception-escape): what moves and ends a JSON document throws nothing.
struct ShownValue {
    std::string expression;
    std::vector<std::string> rows;  // of text, values separated by blanks; one but for more dimensions
    std::size_t count = 0;          // of numbers
    bool isText = false;            // bytes that are letters
    bool isNamed = false;           // rows hold the names of enumerators
    nlohmann::ordered_json json;    // a number, a text, or arrays of them, as the dimensions are
};

// What an expression addresses, as recordValuesOf finds it.
std::vector<ShownValue> valuesOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                                 Unused unused = Unused::LeftOut);

// The value in one line: long arrays show their first numbers and their count.
std::string abbreviated(const ShownValue& value);

}  // namespace qor
