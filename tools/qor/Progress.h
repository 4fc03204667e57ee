// SPDX-License-Identifier: Apache-2.0
//
// How far the work is: a bar on a terminal, a plain line every few seconds elsewhere.

#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace qor {

// `share` of the work that is done, 0 to 1; below 0 if nobody knows how much there is.
std::string progressBar(const std::string& what, double share, std::size_t frames, double seconds);
std::string progressLine(const std::string& what, double share, std::size_t frames, double seconds);

class Progress {
 public:
    // Writes to standard error, or nothing at all if `quiet`.
    Progress(std::string what, bool quiet);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(double share, std::size_t frames);

    // Removes the bar from the terminal, so that other texts can be written.
    void clear();

    double seconds() const;  // since the start

 private:
    using Clock = std::chrono::steady_clock;

    std::string what_;
    bool quiet_;
    bool terminal_;
    bool drawn_ = false;
    Clock::time_point start_;
    Clock::time_point last_;
};

}  // namespace qor
