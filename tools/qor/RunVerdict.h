// SPDX-License-Identifier: Apache-2.0
//
// Whether a run was good.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qor/RunReport.h"

namespace qor {

// More sentences about packets than this help nobody.
inline constexpr std::size_t mostSentences = 20;

// Says on standard error what is wrong.
void complainOfRun(const std::string& sentence);

// What is wrong with a run, in the order in which it is told: first what its packets met.
std::vector<RunFinding> findingsOf(const RunOptions& options, const RunOutcome& outcome,
                                   const RunProducts& products);

// Says the findings from number `told` on, and gives the exit code of all.
int conclude(const std::vector<RunFinding>& findings, std::size_t told);

}  // namespace qor
