// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>

namespace importing {

// Raw phases that cannot become a recording, told in a sentence that says what to do.
class ImportError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace importing
