// SPDX-License-Identifier: Apache-2.0
// Assigners: how a plan is made from two types, and how it is carried out.
#include "zelta_assigner.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>

#include "zelta_expression.h"
#include "zelta_fail.h"
#include "zelta_saturate.h"

namespace zelta {

Assigner::Assigner(int sourceSize, int destinationSize)
    : m_sourceSize(sourceSize), m_destinationSize(destinationSize) {}

void Assigner::addCopyRegion(int sourceOffset, int destinationOffset, int size) {
    m_items.push_back({sourceOffset, destinationOffset, size, 1});
}

void Assigner::addSwapRegion(int sourceOffset, int destinationOffset, int size, int elementSize) {
    m_items.push_back({sourceOffset, destinationOffset, size, elementSize});
}

bool Assigner::less(const Item& a, const Item& b) {
    if (a.sourceOffset != b.sourceOffset) {
        return a.sourceOffset < b.sourceOffset;
    }
    if (a.destinationOffset != b.destinationOffset) {
        return a.destinationOffset < b.destinationOffset;
    }
    return a.size < b.size;
}

namespace {

/// Whether `next` begins exactly where `item` ends, on both sides.
bool follows(const Assigner::Item& item, const Assigner::Item& next) {
    return next.elementSize == item.elementSize &&
           next.sourceOffset == static_cast<long long>(item.sourceOffset) + item.size &&
           next.destinationOffset == static_cast<long long>(item.destinationOffset) + item.size &&
           static_cast<long long>(item.size) + next.size <= INT_MAX;
}

bool inside(int offset, int size, int bufferSize) {
    return offset >= 0 && size >= 0 && static_cast<long long>(offset) + size <= bufferSize;
}

bool inside(long long offset, int bufferSize) {
    return offset >= 0 && offset < bufferSize;
}

/// Each byte of a reversed item is a region of its own. The bytes before the first one outside are copied, in
/// the order of the source. A plain item is a single region, so none of its bytes are.
void copyReversedUpToFault(const Assigner::Item& item, const unsigned char* from, int sourceSize,
                           unsigned char* to, int destinationSize) {
    if (item.elementSize == 1) {
        return;
    }
    const long long element = item.elementSize;
    for (long long i = 0; i < item.size; ++i) {
        const long long mirrored = i - i % element + element - 1 - i % element;
        const long long source = item.sourceOffset + i;
        const long long destination = item.destinationOffset + mirrored;
        if (!inside(source, sourceSize) || !inside(destination, destinationSize)) {
            return;
        }
        to[destination] = from[source];
    }
}

}  // namespace

void Assigner::optimize() {
    std::stable_sort(m_items.begin(), m_items.end(), less);
    std::size_t kept = 0;
    for (std::size_t i = 1; i < m_items.size(); ++i) {
        if (follows(m_items[kept], m_items[i])) {
            m_items[kept].size += m_items[i].size;
        } else {
            m_items[++kept] = m_items[i];
        }
    }
    m_items.resize(m_items.empty() ? 0 : kept + 1);
    m_items.shrink_to_fit();
}

int Assigner::apply(const void* source, int sourceSize, void* destination, int destinationSize) const {
    if (sourceSize != m_sourceSize || destinationSize != m_destinationSize) {
        interpretError(TagSizeMismatch);
    }
    const auto* const from = static_cast<const unsigned char*>(source);
    auto* const to = static_cast<unsigned char*>(destination);
    std::uint64_t copied = 0;
    for (const Item& item : m_items) {
        if (!inside(item.destinationOffset, item.size, destinationSize) ||
            !inside(item.sourceOffset, item.size, sourceSize)) {
            copyReversedUpToFault(item, from, sourceSize, to, destinationSize);
            interpretError(TagUnknown);
        }
        if (item.elementSize == 1) {
            std::memcpy(to + item.destinationOffset, from + item.sourceOffset,
                        static_cast<std::size_t>(item.size));
        } else {
            copy_data(to + item.destinationOffset, from + item.sourceOffset,
                      static_cast<unsigned int>(item.elementSize),
                      static_cast<unsigned int>(item.size / item.elementSize), true);
        }
        copied += static_cast<unsigned int>(item.size);
    }
    return saturateToInt(copied);
}

namespace {

/// Two nodes of the same name, and what they have in common below.
struct MemberPair {
    const IType* source;
    const IType* destination;
    std::vector<MemberPair> members;

    unsigned int count() const { return std::min(source->count(), destination->count()); }
};

bool sameNumber(const IType& source, const IType& destination) {
    return source.typeIdentifier() == destination.typeIdentifier() && source.size == destination.size &&
           source.size != 0;
}

/// Finds what a source and a destination have in common. The members of a destination struct are sorted once,
/// however many source structs are matched with it.
class MemberMatcher {
 public:
    /// Fills `pair.members` with all that have something to copy. Returns whether the pair itself has.
    bool match(MemberPair& pair) {
        if (pair.source->typeIdentifier() != TypeStruct) {
            return sameNumber(*pair.source, *pair.destination);
        }
        const MemberSet& destinations = membersOf(*pair.destination);
        for (const TypeRef& child : pair.source->children()) {
            const auto found = destinations.find(child);
            if (found == destinations.end()) {
                continue;
            }
            MemberPair member{child.get(), found->get(), {}};
            if (member.count() > 0 && match(member)) {
                pair.members.push_back(std::move(member));
            }
        }
        return !pair.members.empty();
    }

 private:
    using MemberSet = std::set<TypeRef, decltype(&typeRefCompByName)>;

    const MemberSet& membersOf(const IType& node) {
        const auto [entry, isNew] = m_members.try_emplace(&node, &typeRefCompByName);
        if (isNew) {
            for (const TypeRef& child : node.children()) {
                entry->second.insert(child);
            }
        }
        return entry->second;
    }

    std::map<const IType*, MemberSet> m_members;
};

/// Turns matched members into regions.
class PlanBuilder {
 public:
    explicit PlanBuilder(Assigner& plan)
        : m_plan(plan),
          m_remainingBytes(kMaxWrites * plan.destinationSize() + kSpareBytes),
          m_remainingSteps(std::max(
              kMinSteps, kMaxStepsPerByte * std::min<long long>(plan.sourceSize(), plan.destinationSize()))) {
    }

    void add(const MemberPair& pair, long long sourceBase, long long destinationBase, unsigned int count) {
        if (--m_remainingSteps < 0) {
            interpretError(TagUnknown, "plan takes too many steps");
        }
        if (pair.source->typeIdentifier() != TypeStruct) {
            addNumbers(pair, sourceBase, destinationBase, count);
            return;
        }
        for (unsigned int element = 0; element < count; ++element) {
            for (const MemberPair& member : pair.members) {
                add(member, sourceBase, destinationBase, member.count());
            }
            sourceBase += pair.source->size;
            destinationBase += pair.destination->size;
        }
    }

 private:
    // Repeated names and members that share their place may write a byte more than once, but a definition of
    // a few hundred bytes must not make a plan of gigabytes.
    static constexpr long long kMaxWrites = 4;
    static constexpr long long kSpareBytes = 1LL << 20;
    // A step is a number or array of numbers, or a struct on the way to it. It is worth at least a byte of
    // both records, unless it has no size. So the smaller record limits an honest plan.
    static constexpr long long kMaxStepsPerByte = 4;
    static constexpr long long kMinSteps = 1LL << 21;

    void addNumbers(const MemberPair& pair, long long sourceBase, long long destinationBase,
                    unsigned int count) {
        const long long size = static_cast<long long>(pair.source->size) * count;
        if (size > m_remainingBytes) {
            interpretError(TagUnknown, "plan exceeds the destination");
        }
        if (size == 0) {
            return;
        }
        m_remainingBytes -= size;
        const int sourceOffset = representable(sourceBase + pair.source->offset);
        const int destinationOffset = representable(destinationBase + pair.destination->offset);
        if (pair.source->endianess == pair.destination->endianess || pair.source->size == 1) {
            m_plan.addCopyRegion(sourceOffset, destinationOffset, representable(size));
        } else {
            m_plan.addSwapRegion(sourceOffset, destinationOffset, representable(size),
                                 representable(pair.source->size));
        }
    }

    /// Offsets beyond an int stop at its limits, where no region fits a buffer.
    static int representable(long long value) {
        return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
    }

    Assigner& m_plan;
    long long m_remainingBytes;
    long long m_remainingSteps;
};

/// The buffer that one side of a plan works on, and what to add to the offsets of its nodes.
struct PlanSide {
    TypeRef node;
    unsigned int count = 0;
    int bufferSize = 0;
    long long base = 0;
};

PlanSide planSide(const TypeRef& root, const std::string& expression, bool relative) {
    unsigned int displacement = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(root, expression, displacement, count);
    if (relative) {
        return {node, count, saturateToInt(std::uint64_t{count} * node->size),
                -static_cast<long long>(node->offset)};
    }
    return {node, count, saturateToInt(root->size), displacement};
}

}  // namespace

void recursive_assign(const TypeRef& source, long long sourceBase, const TypeRef& destination,
                      long long destinationBase, Assigner* assigner, int maxCount) {
    MemberPair pair{source.get(), destination.get(), {}};
    if (!MemberMatcher().match(pair)) {
        return;
    }
    const unsigned int count = maxCount > 0 ? static_cast<unsigned int>(maxCount) : pair.count();
    PlanBuilder(*assigner).add(pair, sourceBase, destinationBase, count);
}

AssignerRef assigner(const TypeRef& source, const std::string& sourceExpression, const TypeRef& destination,
                     const std::string& destinationExpression, bool destinationRelative,
                     bool sourceRelative) {
    const PlanSide from = planSide(source, sourceExpression, sourceRelative);
    const PlanSide to = planSide(destination, destinationExpression, destinationRelative);
    if (from.count != to.count) {
        std::array<char, 160> text{};
        std::snprintf(
            text.data(), text.size(),
            "Logical Error: Number of objects (%d) addressed by srcExpression is different than number of "
            "objects (%d) addressed by destExpression.",
            static_cast<int>(from.count), static_cast<int>(to.count));
        interpretError(TagUnknown, text.data());
    }
    auto* const plan = new Assigner(from.bufferSize, to.bufferSize);
    const AssignerRef keeper(plan);
    recursive_assign(from.node, from.base, to.node, to.base, plan, saturateToInt(from.count));
    plan->optimize();
    return keeper;
}

int assign(const AssignerRef& assigner, const void* source, unsigned int sourceSize, void* destination,
           unsigned int destinationSize) {
    if (!assigner || source == nullptr || destination == nullptr) {
        interpretError(TagNullPointer);
    }
    if (sourceSize > INT_MAX || destinationSize > INT_MAX) {
        interpretError(TagSizeMismatch);
    }
    return assigner->apply(source, static_cast<int>(sourceSize), destination,
                           static_cast<int>(destinationSize));
}

int assign(const TypeRef& source, const void* sourceData, unsigned int sourceSize,
           const std::string& sourceExpression, const TypeRef& destination, void* destinationData,
           unsigned int destinationSize, const std::string& destinationExpression, bool destinationRelative,
           bool sourceRelative) {
    if (!source || !destination || sourceData == nullptr || destinationData == nullptr) {
        interpretError(TagNullPointer);
    }
    return assign(assigner(source, sourceExpression, destination, destinationExpression, destinationRelative,
                           sourceRelative),
                  sourceData, sourceSize, destinationData, destinationSize);
}

namespace {

std::uint16_t reversed(std::uint16_t value) {
    return __builtin_bswap16(value);
}
std::uint32_t reversed(std::uint32_t value) {
    return __builtin_bswap32(value);
}
std::uint64_t reversed(std::uint64_t value) {
    return __builtin_bswap64(value);
}

template <typename Word>
void copyReversed(unsigned char* destination, const unsigned char* source, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, source + i * sizeof(Word), sizeof(Word));
        word = reversed(word);
        std::memcpy(destination + i * sizeof(Word), &word, sizeof(Word));
    }
}

}  // namespace

void copy_data(void* destination, const void* source, unsigned int elementSize, unsigned int count,
               bool swap) {
    auto* const to = static_cast<unsigned char*>(destination);
    const auto* const from = static_cast<const unsigned char*>(source);
    const std::size_t size = std::size_t{elementSize} * count;
    if (size == 0) {
        return;
    }
    if (!swap || elementSize == 1) {
        std::memcpy(to, from, size);
        return;
    }
    switch (elementSize) {
        case 2:
            copyReversed<std::uint16_t>(to, from, count);
            return;
        case 4:
            copyReversed<std::uint32_t>(to, from, count);
            return;
        case 8:
            copyReversed<std::uint64_t>(to, from, count);
            return;
        default:
            for (std::size_t at = 0; at < size; at += elementSize) {
                std::reverse_copy(from + at, from + at + elementSize, to + at);
            }
    }
}

}  // namespace zelta
