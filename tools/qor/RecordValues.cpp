// SPDX-License-Identifier: Apache-2.0

#include "qor/RecordValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "qor/Arguments.h"
#include "qor/Nearest.h"
#include "qor/Slice.h"
#include "recording/Record.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"

namespace qor {
namespace {

using zelta::TypeRef;
using zelta::ZeltaChunk;

constexpr std::size_t mostMembers = 100000;

struct Place {
    zelta::ZeltaTypeID id = zelta::ZeltaStruct;
    unsigned int count = 0;
    std::vector<unsigned int> dimensions;  // those that the expression leaves open
};

NoSuchExpression noSuchExpression(const TypeRef& type, const std::string& expression) {
    const std::string nearest = nearestMember(std::span(&type, 1), expression);
    const std::string hint = nearest.empty() ? "" : fmt::format(" Did you mean \"{}\"?", printable(nearest));
    return NoSuchExpression(
        fmt::format("\"{}\" addresses nothing in the record {}; qor tree lists its members.{}", expression,
                    type->name, hint));
}

Place placeOf(const TypeRef& type, const std::string& expression) {
    try {
        Place place;
        unsigned int offset = 0;
        zelta::typeFromExpression(type, expression, offset, place.count);
        zelta::subExpressionType(type, expression, place.id, place.dimensions);
        return place;
    } catch (const zelta::Error&) {
        throw noSuchExpression(type, expression);
    }
}

// Arrays whose elements in use are counted by a member beside them.
struct CountedArray {
    std::string_view array;
    std::string_view count;
};

constexpr std::array countedArrays{
    CountedArray{"ROIs", "noROIs"},
    CountedArray{"points2D", "noPoints"},
    CountedArray{"badPixelIdx", "numBadPixel"},
    CountedArray{"frequencies", "numberOfFrequencies"},
    CountedArray{"freqDependent", "numberOfFrequencies"},
    CountedArray{"frequencyHoppingTable", "frequencyHoppingTableLength"},
};

std::string_view lastName(std::string_view expression) {
    const std::size_t dot = expression.rfind('.');
    return dot == std::string_view::npos ? expression : expression.substr(dot + 1);
}

template <typename T>
std::vector<T> numbersIn(const ZeltaChunk& chunk, const TypeRef& type, const std::string& expression,
                         std::size_t count) {
    std::vector<T> numbers(count);
    try {
        zelta::interpret<T>(zelta::interpreter<T>(type, expression), numbers.data(),
                            static_cast<unsigned int>(count), chunk.data,
                            static_cast<unsigned int>(chunk.dataSize));
    } catch (const zelta::Error&) {
        throw recording::RecordError(
            fmt::format("\"{}\" cannot be read: its definition does not fit its data.", expression));
    }
    return numbers;
}

class Collector {
 public:
    Collector(const ZeltaChunk& chunk, const TypeRef& type, Unused unused)
        : chunk_(chunk), type_(type), unused_(unused) {}

    void collect(const std::string& expression) {
        if (hasSlice(expression)) {
            collectSlice(expression);
            return;
        }
        const Place place = checkedPlaceOf(expression);
        if (place.id != zelta::ZeltaStruct) {
            add(value(expression, expression, place, nullptr));
            return;
        }
        const auto inner =
            zelta::subExpressions(type_, expression, static_cast<std::size_t>(chunk_.dataSize));
        for (const std::string& member : inner) {
            collectMember(member, inner);
        }
    }

    std::vector<RecordValue> take() { return std::move(values_); }

 private:
    Place checkedPlaceOf(const std::string& expression) const {
        Place place = placeOf(type_, expression);
        if (place.count > static_cast<unsigned int>(chunk_.dataSize)) {
            throw recording::RecordError(
                fmt::format("\"{}\" cannot be read: its definition does not fit its data.", expression));
        }
        return place;
    }

    // A member of a structure, or an element of an array; `all` are those beside it.
    void collectMember(const std::string& expression, const std::vector<std::string>& all) {
        const std::optional<unsigned int> used =
            unused_ == Unused::Shown ? std::nullopt : usedElements(expression, all);
        if (!used) {
            collect(expression);
            return;
        }
        const Place place = checkedPlaceOf(expression);
        if (place.id == zelta::ZeltaStruct) {
            for (unsigned int k = 0; k < *used; ++k) {
                collect(recording::element(expression, k));
            }
        } else if (*used > 0) {
            const Selection first = selectionOf({fmt::format(":{}", *used)}, place.dimensions);
            add(value(expression, expression, place, &first));
        }
    }

    // None if all are in use, or if no member tells.
    std::optional<unsigned int> usedElements(const std::string& expression,
                                             const std::vector<std::string>& all) const {
        for (const CountedArray& counted : countedArrays) {
            if (lastName(expression) != counted.array) {
                continue;
            }
            const std::string counter =
                expression.substr(0, expression.size() - counted.array.size()) + std::string(counted.count);
            if (std::find(all.begin(), all.end(), counter) == all.end()) {
                continue;
            }
            const Place place = placeOf(type_, expression);
            if (place.dimensions.empty() || placeOf(type_, counter).count != 1) {
                return std::nullopt;
            }
            const double count = recording::numberOf(chunk_, counter);
            const bool some = count >= 0.0 && count < static_cast<double>(place.dimensions.front());
            return some ? std::optional(static_cast<unsigned int>(count)) : std::nullopt;
        }
        return std::nullopt;
    }

    void collectSlice(const std::string& expression) {
        const SlicedExpression cut = cutAtSlice(expression);
        const Place array = checkedPlaceOf(cut.array);
        const Selection selection = selectionOf(cut.indices, array.dimensions);
        if (std::any_of(selection.taken.begin(), selection.taken.end(),
                        [](const auto& taken) { return taken.empty(); })) {
            throw noSuchExpression(type_, expression);
        }
        if (array.id != zelta::ZeltaStruct && cut.rest.empty()) {
            add(value(expression, cut.array, array, &selection));
            return;
        }
        collectElements(cut.array, selection, 0, cut.rest);
    }

    void collectElements(const std::string& array, const Selection& selection, std::size_t dimension,
                         const std::string& rest) {
        if (dimension == selection.taken.size()) {
            collect(array + rest);
            return;
        }
        for (const unsigned int index : selection.taken[dimension]) {
            collectElements(recording::element(array, index), selection, dimension + 1, rest);
        }
    }

    void add(RecordValue value) {
        if (values_.size() == mostMembers) {
            throw recording::RecordError(fmt::format("The record has more than {} members.", mostMembers));
        }
        values_.push_back(std::move(value));
    }

    // Of the whole array that `source` addresses, or of what is selected from it.
    template <typename T>
    RecordValue read(const std::string& expression, const std::string& source, const Place& place,
                     const Selection* selection) const {
        std::vector<T> numbers = numbersIn<T>(chunk_, type_, source, place.count);
        if (selection == nullptr) {
            return {expression, std::move(numbers), place.dimensions};
        }
        std::vector<T> selected;
        for (const std::size_t position : selection->positions(place.dimensions)) {
            selected.push_back(numbers[position]);
        }
        return {expression, std::move(selected), selection->dimensions};
    }

    RecordValue value(const std::string& expression, const std::string& source, const Place& place,
                      const Selection* selection) const {
        switch (place.id) {
            case zelta::ZeltaInt8:
                return read<signed char>(expression, source, place, selection);
            case zelta::ZeltaInt16:
                return read<short>(expression, source, place, selection);
            case zelta::ZeltaInt32:
                return read<int>(expression, source, place, selection);
            case zelta::ZeltaInt64:
                return read<long long>(expression, source, place, selection);
            case zelta::ZeltaUint8:
                return read<unsigned char>(expression, source, place, selection);
            case zelta::ZeltaUint16:
                return read<unsigned short>(expression, source, place, selection);
            case zelta::ZeltaUint32:
                return read<unsigned int>(expression, source, place, selection);
            case zelta::ZeltaUint64:
                return read<unsigned long long>(expression, source, place, selection);
            case zelta::ZeltaFloat32:
                return read<float>(expression, source, place, selection);
            default:
                return read<double>(expression, source, place, selection);
        }
    }

    const ZeltaChunk& chunk_;
    const TypeRef type_;
    const Unused unused_;
    std::vector<RecordValue> values_;
};

}  // namespace

std::vector<RecordValue> recordValuesOf(const ZeltaChunk& chunk, const std::string& expression,
                                        Unused unused) {
    Collector collector(chunk, recording::typeOf(chunk), unused);
    collector.collect(expression);
    return collector.take();
}

}  // namespace qor
