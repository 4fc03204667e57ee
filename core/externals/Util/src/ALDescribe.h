// SPDX-License-Identifier: Apache-2.0
//
// Descriptions of records: AL_DESCRIBE(Record, members...) after a record's declaration makes its members
// known at compile time, in declaration order. The layout of the records that leave the process is checked
// and published from these descriptions, so a description that leaves out a member, or lists them in
// another order, does not compile.
#pragma once

#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace describe {

/** One member of `Record`: its name, its type and where it lies. */
template <class Record, class Member>
struct MemberOf {
    using Type = Member;
    std::string_view name;
    std::size_t offset;
};

/** True when `Record` has a description. */
template <class Record>
concept Described = requires {
    alDescribeMembers(static_cast<Record*>(nullptr));
};

/** The members of a described record: a tuple of MemberOf, in declaration order. */
template <Described Record>
inline constexpr auto kMembers = alDescribeMembers(static_cast<Record*>(nullptr));

/** The name of a described record. */
template <Described Record>
inline constexpr std::string_view kName = alDescribeName(static_cast<Record*>(nullptr));

/** Calls `visit(member)` for each member of a described record, in declaration order. */
template <Described Record, class Visitor>
constexpr void forEachMember(Visitor&& visit) {
    std::apply([&visit](const auto&... member) { (visit(member), ...); }, kMembers<Record>);
}

/** Members in declaration order lie one after the other: each starts where the
 * previous one ends, as aligned. */
template <class Record, class... Members>
constexpr bool membersAreInOrder(const std::tuple<MemberOf<Record, Members>...>& members) {
    std::size_t end = 0;
    const auto follows = [&end]<class M>(const MemberOf<Record, M>& member) {
        const std::size_t expected = (end + alignof(M) - 1) / alignof(M) * alignof(M);
        end = expected + sizeof(M);
        return member.offset == expected;
    };
    const bool inOrder = std::apply([&](const auto&... member) { return (follows(member) && ...); }, members);
    return inOrder && (end + alignof(Record) - 1) / alignof(Record) * alignof(Record) == sizeof(Record);
}

}  // namespace describe

// Expansion of a macro over a list of up to 256 arguments, from the preprocessor alone.
#define AL_DETAIL_PARENS ()
#define AL_DETAIL_EXPAND(...) \
    AL_DETAIL_EXPAND3(AL_DETAIL_EXPAND3(AL_DETAIL_EXPAND3(AL_DETAIL_EXPAND3(__VA_ARGS__))))
#define AL_DETAIL_EXPAND3(...) \
    AL_DETAIL_EXPAND2(AL_DETAIL_EXPAND2(AL_DETAIL_EXPAND2(AL_DETAIL_EXPAND2(__VA_ARGS__))))
#define AL_DETAIL_EXPAND2(...) \
    AL_DETAIL_EXPAND1(AL_DETAIL_EXPAND1(AL_DETAIL_EXPAND1(AL_DETAIL_EXPAND1(__VA_ARGS__))))
#define AL_DETAIL_EXPAND1(...) __VA_ARGS__
#define AL_DETAIL_FOR_EACH(macro, record, ...) \
    __VA_OPT__(AL_DETAIL_EXPAND(AL_DETAIL_STEP(macro, record, __VA_ARGS__)))
#define AL_DETAIL_STEP(macro, record, first, ...) \
    macro(record, first) __VA_OPT__(, AL_DETAIL_AGAIN AL_DETAIL_PARENS(macro, record, __VA_ARGS__))
#define AL_DETAIL_AGAIN() AL_DETAIL_STEP

// clang-format off
#define AL_DETAIL_MEMBER(record, member) \
    describe::MemberOf<record, decltype(record::member)> { #member, offsetof(record, member) }
// clang-format on
#define AL_DETAIL_BRACES(record, member) \
    {}

/**
 * Describes a record of the global namespace. Checks two things: the members fill the record in the order
 * given, and the record has no more members than are given (an initialiser with one more would not fit).
 */
#define AL_DESCRIBE(record, ...)                                                             \
    constexpr std::string_view alDescribeName(const record*) {                               \
        return #record;                                                                      \
    }                                                                                        \
    constexpr auto alDescribeMembers(const record*) {                                        \
        return std::tuple{AL_DETAIL_FOR_EACH(AL_DETAIL_MEMBER, record, __VA_ARGS__)};        \
    }                                                                                        \
    static_assert(std::is_trivially_copyable_v<record> && std::is_standard_layout_v<record>, \
                  #record " must be a plain record");                                        \
    static_assert(describe::membersAreInOrder(describe::kMembers<record>),                   \
                  "the description of " #record " does not follow its members");             \
    static_assert(                                                                           \
        ![]<class R>(R*) {                                                                   \
            return requires {                                                                \
                R{AL_DETAIL_FOR_EACH(AL_DETAIL_BRACES, record, __VA_ARGS__), {}};            \
            };                                                                               \
        }(static_cast<record*>(nullptr)),                                                    \
        "the description of " #record " leaves out a member");
