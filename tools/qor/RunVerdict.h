// SPDX-License-Identifier: Apache-2.0
//
// Whether a run was good.

#pragma once

#include <cstddef>
#include <string>

#include "qor/RunReport.h"

namespace qor {

// More than so many sentences about packets help nobody.
inline constexpr std::size_t mostSentences = 20;

// Says on standard error what is wrong.
void complainOfRun(const std::string& sentence);

// What is wrong is said, and makes the exit code that is returned.
int judgeRun(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products);

}  // namespace qor
