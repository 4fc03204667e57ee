// SPDX-License-Identifier: Apache-2.0
//
// What qor run reports at its end, as text and as JSON.

#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "qor/Complaints.h"
#include "qor/Expectation.h"
#include "qor/Replay.h"
#include "qor/RunOptions.h"
#include "qor/RunProducts.h"

namespace qor {

struct RunOutcome {
    std::optional<ExpectedOutput> expected;  // none if the number of frames is unknown
    ReplayCounts counts;
    double seconds = 0.0;
    std::string pluginName;
    std::string pluginVersion;
    std::filesystem::path pluginPath;
    std::filesystem::path results;
    std::vector<std::filesystem::path> notes;  // the settings and the list of the files
    std::vector<std::string> troubles;
};

// Before the first frame: how large the result will be.
void printExpectation(const RunOptions& options, const RunOutcome& outcome);

void printRun(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products);

nlohmann::ordered_json runJson(const RunOptions& options, const RunOutcome& outcome,
                               const RunProducts& products, const Complaints& complaints);

}  // namespace qor
