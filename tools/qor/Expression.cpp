// SPDX-License-Identifier: Apache-2.0

#include "qor/Expression.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "qor/Arguments.h"

namespace qor {
namespace {

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

class Syntax {
 public:
    Syntax(std::string_view text, Slices slices) : text_(text), slices_(slices) {}

    std::string check() {
        do {
            if (!passName()) {
                return fault("a name");
            }
            while (pass('[')) {
                if (const char* const missing = passIndex(); missing != nullptr) {
                    return fault(missing);
                }
            }
        } while (pass('.'));
        return at_ == text_.size() ? "" : fault("\".\", \"[\" or the end");
    }

 private:
    // Up to the closing bracket; null, or what is missing.
    const char* passIndex() {
        const bool number = passDigits();
        if (!number && !(slices_ == Slices::Allowed && text_.substr(at_).starts_with(':'))) {
            return "a number";
        }
        for (int part = 0; part < 2 && slices_ == Slices::Allowed && pass(':'); ++part) {
            passDigits();
        }
        return pass(']') ? nullptr : "\"]\"";
    }

    bool pass(char letter) {
        const bool found = at_ < text_.size() && text_[at_] == letter;
        at_ += found ? 1 : 0;
        return found;
    }

    // The record decides what a name consists of.
    bool passName() {
        const std::size_t start = at_;
        at_ = std::min(text_.find_first_of(".[]", at_), text_.size());
        return at_ > start;
    }

    bool passDigits() {
        const std::size_t start = at_;
        while (at_ < text_.size() && isDigit(text_[at_])) {
            ++at_;
        }
        return at_ > start;
    }

    std::string fault(const char* expected) const {
        const std::string found = at_ == text_.size() ? "it ends" : fmt::format("\"{}\" stands", text_[at_]);
        const std::string place =
            at_ == 0 ? "at its start" : fmt::format("after \"{}\"", text_.substr(0, at_));
        return printable(fmt::format("\"{}\" is no expression: {} {}, where {} should be.", text_, found,
                                     place, expected));
    }

    std::string_view text_;
    Slices slices_;
    std::size_t at_ = 0;
};

}  // namespace

std::string checkSyntax(const std::string& expression, Slices slices) {
    return Syntax(expression, slices).check();
}

}  // namespace qor
