// SPDX-License-Identifier: Apache-2.0
//
// What a command has to say about things that should not be: sentences on standard error and in the JSON
// document, and the exit code that they make.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qor {

// More sentences of one kind than this help nobody.
inline constexpr std::size_t mostSentences = 20;

// Says one sentence, or as many as there are lines. Gives the exit code back.
int complain(const std::string& command, int exitCode, const std::string& sentence);

// Ends a command without its report: says why, and makes the document of it if one is wanted.
int giveUp(const std::string& command, bool json, int exitCode, const std::string& sentence);

// Sentences in the order in which they are told.
class Complaints {
 public:
    explicit Complaints(std::string command) : command_(std::move(command)) {}

    void add(int exitCode, std::string sentence);

    bool empty() const { return sentences_.empty(); }
    const std::vector<std::string>& sentences() const { return sentences_; }

    // The worst of all; good if there are none.
    int exitCode() const { return exitCode_; }

    // Says the sentences from number `first` on, and gives the exit code of all.
    int tell(std::size_t first = 0) const;

 private:
    std::string command_;
    std::vector<std::string> sentences_;
    int exitCode_ = 0;
};

}  // namespace qor
