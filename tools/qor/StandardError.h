// SPDX-License-Identifier: Apache-2.0
//
// Sentences on standard error. If nobody can read them, the work continues all the same.

#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <utility>

namespace qor {

// Prints as fmt::print does, but throws nothing where standard error is full or closed.
template <typename... Arguments>
void printError(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    std::fputs(fmt::format(format, std::forward<Arguments>(arguments)...).c_str(), stderr);
}

}  // namespace qor
