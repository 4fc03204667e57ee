// SPDX-License-Identifier: Apache-2.0
// Assigners: copy plans between two layouts, members matched by name. A plan is built once and applied often.
#pragma once

#include <string>
#include <vector>

#include "zelta_type.h"

namespace zelta {

/// A copy plan: which bytes of a source record go where in a destination record.
class Assigner {
 public:
    /// One run of bytes. With an element size above 1 the bytes of each element are reversed on the way: a
    /// run of n bytes then stands for n regions of one byte, which cannot be merged.
    struct Item {
        int sourceOffset;
        int destinationOffset;
        int size;             ///< of the whole run, a multiple of the element size
        int elementSize = 1;  ///< 1: bytes as they are
    };

    /// Sizes of the buffers in bytes.
    Assigner(int sourceSize, int destinationSize);

    void addCopyRegion(int sourceOffset, int destinationOffset, int size);

    /// Adds elements of `elementSize` bytes whose byte order changes.
    void addSwapRegion(int sourceOffset, int destinationOffset, int size, int elementSize);

    /// The order of the items: by source offset, destination offset, size.
    static bool less(const Item& a, const Item& b);

    /// Sorts the items and joins those that follow each other closely on both sides.
    void optimize();

    /// Carries the plan out and returns the bytes copied. The sizes must be those of the plan
    /// (InterpretError, size mismatch, before anything is copied); an item outside a buffer is refused
    /// (InterpretError, unknown) after the items before it have been copied. Of an item that reverses bytes,
    /// the bytes before the first one outside are copied too. Allocates nothing.
    int apply(const void* source, int sourceSize, void* destination, int destinationSize) const;

    int sourceSize() const { return m_sourceSize; }
    int destinationSize() const { return m_destinationSize; }
    const std::vector<Item>& items() const { return m_items; }

 private:
    int m_sourceSize;
    int m_destinationSize;
    std::vector<Item> m_items;
};

using AssignerRef = shared_ptr<Assigner const>;

/// Adds what `source` and `destination` have in common to a plan. The bases are added to the offsets stored
/// in the nodes. A `maxCount` above 0 replaces the number of elements; otherwise the smaller count of both
/// sides is used. Members without counterpart, or of different kind or size, are left out. Throws
/// InterpretError (unknown) if the plan would write more than four times the destination's bytes plus a MiB,
/// or if it would visit more than two million members and more than four for each byte of the smaller record,
/// counting those of each element anew. Only definitions made to exhaust a machine need that.
void recursive_assign(const TypeRef& source, long long sourceBase, const TypeRef& destination,
                      long long destinationBase, Assigner* assigner, int maxCount);

/// Builds the plan from what `sourceExpression` addresses to what `destinationExpression` addresses.
/// The buffer of a relative side holds only the part addressed; any other buffer holds the whole
/// record. Throws InterpretError for an expression that does not resolve, or when the two address
/// different numbers of elements.
AssignerRef assigner(const TypeRef& source, const std::string& sourceExpression, const TypeRef& destination,
                     const std::string& destinationExpression, bool destinationRelative, bool sourceRelative);

/// Applies a plan; null pointers throw InterpretError. Returns the bytes copied.
int assign(const AssignerRef& assigner, const void* source, unsigned int sourceSize, void* destination,
           unsigned int destinationSize);

/// Builds a plan, applies it and drops it.
int assign(const TypeRef& source, const void* sourceData, unsigned int sourceSize,
           const std::string& sourceExpression, const TypeRef& destination, void* destinationData,
           unsigned int destinationSize, const std::string& destinationExpression, bool destinationRelative,
           bool sourceRelative);

/// Copies `count` elements of `elementSize` bytes; with `swap` the bytes of each come out in reverse order.
void copy_data(void* destination, const void* source, unsigned int elementSize, unsigned int count,
               bool swap);

}  // namespace zelta
