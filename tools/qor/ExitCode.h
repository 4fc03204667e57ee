// SPDX-License-Identifier: Apache-2.0
//
// What the command tells its caller.

#pragma once

namespace qor {

enum ExitCode : int {
    Good = 0,
    Findings = 1,  // the work was done, and something was found that should not be
    Usage = 2,     // the command line asks for something impossible
    BadData = 3,   // data that could not be processed, or a file that could not be read or written
};

}  // namespace qor
