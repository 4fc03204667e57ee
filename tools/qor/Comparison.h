// SPDX-License-Identifier: Apache-2.0
//
// Compares records member by member. Members are matched by name, so layout, order, padding and byte order of
// the two may differ.
//
// Two numbers are equal if their values are. Two NaN are equal, and 0 and -0 are, unless the rules tell them
// apart. The distance of two floating point numbers of one size is also told in units in the last place: how
// many numbers of that size lie between them, plus one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zelta_packet.h"

namespace qor {

// How far two numbers may lie apart and count as equal, for a member or all that is in a structure.
struct Tolerance {
    enum class Measure { Absolute, Percent, LastPlaces };  // percent of the larger magnitude

    std::string expression;  // without indices
    double limit = 0.0;
    Measure measure = Measure::Absolute;
};

// "RECORD.MEMBER=0.001", "RECORD.MEMBER=0.1%" or "RECORD.MEMBER=4ulp"; none for anything else.
std::optional<Tolerance> readTolerance(const std::string& text);

std::string checkTolerance(const std::string& text);

struct ComparisonRules {
    std::vector<Tolerance> tolerances;  // the first that names a member holds for it
    std::vector<std::string> leftOut;   // members and structures, without indices
    bool nanDiffers = false;
    bool zeroSigns = false;
};

// Of the same member of all pairs of records.
struct MemberComparison {
    std::size_t records = 0;        // pairs that both have it
    std::size_t elements = 0;       // pairs of numbers
    std::size_t different = 0;      // of these, beyond the tolerance
    std::size_t missing = 0;        // records in which only one side has it, or more elements of it
    std::string reason;             // of the first that is missing
    std::optional<double> largest;  // difference of two numbers that differ; infinite if one of them is
    std::optional<std::uint64_t> lastPlaces;  // the most
    // The first elements that differ.
    std::size_t firstPacketA = 0;
    std::size_t firstPacketB = 0;
    std::string firstElement;  // its expression
    std::string firstA;        // values
    std::string firstB;

    bool isEqual() const { return different == 0 && missing == 0; }
};

// A record in its packet; it points into the bytes of others.
struct PlacedChunk {
    std::size_t packet = 0;
    zelta::ZeltaChunk chunk;
};

class RecordComparison {
 public:
    explicit RecordComparison(ComparisonRules rules);
    ~RecordComparison();
    RecordComparison(const RecordComparison&) = delete;
    RecordComparison& operator=(const RecordComparison&) = delete;

    // The members that differ in this pair, or that only one side has. Throws recording::RecordError if
    // a record is damaged.
    std::vector<std::string> add(const PlacedChunk& a, const PlacedChunk& b);

    // By channel, and by expression with the indices of structures.
    const std::map<int, std::map<std::string, MemberComparison>>& members() const { return members_; }

    // What was left out, of all that the rules name.
    const std::set<std::string>& leftOut() const { return leftOut_; }

    // Tolerances that name no member of any record.
    std::vector<std::string> unusedTolerances() const;

 private:
    struct Plan;

    const Plan& planOf(const zelta::ZeltaChunk& a, const zelta::ZeltaChunk& b);
    bool isLeftOut(const std::string& expression);
    const Tolerance* toleranceOf(const std::string& expression);

    ComparisonRules rules_;
    std::map<std::pair<std::string, std::string>, std::unique_ptr<const Plan>> plans_;  // by definitions
    std::map<int, std::map<std::string, MemberComparison>> members_;
    std::set<std::string> leftOut_;
    std::set<std::string> usedTolerances_;
};

}  // namespace qor
