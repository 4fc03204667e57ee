// SPDX-License-Identifier: Apache-2.0
//
// What a user may have meant by an expression that addresses nothing.

#pragma once

#include <span>
#include <string>

#include "zelta_type.h"

namespace qor {

// The member of the records that the text resembles most, with [0] where an index is needed; empty if none is
// near. The name of the member alone is enough.
std::string nearestMember(std::span<const zelta::TypeRef> records, const std::string& text);

// "; did you mean "R.speed"?" or "."
std::string proposal(std::span<const zelta::TypeRef> records, const std::string& text);

}  // namespace qor
