// SPDX-License-Identifier: Apache-2.0
//
// Texts as pages and diagrams hold them.

#pragma once

#include <string>
#include <string_view>

namespace texts {

// With the letters that mean something in HTML and SVG replaced, also for attributes.
std::string escaped(std::string_view text);

}  // namespace texts
