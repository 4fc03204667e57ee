// SPDX-License-Identifier: Apache-2.0
//
// What was reported to the error history, as text: "MultiFreq 93" for a report of line 93. A history cuts
// names at 19 characters.
#pragma once

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

    std::vector<std::string> all() const {
        std::vector<std::string> texts;
        for (int32_t i = 0; i < history_->numValidEntries; ++i) {
            const ALErrorDescription& entry = history_->entries[i];
            texts.push_back(std::string(entry.file) + " " + std::to_string(entry.line));
        }
        return texts;
    }

 private:
    std::unique_ptr<ALErrorHistory> history_ = std::make_unique<ALErrorHistory>();
};

using Lines = std::vector<std::string>;

}  // namespace testing_support
