// SPDX-License-Identifier: Apache-2.0

#include "qor/FrameSelection.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace qor {
namespace {

// An empty text leaves the value as it is.
bool readNumber(std::string_view text, std::size_t& value) {
    if (text.empty()) {
        return true;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

std::optional<FrameSelection> readFrameSelection(const std::string& text) {
    FrameSelection selection;
    const std::string_view all = text;
    const std::size_t first = all.find(':');
    if (first == std::string_view::npos) {
        if (text.empty() || !readNumber(all, selection.from) || selection.from == selection.end) {
            return std::nullopt;
        }
        selection.end = selection.from + 1;
        return selection;
    }
    const std::string_view rest = all.substr(first + 1);
    const std::size_t second = rest.find(':');
    const bool good =
        readNumber(all.substr(0, first), selection.from) &&
        readNumber(rest.substr(0, second), selection.end) &&
        (second == std::string_view::npos || readNumber(rest.substr(second + 1), selection.step));
    if (!good || selection.from >= selection.end || selection.step == 0) {
        return std::nullopt;
    }
    return selection;
}

std::string checkFrameSelection(const std::string& text) {
    return readFrameSelection(text)
               ? ""
               : "\"" + text + "\" selects no frames; write A:B:STEP, for example 10:50:2, or one number";
}

}  // namespace qor
