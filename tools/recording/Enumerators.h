// SPDX-License-Identifier: Apache-2.0
//
// Names of the values that members of the algorithm's records take. The definitions that travel with records
// hold numbers only; this is the one place that knows the names.

#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace recording {

struct Enumerator {
    int value = 0;
    std::string_view name;      // as users write and read it
    std::string_view fullName;  // as the records declare it
};

// The values of the member that an expression addresses, in the order of their numbers; empty for a member
// whose values are plain numbers. Indices do not matter.
std::span<const Enumerator> enumeratorsOf(std::string_view expression);

// The name of one value; none for a number that has no name.
std::optional<std::string_view> enumeratorName(std::string_view expression, long long value);

// Whether the member that an expression addresses is a switch, 0 or 1. Indices do not matter.
bool isSwitch(std::string_view expression);

// Values as users write them, separated by commas, with numbers in place of names: "median" becomes "1", for
// a switch "true" and "on" become "1", "false" and "off" become "0". Names are taken in capital or small
// letters. Throws RecordError for a name that the member does not have.
std::string withNumbers(std::string_view expression, std::string_view values);

}  // namespace recording
