// SPDX-License-Identifier: Apache-2.0

#include "qor/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>
#include <type_traits>
#include <variant>

#include "qor/Expression.h"
#include "recording/Record.h"
#include "zelta_error.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"

namespace qor {
namespace {

using zelta::TypeRef;
using zelta::ZeltaChunk;
using zelta::ZeltaTypeID;

// What a record holds of a member: whole numbers in the widest type of their sign.
using Numbers = std::variant<std::vector<std::int64_t>, std::vector<std::uint64_t>, std::vector<float>,
                             std::vector<double>>;

struct Distance {
    double difference = 0.0;  // NaN if one of the two is
    std::optional<std::uint64_t> lastPlaces;
};

// "R.list[3].x[2]" becomes "R.list.x".
std::string withoutIndices(const std::string& expression) {
    std::string name;
    bool inside = false;
    for (const char letter : expression) {
        inside = letter == '[' || (inside && letter != ']');
        if (!inside && letter != ']') {
            name += letter;
        }
    }
    return name;
}

// Whether a member is what the name names, or in it.
bool names(const std::string& name, const std::string& member) {
    return member == name || member.starts_with(name + ".");
}

template <typename Read, typename Kept>
std::vector<Kept> read(const ZeltaChunk& chunk, const TypeRef& type, const std::string& expression,
                       unsigned int count) {
    std::vector<Read> numbers(count);
    zelta::interpret<Read>(zelta::interpreter<Read>(type, expression), numbers.data(), count, chunk.data,
                           static_cast<unsigned int>(chunk.dataSize));
    return {numbers.begin(), numbers.end()};
}

Numbers numbersIn(const ZeltaChunk& chunk, const TypeRef& type, const std::string& expression,
                  ZeltaTypeID kind, unsigned int count) {
    using std::int64_t;
    using std::uint64_t;
    switch (kind) {
        case zelta::ZeltaInt8:
            return read<signed char, int64_t>(chunk, type, expression, count);
        case zelta::ZeltaInt16:
            return read<short, int64_t>(chunk, type, expression, count);
        case zelta::ZeltaInt32:
            return read<int, int64_t>(chunk, type, expression, count);
        case zelta::ZeltaInt64:
            return read<long long, int64_t>(chunk, type, expression, count);
        case zelta::ZeltaUint8:
            return read<unsigned char, uint64_t>(chunk, type, expression, count);
        case zelta::ZeltaUint16:
            return read<unsigned short, uint64_t>(chunk, type, expression, count);
        case zelta::ZeltaUint32:
            return read<unsigned int, uint64_t>(chunk, type, expression, count);
        case zelta::ZeltaUint64:
            return read<unsigned long long, uint64_t>(chunk, type, expression, count);
        case zelta::ZeltaFloat32:
            return read<float, float>(chunk, type, expression, count);
        default:
            return read<double, double>(chunk, type, expression, count);
    }
}

// The place of a number in the order of all numbers of its size; 0 and -0 have the same.
template <typename Float>
std::int64_t placeOf(Float number) {
    using Bits = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;
    constexpr Bits sign = Bits{1} << (8 * sizeof(Float) - 1);
    const auto bits = std::bit_cast<Bits>(number);
    const auto magnitude = static_cast<std::int64_t>(bits & ~sign);
    return (bits & sign) != 0 ? -magnitude : magnitude;
}

template <typename Float>
bool areEqualFloats(Float a, Float b, const ComparisonRules& rules) {
    if (std::isnan(a) && std::isnan(b)) {
        return !rules.nanDiffers;
    }
    return a == b && (!rules.zeroSigns || std::signbit(a) == std::signbit(b));
}

template <typename A, typename B>
bool areEqual(A a, B b, const ComparisonRules& rules) {
    if constexpr (std::is_integral_v<A> && std::is_integral_v<B>) {
        return std::cmp_equal(a, b);
    } else if constexpr (std::is_same_v<A, B>) {
        return areEqualFloats(a, b, rules);
    } else {
        return areEqualFloats(static_cast<double>(a), static_cast<double>(b), rules);
    }
}

// Of two numbers that are not equal.
template <typename A, typename B>
Distance distanceOf(A a, B b) {
    if constexpr (std::is_integral_v<A> && std::is_integral_v<B>) {
        // Modulo 2^64 the difference of the larger and the smaller is right, whatever their signs are.
        const auto difference = std::cmp_less(a, b)
                                    ? static_cast<std::uint64_t>(b) - static_cast<std::uint64_t>(a)
                                    : static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b);
        return {static_cast<double>(difference), std::nullopt};
    } else {
        Distance distance{std::abs(static_cast<double>(a) - static_cast<double>(b)), std::nullopt};
        if constexpr (std::is_same_v<A, B>) {
            if (!std::isnan(a) && !std::isnan(b)) {
                // Of places with different signs the difference may exceed the signed range.
                const std::int64_t p = placeOf(a);
                const std::int64_t q = placeOf(b);
                distance.lastPlaces = p < q ? static_cast<std::uint64_t>(q) - static_cast<std::uint64_t>(p)
                                            : static_cast<std::uint64_t>(p) - static_cast<std::uint64_t>(q);
            }
        }
        return distance;
    }
}

bool isWithin(const Tolerance* tolerance, const Distance& distance, double larger) {
    if (tolerance == nullptr || std::isnan(distance.difference)) {
        return false;
    }
    switch (tolerance->measure) {
        case Tolerance::Measure::Absolute:
            return distance.difference <= tolerance->limit;
        case Tolerance::Measure::Percent:
            return std::isfinite(larger) && distance.difference <= tolerance->limit / 100.0 * larger;
        case Tolerance::Measure::LastPlaces:
            return distance.lastPlaces && static_cast<double>(*distance.lastPlaces) <= tolerance->limit;
    }
    return false;
}

// "R.image[2][7]": the element of this number, the last dimension fastest.
std::string elementOf(const std::string& expression, const std::vector<unsigned int>& dimensions,
                      std::size_t number) {
    std::string indices;
    for (std::size_t k = dimensions.size(); k-- > 0;) {
        indices = fmt::format("[{}]", number % dimensions[k]) + indices;
        number /= dimensions[k];
    }
    return expression + indices;
}

template <typename T>
std::optional<T> larger(const std::optional<T>& a, const std::optional<T>& b) {
    return !a ? b : !b ? a : std::max(*a, *b);
}

}  // namespace

// How to compare two records of these definitions.
struct RecordComparison::Plan {
    struct Leaf {
        std::string expression;
        ZeltaTypeID kindA = zelta::ZeltaFloat64;
        ZeltaTypeID kindB = zelta::ZeltaFloat64;
        unsigned int countA = 0;
        unsigned int countB = 0;
        std::vector<unsigned int> dimensions;  // of A
        const Tolerance* tolerance = nullptr;
    };

    TypeRef typeA;
    TypeRef typeB;
    std::vector<Leaf> leaves;  // that both have
    std::vector<std::string> onlyA;
    std::vector<std::string> onlyB;
};

namespace {

std::string bytesOf(const void* bytes, int size) {
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

std::vector<std::string> leavesOf(const TypeRef& type, const ZeltaChunk& chunk) {
    try {
        if (static_cast<std::size_t>(chunk.dataSize) != zelta::typeSize(type)) {
            throw recording::RecordError("the record's definition does not fit its data.");
        }
        return zelta::validExpressions(type, static_cast<std::size_t>(chunk.dataSize));
    } catch (const zelta::Error&) {
        throw recording::RecordError("the record has too many members.");
    }
}

// Adds a pair of numbers that differ.
void note(MemberComparison& member, const Distance& distance) {
    ++member.different;
    if (!std::isnan(distance.difference)) {
        member.largest = larger(member.largest, std::optional(distance.difference));
    }
    member.lastPlaces = larger(member.lastPlaces, distance.lastPlaces);
}

}  // namespace

std::optional<Tolerance> readTolerance(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return std::nullopt;
    }
    Tolerance tolerance;
    tolerance.expression = text.substr(0, equals);
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + equals + 1, end, tolerance.limit);
    const std::string unit(rest, end);
    tolerance.measure = unit == "%"     ? Tolerance::Measure::Percent
                        : unit == "ulp" ? Tolerance::Measure::LastPlaces
                                        : Tolerance::Measure::Absolute;
    const bool known = unit.empty() || unit == "%" || unit == "ulp";
    return error == std::errc{} && known && std::isfinite(tolerance.limit) && tolerance.limit >= 0.0 &&
                   checkSyntax(tolerance.expression).empty() &&
                   tolerance.expression.find('[') == std::string::npos
               ? std::optional(tolerance)
               : std::nullopt;
}

std::string checkTolerance(const std::string& text) {
    return readTolerance(text) ? ""
                               : "\"" + text +
                                     "\" is no tolerance; write RECORD.MEMBER=0.001, RECORD.MEMBER=0.1% or "
                                     "RECORD.MEMBER=4ulp, without indices";
}

RecordComparison::RecordComparison(ComparisonRules rules) : rules_(std::move(rules)) {}

RecordComparison::~RecordComparison() = default;

bool RecordComparison::isLeftOut(const std::string& expression) {
    const std::string member = withoutIndices(expression);
    const auto found = std::find_if(rules_.leftOut.begin(), rules_.leftOut.end(),
                                    [&member](const std::string& name) { return names(name, member); });
    if (found == rules_.leftOut.end()) {
        return false;
    }
    leftOut_.insert(*found);
    return true;
}

const Tolerance* RecordComparison::toleranceOf(const std::string& expression) {
    const std::string member = withoutIndices(expression);
    for (const Tolerance& tolerance : rules_.tolerances) {
        if (names(tolerance.expression, member)) {
            usedTolerances_.insert(tolerance.expression);
            return &tolerance;
        }
    }
    return nullptr;
}

const RecordComparison::Plan& RecordComparison::planOf(const ZeltaChunk& a, const ZeltaChunk& b) {
    const auto key = std::pair(bytesOf(a.description, a.descSize), bytesOf(b.description, b.descSize));
    if (const auto found = plans_.find(key); found != plans_.end()) {
        return *found->second;
    }
    Plan plan;
    plan.typeA = recording::typeOf(a);
    plan.typeB = recording::typeOf(b);
    const std::vector<std::string> all = leavesOf(plan.typeA, a);
    const std::vector<std::string> others = leavesOf(plan.typeB, b);
    const std::set<std::string> inA(all.begin(), all.end());
    const std::set<std::string> inB(others.begin(), others.end());
    for (const std::string& expression : all) {
        if (isLeftOut(expression)) {
            continue;
        }
        if (inB.count(expression) == 0) {
            plan.onlyA.push_back(expression);
            continue;
        }
        Plan::Leaf leaf;
        leaf.expression = expression;
        std::vector<unsigned int> ignored;
        leaf.countA = recording::countOf(plan.typeA, expression);
        leaf.countB = recording::countOf(plan.typeB, expression);
        zelta::subExpressionType(plan.typeA, expression, leaf.kindA, leaf.dimensions);
        zelta::subExpressionType(plan.typeB, expression, leaf.kindB, ignored);
        if (leaf.countA > static_cast<unsigned int>(a.dataSize) ||
            leaf.countB > static_cast<unsigned int>(b.dataSize)) {
            throw recording::RecordError("\"" + expression +
                                         "\" has more elements than its record has bytes.");
        }
        leaf.tolerance = toleranceOf(expression);
        plan.leaves.push_back(leaf);
    }
    for (const std::string& expression : others) {
        if (inA.count(expression) == 0 && !isLeftOut(expression)) {
            plan.onlyB.push_back(expression);
        }
    }
    return *plans_.emplace(key, std::make_unique<const Plan>(std::move(plan))).first->second;
}

std::vector<std::string> RecordComparison::add(const PlacedChunk& a, const PlacedChunk& b) {
    const Plan& plan = planOf(a.chunk, b.chunk);
    std::map<std::string, MemberComparison>& members = members_[a.chunk.channelID];
    std::vector<std::string> different;
    const auto miss = [&](const std::string& expression, const std::string& reason) {
        MemberComparison& member = members[expression];
        member.reason = member.missing == 0 ? reason : member.reason;
        ++member.missing;
        different.push_back(expression);
    };
    for (const std::string& expression : plan.onlyA) {
        miss(expression, "only in A");
    }
    for (const std::string& expression : plan.onlyB) {
        miss(expression, "only in B");
    }
    const bool same =
        !rules_.nanDiffers && a.chunk.descSize == b.chunk.descSize && a.chunk.dataSize == b.chunk.dataSize &&
        std::memcmp(a.chunk.description, b.chunk.description, static_cast<std::size_t>(a.chunk.descSize)) ==
            0 &&
        std::memcmp(a.chunk.data, b.chunk.data, static_cast<std::size_t>(a.chunk.dataSize)) == 0;
    for (const Plan::Leaf& leaf : plan.leaves) {
        MemberComparison& member = members[leaf.expression];
        const std::size_t before = member.different;
        const unsigned int count = std::min(leaf.countA, leaf.countB);
        ++member.records;
        member.elements += count;
        if (leaf.countA != leaf.countB) {
            miss(leaf.expression, fmt::format("{} elements in A, {} in B", leaf.countA, leaf.countB));
        }
        if (same) {
            continue;
        }
        const auto compare = [&](const auto& inA, const auto& inB) {
            for (std::size_t k = 0; k < count; ++k) {
                if (areEqual(inA[k], inB[k], rules_)) {
                    continue;
                }
                const Distance distance = distanceOf(inA[k], inB[k]);
                const double most =
                    std::max(std::abs(static_cast<double>(inA[k])), std::abs(static_cast<double>(inB[k])));
                if (isWithin(leaf.tolerance, distance, most)) {
                    continue;
                }
                if (member.different == 0) {
                    member.firstPacketA = a.packet;
                    member.firstPacketB = b.packet;
                    member.firstElement = elementOf(leaf.expression, leaf.dimensions, k);
                    member.firstA = fmt::format("{}", inA[k]);
                    member.firstB = fmt::format("{}", inB[k]);
                }
                note(member, distance);
            }
        };
        try {
            std::visit(compare, numbersIn(a.chunk, plan.typeA, leaf.expression, leaf.kindA, leaf.countA),
                       numbersIn(b.chunk, plan.typeB, leaf.expression, leaf.kindB, leaf.countB));
        } catch (const zelta::Error&) {
            throw recording::RecordError("\"" + leaf.expression +
                                         "\" cannot be read: its definition does not fit its data.");
        }
        if (member.different > before && leaf.countA == leaf.countB) {
            different.push_back(leaf.expression);
        }
    }
    return different;
}

std::vector<std::string> RecordComparison::unusedTolerances() const {
    std::vector<std::string> unused;
    for (const Tolerance& tolerance : rules_.tolerances) {
        if (usedTolerances_.count(tolerance.expression) == 0) {
            unused.push_back(tolerance.expression);
        }
    }
    return unused;
}

}  // namespace qor
