// SPDX-License-Identifier: Apache-2.0

#include "qor/Condition.h"

#include <array>
#include <charconv>
#include <cmath>
#include <span>
#include <string_view>
#include <system_error>

#include "qor/Expression.h"
#include "qor/Nearest.h"
#include "recording/Enumerators.h"
#include "recording/Record.h"

namespace qor {
namespace {

struct Sign {
    std::string_view text;
    Comparison comparison;
};

// Those of two letters come first.
constexpr std::array signs{Sign{"==", Comparison::Equal},       Sign{"!=", Comparison::NotEqual},
                           Sign{"<=", Comparison::LessOrEqual}, Sign{">=", Comparison::GreaterOrEqual},
                           Sign{"<", Comparison::Less},         Sign{">", Comparison::Greater}};

std::string_view trimmed(std::string_view text) {
    const std::size_t start = text.find_first_not_of(' ');
    return start == std::string_view::npos ? std::string_view{}
                                           : text.substr(start, text.find_last_not_of(' ') - start + 1);
}

std::optional<double> numberIn(const std::string& text) {
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() && !std::isnan(number)
               ? std::optional(number)
               : std::nullopt;
}

std::optional<zelta::TypeRef> typeNamed(const zelta::ZeltaChunk& chunk, const std::string& name) {
    try {
        const zelta::TypeRef type = recording::typeOf(chunk);
        return type->name == name ? std::optional(type) : std::nullopt;
    } catch (const recording::RecordError&) {
        return std::nullopt;  // it has no name
    }
}

}  // namespace

std::string Condition::recordName() const {
    return expression.substr(0, expression.find_first_of(".["));
}

bool Condition::isMetBy(double number) const {
    switch (comparison) {
        case Comparison::Equal:
            return number == value;
        case Comparison::NotEqual:
            return number != value;
        case Comparison::Less:
            return number < value;
        case Comparison::LessOrEqual:
            return number <= value;
        case Comparison::Greater:
            return number > value;
        case Comparison::GreaterOrEqual:
            return number >= value;
    }
    return false;
}

std::optional<Condition> readCondition(const std::string& text) {
    const std::size_t place = text.find_first_of("=!<>");
    if (place == std::string::npos) {
        return std::nullopt;
    }
    const std::string_view rest = std::string_view(text).substr(place);
    for (const Sign& sign : signs) {
        if (!rest.starts_with(sign.text)) {
            continue;
        }
        Condition condition;
        condition.expression = std::string(trimmed(std::string_view(text).substr(0, place)));
        condition.comparison = sign.comparison;
        try {
            const auto value = numberIn(
                recording::withNumbers(condition.expression, trimmed(rest.substr(sign.text.size()))));
            if (!value || !checkSyntax(condition.expression).empty()) {
                return std::nullopt;
            }
            condition.value = *value;
            return condition;
        } catch (const recording::RecordError&) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::string checkCondition(const std::string& text) {
    return readCondition(text) ? ""
                               : "\"" + text +
                                     "\" is no condition; write for example "
                                     "\"QorDistanceImageIFInput.phaseInfo.exposureTime >= 500\"";
}

std::optional<bool> isMetIn(const zelta::Packet& packet, const Condition& condition) {
    for (const zelta::ZeltaChunk& chunk : packet) {
        const auto type = typeNamed(chunk, condition.recordName());
        if (!type) {
            continue;
        }
        unsigned int count = 0;
        try {
            count = recording::countOf(*type, condition.expression);
        } catch (const recording::RecordError&) {
            throw recording::RecordError("\"" + condition.expression + "\" addresses nothing in this record" +
                                         proposal(std::span(&*type, 1), condition.expression));
        }
        if (count != 1) {
            throw recording::RecordError("\"" + condition.expression + "\" has " + std::to_string(count) +
                                         " elements; a condition is about one.");
        }
        return condition.isMetBy(recording::numberOf(chunk, condition.expression));
    }
    return std::nullopt;
}

}  // namespace qor
