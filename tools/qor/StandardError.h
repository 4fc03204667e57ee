// SPDX-License-Identifier: Apache-2.0
//
// Sentences on standard error. If nobody can read them, the work continues all the same.

#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <utility>

#include "qor/Reception.h"

namespace qor {

// Prints as fmt::print does, but throws nothing where standard error is full or closed.
template <typename... Arguments>
void printError(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    const std::string text = fmt::format(format, std::forward<Arguments>(arguments)...);
    if (Reception* const reception = currentReception()) {
        reception->errors += text;
        return;
    }
    std::fputs(text.c_str(), stderr);
}

}  // namespace qor
