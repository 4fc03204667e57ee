// SPDX-License-Identifier: Apache-2.0
//
// Conditions on members of records, such as "QorDistanceImageIFInput.phaseInfo.exposureTime >= 500".

#pragma once

#include <optional>
#include <string>

#include "zelta_packet.h"

namespace qor {

enum class Comparison { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };

struct Condition {
    std::string expression;
    Comparison comparison = Comparison::Equal;
    double value = 0.0;

    std::string recordName() const;
    bool isMetBy(double number) const;
};

// "EXPRESSION OPERATOR VALUE" with ==, !=, <, <=, > or >=; the value is a number or the name of one. None for
// anything else.
std::optional<Condition> readCondition(const std::string& text);

std::string checkCondition(const std::string& text);

// Whether the first record of that name in the packet meets the condition; none if the packet has no such
// record. Throws recording::RecordError if the record does not have the member, or as more than one number.
std::optional<bool> isMetIn(const zelta::Packet& packet, const Condition& condition);

}  // namespace qor
