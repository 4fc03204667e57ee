// SPDX-License-Identifier: Apache-2.0
//
// Parts of arrays: [FROM:TO:STEP] in place of an index takes every STEP-th element from FROM on, before TO.
// Without FROM it begins at the first, without TO it ends after the last, without STEP it takes each.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qor {

// An expression cut at its first segment that has a slice.
struct SlicedExpression {
    std::string array;                 // up to the name of that segment
    std::vector<std::string> indices;  // of that segment, without brackets: "5" or "0:3"
    std::string rest;                  // after them, with its dot; empty if none
};

bool hasSlice(const std::string& expression);

// Cuts an expression that has a slice.
SlicedExpression cutAtSlice(const std::string& expression);

// What an index or a slice takes of a dimension; nothing if it begins beyond the end. A slice may end there.
std::vector<unsigned int> takenBy(const std::string& index, unsigned int dimension);

// What is taken of each dimension of an array, and the dimensions that
// remain: single indices remove theirs.
struct Selection {
    std::vector<std::vector<unsigned int>> taken;
    std::vector<unsigned int> dimensions;

    // The positions of the elements in the array, in order.
    std::vector<std::size_t> positions(const std::vector<unsigned int>& arrayDimensions) const;
};

// Selects from an array with these dimensions. The indices apply to the first of them; the others are taken
// whole. Nothing is selected if there are more indices than dimensions.
Selection selectionOf(const std::vector<std::string>& indices, const std::vector<unsigned int>& dimensions);

}  // namespace qor
