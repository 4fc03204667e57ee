// SPDX-License-Identifier: Apache-2.0
//
// What was reported to the error history. A history cuts names at 19 characters.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ALErrorHandling.h"

namespace testing_support {

/** The reports since construction or the last clear(), innermost first. */
class Reports {
 public:
    Reports() { clear(); }
    ~Reports() { ErrorHandling_Init(nullptr, ALERR_HT_PER_FRAME_HISTORY, 0); }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    void clear() { ErrorHandling_Init(history_.get(), ALERR_HT_PER_FRAME_HISTORY, 1); }

    int32_t count() const { return history_->numValidEntries; }

    // Of one report; empty or 0 where there are fewer.

    std::string file(int32_t report = 0) const { return report < count() ? entry(report).file : ""; }
    int32_t line(int32_t report = 0) const { return report < count() ? entry(report).line : 0; }
    /** As the history holds it: without a message of its own a report names its place, "ERR@file:line". */
    std::string text(int32_t report = 0) const { return report < count() ? entry(report).errorMsg : ""; }
    /** Empty for a report without a message of its own. */
    std::string message(int32_t report = 0) const {
        const std::string whole = text(report);
        return whole.rfind("ERR@", 0) == 0 ? "" : whole;
    }

    // Of all reports.

    /** File and line: "MultiFreq 93". */
    std::vector<std::string> all() const {
        std::vector<std::string> places;
        for (int32_t i = 0; i < count(); ++i) {
            places.push_back(file(i) + " " + std::to_string(line(i)));
        }
        return places;
    }
    std::vector<int32_t> lines() const {
        std::vector<int32_t> numbers;
        for (int32_t i = 0; i < count(); ++i) {
            numbers.push_back(line(i));
        }
        return numbers;
    }

 private:
    const ALErrorDescription& entry(int32_t report) const { return history_->entries[report]; }

    std::unique_ptr<ALErrorHistory> history_ = std::make_unique<ALErrorHistory>();
};

using Lines = std::vector<std::string>;

}  // namespace testing_support
