// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>

namespace calibrating {

// A calibration that cannot be used or made, told in sentences, one a line.
class CalibrationError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace calibrating
