// SPDX-License-Identifier: Apache-2.0

#include "qor/RecordText.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "qor/Arguments.h"
#include "recording/Record.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"

namespace qor {
namespace {

using zelta::TypeRef;
using zelta::ZeltaChunk;

constexpr std::size_t mostMembers = 100000;
constexpr std::size_t mostShortNumbers = 8;

struct Place {
    zelta::ZeltaTypeID id = zelta::ZeltaStruct;
    unsigned int count = 0;
    std::vector<unsigned int> dimensions;  // that the expression leaves open
};

Place placeOf(const TypeRef& type, const std::string& expression) {
    try {
        Place place;
        unsigned int offset = 0;
        zelta::typeFromExpression(type, expression, offset, place.count);
        zelta::subExpressionType(type, expression, place.id, place.dimensions);
        return place;
    } catch (const zelta::Error&) {
        throw NoSuchExpression(
            fmt::format("\"{}\" addresses nothing in the record {}; qor tree lists its members.", expression,
                        type->name));
    }
}

// Nested arrays after the dimensions; `numbers` is used up from its start.
template <typename T>
nlohmann::ordered_json nested(std::span<const T>& numbers, std::span<const unsigned int> dimensions) {
    if (dimensions.empty()) {
        const T number = numbers.front();
        numbers = numbers.subspan(1);
        return number;
    }
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (unsigned int k = 0; k < dimensions.front(); ++k) {
        array.push_back(nested(numbers, dimensions.subspan(1)));
    }
    return array;
}

// Letters up to a zero, and nothing but zeros behind them.
template <typename T>
std::optional<std::string> lettersOf(const std::vector<T>& numbers) {
    const auto end = std::find(numbers.begin(), numbers.end(), T{0});
    const bool letters = end != numbers.begin() && end != numbers.end() &&
                         std::all_of(numbers.begin(), end, [](T code) { return code >= 32 && code < 127; }) &&
                         std::all_of(end, numbers.end(), [](T code) { return code == 0; });
    return letters ? std::optional(std::string(numbers.begin(), end)) : std::nullopt;
}

template <typename T>
ShownValue shown(const ZeltaChunk& chunk, const TypeRef& type, const std::string& expression,
                 const Place& place) {
    std::vector<T> numbers(place.count);
    try {
        zelta::interpret<T>(zelta::interpreter<T>(type, expression), numbers.data(), place.count, chunk.data,
                            static_cast<unsigned int>(chunk.dataSize));
    } catch (const zelta::Error&) {
        throw recording::RecordError(
            fmt::format("\"{}\" cannot be read: its definition does not fit its data.", expression));
    }
    ShownValue value;
    value.expression = expression;
    value.count = numbers.size();
    if constexpr (std::is_same_v<T, signed char>) {
        if (const std::optional<std::string> letters = lettersOf(numbers)) {
            value.isText = true;
            value.rows = {"\"" + *letters + "\""};
            value.json = *letters;
            return value;
        }
    }
    const std::size_t rowLength =
        place.dimensions.size() < 2 ? std::max<std::size_t>(numbers.size(), 1) : place.dimensions.back();
    for (std::size_t start = 0; start < numbers.size(); start += rowLength) {
        const auto row = std::span(numbers).subspan(start, std::min(rowLength, numbers.size() - start));
        value.rows.push_back(fmt::format("{}", fmt::join(row, " ")));
    }
    std::span<const T> rest = numbers;
    value.json = nested(rest, place.dimensions);
    return value;
}

class Collector {
 public:
    Collector(const ZeltaChunk& chunk, const TypeRef& type) : chunk_(chunk), type_(type) {}

    void collect(const std::string& expression) {
        const Place place = placeOf(type_, expression);
        if (place.count > static_cast<unsigned int>(chunk_.dataSize)) {
            throw recording::RecordError(
                fmt::format("\"{}\" cannot be read: its definition does not fit its data.", expression));
        }
        if (place.id != zelta::ZeltaStruct) {
            add(expression, place);
            return;
        }
        for (const std::string& inner :
             zelta::subExpressions(type_, expression, static_cast<std::size_t>(chunk_.dataSize))) {
            collect(inner);
        }
    }

    std::vector<ShownValue> take() { return std::move(values_); }

 private:
    void add(const std::string& expression, const Place& place) {
        if (values_.size() == mostMembers) {
            throw recording::RecordError(fmt::format("The record has more than {} members.", mostMembers));
        }
        values_.push_back(value(expression, place));
    }

    ShownValue value(const std::string& expression, const Place& place) const {
        switch (place.id) {
            case zelta::ZeltaInt8:
                return shown<signed char>(chunk_, type_, expression, place);
            case zelta::ZeltaInt16:
                return shown<short>(chunk_, type_, expression, place);
            case zelta::ZeltaInt32:
                return shown<int>(chunk_, type_, expression, place);
            case zelta::ZeltaInt64:
                return shown<long long>(chunk_, type_, expression, place);
            case zelta::ZeltaUint8:
                return shown<unsigned char>(chunk_, type_, expression, place);
            case zelta::ZeltaUint16:
                return shown<unsigned short>(chunk_, type_, expression, place);
            case zelta::ZeltaUint32:
                return shown<unsigned int>(chunk_, type_, expression, place);
            case zelta::ZeltaUint64:
                return shown<unsigned long long>(chunk_, type_, expression, place);
            case zelta::ZeltaFloat32:
                return shown<float>(chunk_, type_, expression, place);
            default:
                return shown<double>(chunk_, type_, expression, place);
        }
    }

    const ZeltaChunk& chunk_;
    const TypeRef type_;
    std::vector<ShownValue> values_;
};

}  // namespace

std::vector<ShownValue> valuesOf(const ZeltaChunk& chunk, const std::string& expression) {
    Collector collector(chunk, recording::typeOf(chunk));
    collector.collect(expression);
    return collector.take();
}

std::string abbreviated(const ShownValue& value) {
    if (value.isText || value.count <= mostShortNumbers) {
        return joined(value.rows, "  ");
    }
    std::string_view first = value.rows.empty() ? std::string_view{} : value.rows.front();
    std::size_t end = 0;
    for (std::size_t k = 0; k < mostShortNumbers && end != std::string_view::npos; ++k) {
        end = first.find(' ', end + 1);
    }
    return fmt::format("{} ... {} numbers", first.substr(0, end), value.count);
}

}  // namespace qor
