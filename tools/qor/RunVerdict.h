// SPDX-License-Identifier: Apache-2.0
//
// Whether a run was good.

#pragma once

#include <cstddef>
#include <string>

#include "qor/RunReport.h"

namespace qor {

// More sentences about packets than this help nobody.
inline constexpr std::size_t mostSentences = 20;

// Says on standard error what is wrong.
void complainOfRun(const std::string& sentence);

// Says what is wrong, and returns the exit code for it.
int judgeRun(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products);

}  // namespace qor
