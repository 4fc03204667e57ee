// SPDX-License-Identifier: Apache-2.0
//
// Which of some names a user may have meant.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace texts {

// ASCII letters become small.
std::string small(std::string_view text);

// The number of letters to insert, remove or change to turn one text into the other.
std::size_t editsBetween(std::string_view left, std::string_view right);

// So many edits and more are too many for a text of this length.
std::size_t tooManyEdits(std::size_t length);

// The name that resembles the text most, large or small letters alike; empty if none is near.
std::string nearestOf(std::span<const std::string> names, const std::string& text);

}  // namespace texts
