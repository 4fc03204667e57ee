// SPDX-License-Identifier: Apache-2.0
// How the sources of expressions, plans and interpreters report what is wrong. In error texts
// all of them go by one file name.
#pragma once

#include <string>

#include "zelta_error.h"
#include "zelta_type.h"

namespace zelta {

using Tag = InterpretError::InterpretErrorTag;
inline constexpr Tag TagUnknown = InterpretError::TagUnknown;
inline constexpr Tag TagNullPointer = InterpretError::TagNullPointer;
inline constexpr Tag TagExpression = InterpretError::TagExpression;
inline constexpr Tag TagSizeMismatch = InterpretError::TagSizeMismatch;

[[noreturn]] inline void interpretError(Tag tag, const std::string& message = "",
                                        int line = __builtin_LINE()) {
    throw InterpretError("core/app-specific/zelta_interpret", line, tag, message);
}

inline void requireType(const TypeRef& type, const char* message = "", int line = __builtin_LINE()) {
    if (!type) {
        interpretError(TagNullPointer, message, line);
    }
}

}  // namespace zelta
