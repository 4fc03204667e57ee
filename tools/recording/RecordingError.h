// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>

namespace recording {

// A recording that cannot be opened, read or written, told in a sentence that names the file; if it is cut
// off or damaged, the sentence tells the byte offset as well.
class RecordingError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace recording
