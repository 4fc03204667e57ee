// SPDX-License-Identifier: Apache-2.0
//
// Layouts on the wire, as tables: a row for a record and for each member that has a place in its definition.
// A table is written by hand, once, and compared with the description of the record when it is compiled, so
// that no target and no change of a record can move a member unnoticed.
#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "ALDescribe.h"
#include "Ref.h"

namespace layout {

enum class Kind { Signed, Unsigned, Float, Record };

struct Row {
    unsigned int level;  ///< of nesting; the record itself has 0
    std::string_view name;
    unsigned int dimensions[2];  ///< of an array, the outermost first; 0 where there is none
    Kind kind;
    unsigned int size;    ///< bytes of one element
    unsigned int offset;  ///< in the record, bytes

    constexpr bool operator==(const Row&) const = default;
};

/** Kind of a number on the wire. Texts are signed bytes on every target, enumerations signed words. */
template <class T>
constexpr Kind kindOf() {
    if constexpr (describe::Described<T>) {
        return Kind::Record;
    } else if constexpr (std::is_floating_point_v<T>) {
        return Kind::Float;
    } else if constexpr (std::is_same_v<T, char>) {
        return Kind::Signed;
    } else if constexpr (std::is_enum_v<T>) {
        static_assert(sizeof(T) == 4 && std::is_signed_v<std::underlying_type_t<T>>);
        return Kind::Signed;
    } else {
        static_assert(std::is_arithmetic_v<T>, "a record without description");
        return std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned;
    }
}

inline constexpr unsigned int kAllLevels = ~0U;

/** Calls `visit(row)` for a member and those below it down to `depth`. A reference has no row. */
template <class T, class Visitor>
constexpr void visitRows(std::string_view name, unsigned int level, unsigned int depth, std::size_t offset,
                         Visitor& visit) {
    using Element = std::remove_all_extents_t<T>;
    static_assert(std::rank_v<T> <= 2);
    if constexpr (!isReference<Element>) {
        visit(Row{level,
                  name,
                  {std::extent_v<T, 0>, std::extent_v<T, 1>},
                  kindOf<Element>(),
                  sizeof(Element),
                  static_cast<unsigned int>(offset)});
        if constexpr (describe::Described<Element>) {
            if (level < depth) {
                describe::forEachMember<Element>([&]<class Member>(const Member& member) {
                    visitRows<typename Member::Type>(member.name, level + 1, depth, offset + member.offset,
                                                     visit);
                });
            }
        }
    }
}

/** The number of the first row in which table and record differ; the number of rows if there is none. */
template <describe::Described Record, std::size_t kRows>
constexpr std::size_t firstDifference(const Row (&table)[kRows], unsigned int depth = kAllLevels) {
    std::size_t row = 0;
    std::size_t difference = kRows;
    const auto compare = [&](const Row& actual) {
        if (difference == kRows && (row >= kRows || !(table[row] == actual))) {
            difference = row < kRows ? row : kRows + 1;
        }
        ++row;
    };
    visitRows<Record>(describe::kName<Record>, 0, depth, 0, compare);
    return difference == kRows && row < kRows ? row : difference;
}

/** Whether the table matches the record, member for member. */
template <describe::Described Record, std::size_t kRows>
constexpr bool matches(const Row (&table)[kRows], unsigned int depth = kAllLevels) {
    return firstDifference<Record>(table, depth) == kRows;
}

}  // namespace layout
