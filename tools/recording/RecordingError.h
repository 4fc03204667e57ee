// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>

namespace recording {

// A sentence about a recording that cannot be opened, read or written. It names the file and, for a recording
// that is cut off or damaged, the byte offset as well.
class RecordingError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace recording
