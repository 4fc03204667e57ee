// SPDX-License-Identifier: Apache-2.0
//
// Grey images of 8 or 16 bits.

#pragma once

#include <filesystem>

#include "arrays/Array.h"

namespace arrays {

// The values as they are stored, rows first: nothing is scaled and no gamma is applied. Throws ArrayError,
// with a sentence that names the file, for what is no grey PNG of 8 or 16 bits.
Array readPng(const std::filesystem::path& path);

}  // namespace arrays
