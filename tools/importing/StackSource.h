// SPDX-License-Identifier: Apache-2.0
//
// From the files that a user names to a stack of raw images.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "arrays/ArrayFile.h"
#include "importing/PhaseStack.h"

namespace importing {

struct StackRequest {
    std::vector<std::string> files;           // or one pattern, such as shot_{frame}_{phase}.png
    std::vector<std::string> arrays;          // names in an archive
    std::optional<std::vector<Axis>> axes;    // of each array; else what its dimensions allow
    std::optional<arrays::RawFormat> format;  // of files without a header
    std::size_t frequencies = 1;
    std::size_t exposures = 1;
};

struct StackSource {
    PhaseStack stack;
    std::vector<std::string> assumptions;  // sentences
};

// Throws ImportError or arrays::ArrayError, with a sentence.
StackSource readStack(const StackRequest& request);

}  // namespace importing
