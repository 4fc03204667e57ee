// SPDX-License-Identifier: Apache-2.0

#include "qor/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "qor/Arguments.h"
#include "qor/StandardError.h"

namespace qor {
namespace {

constexpr int barWidth = 30;
constexpr std::chrono::milliseconds betweenBars{100};
constexpr std::chrono::seconds betweenLines{5};

std::string rateText(std::size_t frames, double seconds) {
    return seconds > 0.0 ? fmt::format("{:.1f} frames/s", static_cast<double>(frames) / seconds)
                         : "- frames/s";
}

// "0:07", "12:34" or "1:02:03".
std::string leftText(double share, double seconds) {
    const double left = std::min(std::ceil(seconds / share * (1.0 - share)), 359999.0);
    const auto whole = static_cast<long>(left);
    const long hours = whole / 3600;
    const std::string clock = hours > 0 ? fmt::format("{}:{:02}:{:02}", hours, whole / 60 % 60, whole % 60)
                                        : fmt::format("{}:{:02}", whole / 60, whole % 60);
    return clock + " left";
}

int percent(double share) {
    return static_cast<int>(100.0 * std::clamp(share, 0.0, 1.0));
}

}  // namespace

std::string progressBar(const std::string& what, double share, std::size_t frames, double seconds) {
    if (share < 0.0) {
        return fmt::format("{}  {}  {}", what, counted(frames, "frame"), rateText(frames, seconds));
    }
    const int filled = percent(share) * barWidth / 100;
    std::string text = fmt::format("{}  [{:#<{}}{:.<{}}] {:3} %  {}", what, "", filled, "", barWidth - filled,
                                   percent(share), rateText(frames, seconds));
    if (share > 0.0 && share < 1.0) {
        text += "  " + leftText(share, seconds);
    }
    return text;
}

std::string progressLine(const std::string& what, double share, std::size_t frames, double seconds) {
    std::string text = what + ": ";
    if (share >= 0.0) {
        text += fmt::format("{} %, ", percent(share));
    }
    text += fmt::format("{}, {}", counted(frames, "frame"), rateText(frames, seconds));
    if (share > 0.0 && share < 1.0) {
        text += ", " + leftText(share, seconds);
    }
    return text;
}

Progress::Progress(std::string what, bool quiet)
    : what_(std::move(what)),
      quiet_(quiet),
      terminal_(isatty(STDERR_FILENO) == 1),
      start_(Clock::now()),
      last_(start_) {}

Progress::~Progress() {
    clear();
}

void Progress::update(double share, std::size_t frames) {
    if (quiet_) {
        return;
    }
    const Clock::time_point now = Clock::now();
    const bool due = terminal_ ? now - last_ >= betweenBars : now - last_ >= betweenLines;
    if (!due) {
        return;
    }
    last_ = now;
    if (terminal_) {
        printError("\r{}\x1b[K", progressBar(what_, share, frames, seconds()));
        drawn_ = true;
    } else {
        printError("{}\n", progressLine(what_, share, frames, seconds()));
    }
    std::fflush(stderr);
}

void Progress::clear() {
    if (drawn_) {
        printError("\r\x1b[K");
        std::fflush(stderr);
        drawn_ = false;
    }
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

}  // namespace qor
