// SPDX-License-Identifier: Apache-2.0

#include "qor/Complaints.h"

#include <algorithm>
#include <string_view>

#include "qor/Arguments.h"
#include "qor/StandardError.h"

namespace qor {

int complain(const std::string& command, int exitCode, const std::string& sentence) {
    std::string_view rest = sentence;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        printError("qor {}: {}\n", command, printable(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return exitCode;
}

int giveUp(const std::string& command, bool json, int exitCode, const std::string& sentence) {
    if (json) {
        printJsonError(command, sentence);
    }
    return complain(command, exitCode, sentence);
}

void Complaints::add(int exitCode, std::string sentence) {
    sentences_.push_back(std::move(sentence));
    exitCode_ = std::max(exitCode_, exitCode);
}

int Complaints::tell(std::size_t first) const {
    for (std::size_t k = first; k < sentences_.size(); ++k) {
        complain(command_, exitCode_, sentences_[k]);
    }
    return exitCode_;
}

}  // namespace qor
