// SPDX-License-Identifier: Apache-2.0
//
// Whether a run was good.

#pragma once

#include "qor/Complaints.h"
#include "qor/RunReport.h"

namespace qor {

// What is wrong with a run, in the order in which it is told: first what its packets met.
Complaints complaintsOf(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products);

}  // namespace qor
