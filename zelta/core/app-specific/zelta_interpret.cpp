// SPDX-License-Identifier: Apache-2.0
// Expressions, the plans that copy between two layouts, and the interpreters that read and write plain
// numbers.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <string_view>
#include <type_traits>

#include "zelta_assigner.h"
#include "zelta_error.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"
#include "zelta_saturate.h"

namespace zelta {

static_assert(std::endian::native == std::endian::little, "records of this machine are little-endian");

namespace {

constexpr const char* kSourceFile = "core/app-specific/zelta_interpret";

using Tag = InterpretError::InterpretErrorTag;
constexpr Tag TagUnknown = InterpretError::TagUnknown;
constexpr Tag TagNullPointer = InterpretError::TagNullPointer;
constexpr Tag TagExpression = InterpretError::TagExpression;
constexpr Tag TagSizeMismatch = InterpretError::TagSizeMismatch;

[[noreturn]] void interpretError(Tag tag, const std::string& message = "", int line = __builtin_LINE()) {
    throw InterpretError(kSourceFile, line, tag, message);
}

void requireType(const TypeRef& type, const char* message = "", int line = __builtin_LINE()) {
    if (!type) {
        interpretError(TagNullPointer, message, line);
    }
}

}  // namespace

// --- Expressions ---

namespace {

/// The pieces between separators, empty ones included.
std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = text.find(separator, begin);
        pieces.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) {
            return pieces;
        }
        begin = end + 1;
    }
}

/// The number that a text begins with, read as a 32-bit integer; what follows is ignored, what does not fit
/// saturates.
bool leadingNumber(const std::string& text, unsigned int& number) {
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    number = static_cast<unsigned int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
    return end != text.c_str();
}

TypeRef findChild(const IType& parent, const std::string& name) {
    for (const TypeRef& child : parent.children()) {
        if (child && child->name == name) {
            return child;
        }
    }
    return TypeRef();
}

/// The number of "[" in the last segment.
unsigned int lastSegmentGroups(const std::string& expression) {
    const std::size_t dot = expression.rfind('.');
    const auto begin = expression.begin() + static_cast<std::ptrdiff_t>(dot == std::string::npos ? 0 : dot);
    return static_cast<unsigned int>(std::count(begin, expression.end(), '['));
}

}  // namespace

void interpret_key(std::string key, std::string& name, std::vector<unsigned int>& index) {
    if (!key.empty() && key.front() == '[') {
        interpretError(TagUnknown);
    }
    const std::vector<std::string> pieces = split(key, '[');
    name = pieces.front();
    index.clear();
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        unsigned int number = 0;
        if (!leadingNumber(pieces[i], number)) {
            interpretError(TagUnknown);
        }
        index.push_back(number);
    }
}

TypeRef typeFromExpression(const TypeRef& type, const std::string& expression, unsigned int& offset,
                           unsigned int& count) {
    requireType(type);
    if (expression.empty()) {
        offset = 0;
        count = 1;
        return type;
    }
    const std::vector<std::string> segments = split(expression, '.');
    std::string name;
    std::vector<unsigned int> index;
    interpret_key(segments.front(), name, index);
    if (name != type->name || !type->valid(index, true)) {
        interpretError(TagExpression, expression);
    }
    TypeRef node = type;
    std::uint32_t displacement = saturatingMultiply(node->size, node->index2lin(index));
    for (std::size_t i = 1; i < segments.size(); ++i) {
        interpret_key(segments[i], name, index);
        node = findChild(*node, name);
        const bool isLast = i + 1 == segments.size();
        if (!node || !node->valid(index, !isLast)) {
            interpretError(TagExpression, expression);
        }
        displacement = saturatingAdd(displacement, saturatingMultiply(node->size, node->index2lin(index)));
    }
    offset = displacement;
    count = elementCount(std::span(node->dimensions).subspan(index.size()));
    return node;
}

unsigned int subExpressionSize(const TypeRef& type, const std::string& expression) {
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    return saturatingMultiply(count, node->size);
}

unsigned int subExpressionOffset(const TypeRef& type, const std::string& expression) {
    return static_cast<unsigned int>(interpreter<float>(type, expression)->offset());
}

namespace {

ZeltaTypeID integerTypeID(unsigned int size, ZeltaTypeID family) {
    switch (size) {
        case 2:
            return static_cast<ZeltaTypeID>(family + 1);
        case 4:
            return static_cast<ZeltaTypeID>(family + 2);
        case 8:
            return static_cast<ZeltaTypeID>(family + 3);
        default:
            return family;
    }
}

ZeltaTypeID typeIDOf(const IType& node) {
    const TypeIdentifier identifier = node.typeIdentifier();
    if (identifier == TypeStruct) {
        return ZeltaStruct;
    }
    if (node.size > 8) {
        interpretError(TagUnknown, "Unknown type ID");  // No number is that wide.
    }
    switch (identifier) {
        case TypeSigned:
            return integerTypeID(node.size, ZeltaInt8);
        case TypeUnsigned:
            return integerTypeID(node.size, ZeltaUint8);
        case TypeFloat:
            return node.size == 8 ? ZeltaFloat64 : ZeltaFloat32;
        default:
            interpretError(TagUnknown, "Unknown type ID");
    }
}

}  // namespace

void subExpressionType(const TypeRef& type, const std::string& expression, ZeltaTypeID& id,
                       std::vector<unsigned int>& dimensions) {
    requireType(type);
    if (expression.empty()) {
        id = ZeltaStruct;
        dimensions = {1};
        return;
    }
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    const ZeltaTypeID nodeID = typeIDOf(*node);
    const unsigned int fixed = lastSegmentGroups(expression);
    if (fixed > node->dimensions.size()) {
        interpretError(TagUnknown, "Referenced dimension does not exist");
    }
    id = nodeID;
    dimensions.assign(node->dimensions.begin() + static_cast<std::ptrdiff_t>(fixed), node->dimensions.end());
}

namespace {

/// What the texts of a listing may take, in bytes. `heldBytes` of a record are really there; a size in a
/// definition is a claim, worth something only up to a MiB.
std::uint64_t listingBudget(std::uint64_t claimedBytes, std::uint64_t heldBytes) {
    constexpr std::uint64_t kMaxClaim = 1U << 20U;
    // An element of one byte in a record of long names is the worst that an honest record asks for.
    constexpr std::uint64_t kTextPerByte = 256;
    constexpr std::uint64_t kMinBudget = 1U << 25U;
    const std::uint64_t bytes = std::max(std::min(claimedBytes, kMaxClaim), heldBytes);
    return std::max(kMinBudget, kTextPerByte * std::min<std::uint64_t>(bytes, UINT32_MAX));
}

/// Lists expressions below a node. A definition of a few bytes can claim billions of elements, so the walk is
/// bounded.
class ExpressionLister {
 public:
    ExpressionLister(std::vector<std::string>& out, std::uint64_t budget) : m_out(out), m_remaining(budget) {}

    void list(const IType& node, std::string prefix, int levels) {
        if (prefix.empty() || prefix.back() == '.') {
            prefix += node.name;
        }
        charge(prefix);
        if (node.typeIdentifier() != TypeStruct) {
            if (levels <= 0) {
                append(std::move(prefix));
            }
        } else if (levels == 0) {
            append(std::move(prefix));
        } else {
            listElements(node, prefix, levels > 0 ? levels - 1 : -1);
        }
    }

    void listElement(const std::string& array, unsigned int entry) {
        std::string element = array;
        appendIndex(element, entry);
        charge(element);
        append(std::move(element));
    }

 private:
    // What a string takes beside its characters.
    static constexpr std::uint64_t kStringBytes = 64;

    static void appendIndex(std::string& element, unsigned int entry) {
        element += '[';
        element += std::to_string(entry);
        element += ']';
    }

    void append(std::string expression) { m_out.push_back(std::move(expression)); }

    /// Every text that the walk makes counts, those of structs on the way too.
    void charge(const std::string& text) {
        const std::uint64_t cost = text.size() + kStringBytes;
        if (cost > m_remaining) {
            interpretError(TagUnknown, "too many expressions");
        }
        m_remaining -= cost;
    }

    void listElements(const IType& node, const std::string& prefix, int levels) {
        const std::vector<TypeRef> children = node.children();
        const bool elementIsFixed = !prefix.empty() && prefix.back() == ']';
        std::vector<unsigned int> index = node.startIterate();
        while (node.valid(index, true)) {
            std::string element = prefix;
            if (!elementIsFixed) {
                for (const unsigned int entry : index) {
                    appendIndex(element, entry);
                }
            }
            charge(element);
            for (const TypeRef& child : children) {
                list(*child, element + ".", levels);
            }
            if (elementIsFixed) {
                return;
            }
            node.incIndex(index);
        }
    }

    std::vector<std::string>& m_out;
    std::uint64_t m_remaining;
};

}  // namespace

std::vector<std::string> validExpressions(const TypeRef& type, std::size_t heldBytes) {
    requireType(type);
    std::vector<std::string> expressions;
    validExpressions(type, expressions, "", -1, heldBytes);
    return expressions;
}

void validExpressions(const TypeRef& type, std::vector<std::string>& out, std::string prefix, int levels,
                      std::size_t heldBytes) {
    requireType(type);
    const std::uint64_t claimedBytes = std::uint64_t{type->size} * type->count();
    ExpressionLister(out, listingBudget(claimedBytes, heldBytes)).list(*type, std::move(prefix), levels);
}

std::vector<std::string> subExpressions(const TypeRef& type, const std::string& expression,
                                        std::size_t heldBytes) {
    requireType(type, "type is null");
    if (expression.empty()) {
        return {type->name};
    }
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    ZeltaTypeID id = ZeltaStruct;
    std::vector<unsigned int> dimensions;
    subExpressionType(type, expression, id, dimensions);

    std::vector<std::string> expressions;
    ExpressionLister lister(expressions, listingBudget(type->size, heldBytes));
    if (dimensions.empty()) {
        lister.list(*node, expression, 1);
        return expressions;
    }
    const unsigned int fixed = lastSegmentGroups(expression);
    if (fixed >= node->dimensions.size()) {
        interpretError(TagUnknown, "Internal Error, number of addressed objects mismatch dimensions");
    }
    for (unsigned int i = 0; i < node->dimensions[fixed]; ++i) {
        lister.listElement(expression, i);
    }
    return expressions;
}

namespace {

/// CRC-16 with polynomial 0x1021, start 0xFFFF, most significant bit first, no final inversion.
std::uint16_t nameChecksum(std::string_view name) {
    std::uint32_t checksum = 0xFFFF;
    for (const char character : name) {
        checksum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(character)) << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            const std::uint32_t polynomial = (checksum & 0x8000U) != 0 ? 0x1021U : 0U;
            checksum = (checksum << 1U ^ polynomial) & 0xFFFFU;
        }
    }
    return static_cast<std::uint16_t>(checksum);
}

std::uint32_t decimalNumber(std::string_view digits) {
    std::uint32_t value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            interpretError(TagExpression);
        }
        value = saturatingAdd(saturatingMultiply(value, 10), static_cast<std::uint32_t>(digit - '0'));
    }
    return value;
}

std::string compressSegment(const std::string& segment) {
    std::size_t open = segment.find('[');
    std::string compressed = ".";
    compressed += encodeNumber(nameChecksum(std::string_view(segment).substr(0, open)));
    while (open != std::string::npos) {
        const std::size_t close = segment.find(']', open);
        if (close == std::string::npos) {
            interpretError(TagExpression);
        }
        const std::string_view digits = std::string_view(segment).substr(open + 1, close - open - 1);
        compressed += '[';
        if (!digits.empty()) {
            compressed += encodeNumber(decimalNumber(digits));
        }
        open = segment.find('[', close);
    }
    return compressed;
}

}  // namespace

std::string compressExpression(const std::string& expression) {
    if (expression.find('.') == std::string::npos) {
        interpretError(TagExpression);
    }
    const std::vector<std::string> segments = split(expression, '.');
    std::string compressed;
    for (std::size_t i = 1; i < segments.size() && !segments[i].empty(); ++i) {
        compressed += compressSegment(segments[i]);
    }
    return compressed;
}

std::string encodeNumber(unsigned int value) {
    // The last two stand in this order on purpose: readers of the short form expect "_" before "-".
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    std::string text;
    do {
        text.insert(text.begin(), kDigits[value & 63U]);
        value >>= 6U;
    } while (value != 0);
    return text;
}

// --- Assigners ---

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

/// Each byte of a reversed item is a region of its own: those before the first that lies outside are copied,
/// in the order of the source. A plain item is one region, so nothing of it is.
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
    // both records, so the smaller one says how many an honest plan takes. Structs of no size do not.
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

    /// Offsets beyond an int stop at its ends, where no region fits a buffer.
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

// --- Interpreters ---

namespace {

constexpr unsigned int kMaxElementSize = 8;

/// Where the elements of an interpreter lie.
struct Layout {
    int recordSize;
    int offset;
    unsigned int count;
    TypeIdentifier identifier;
    unsigned int elementSize;
    bool swap;

    bool isWholeRecord(unsigned int dataSize) const {
        return recordSize > 0 && static_cast<unsigned int>(recordSize) == dataSize;
    }

    /// The bytes that a record needs to hold all elements. A definition may claim more than its record has.
    std::uint64_t reach() const {
        return static_cast<unsigned int>(offset) + std::uint64_t{elementSize} * count;
    }

    bool isInside(unsigned int dataSize) const { return offset >= 0 && reach() <= dataSize; }
};

[[noreturn]] void sizeMismatch(int expected, unsigned int got, int line = __builtin_LINE()) {
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "expected %d bytes (from zelta description), got %d bytes",
                  expected, static_cast<int>(got));
    interpretError(TagSizeMismatch, text.data(), line);
}

void requireWholeRecord(const Layout& layout, unsigned int dataSize, int line = __builtin_LINE()) {
    if (!layout.isWholeRecord(dataSize)) {
        sizeMismatch(layout.recordSize, dataSize, line);
    }
}

void requireInside(const Layout& layout, unsigned int dataSize, int line = __builtin_LINE()) {
    if (!layout.isInside(dataSize)) {
        sizeMismatch(saturateToInt(layout.reach()), dataSize, line);
    }
}

/// The checks of the forms that move bytes as they are.
template <typename T>
void requireRawElements(const Layout& layout, unsigned int count, unsigned int dataSize) {
    requireWholeRecord(layout, dataSize);
    if (layout.elementSize != sizeof(T) || layout.count != count) {
        interpretError(TagUnknown);
    }
    requireInside(layout, dataSize);
}

/// The checks of the forms that convert.
void requireConvertibleElements(const Layout& layout, unsigned int count, unsigned int dataSize) {
    if (!layout.isWholeRecord(dataSize) || layout.count != count || layout.elementSize > kMaxElementSize ||
        !layout.isInside(dataSize)) {
        interpretError(TagUnknown);
    }
}

/// Copies one element to the front of `scratch`, in the byte order of the machine.
void fetchElement(unsigned char* scratch, const unsigned char* element, unsigned int elementSize, bool swap) {
    copy_data(scratch, element, elementSize, 1, swap);
}

/// Calls `use` with a value of the C++ type that an element has; an element of no such type is refused.
template <typename Use>
auto withElementType(TypeIdentifier identifier, unsigned int elementSize, Use use) {
    switch (static_cast<unsigned int>(identifier) << 8U | elementSize) {
        case TypeSigned << 8 | 1:
            return use(static_cast<signed char>(0));
        case TypeSigned << 8 | 2:
            return use(static_cast<short>(0));
        case TypeSigned << 8 | 4:
            return use(0);
        case TypeSigned << 8 | 8:
            return use(0LL);
        case TypeUnsigned << 8 | 1:
            return use(static_cast<unsigned char>(0));
        case TypeUnsigned << 8 | 2:
            return use(static_cast<unsigned short>(0));
        case TypeUnsigned << 8 | 4:
            return use(0U);
        case TypeUnsigned << 8 | 8:
            return use(0ULL);
        case TypeFloat << 8 | 4:
            return use(0.0F);
        case TypeFloat << 8 | 8:
            return use(0.0);
        default:
            interpretError(TagUnknown);
    }
}

/// T is float or double.
template <typename T, typename S>
T convertElement(const unsigned char* bytes) {
    if constexpr (std::is_same_v<T, float>) {
        return convertFloat<S>(bytes);
    } else {
        return convertDouble<S>(bytes);
    }
}

template <typename T, typename S>
void convertElements(T* values, const unsigned char* elements, unsigned int count, bool swap) {
    for (std::size_t i = 0; i < count; ++i) {
        std::array<unsigned char, sizeof(S)> scratch;
        fetchElement(scratch.data(), elements + i * sizeof(S), sizeof(S), swap);
        values[i] = convertElement<T, S>(scratch.data());
    }
}

/// Truncates towards zero; what does not fit saturates and NaN becomes 0.
template <typename S>
S numberFromFloat(float value) {
    if constexpr (std::is_floating_point_v<S>) {
        return static_cast<S>(value);
    } else {
        // Powers of two, so exact in a float: the first value above the range, and its lowest.
        const float above = std::ldexp(1.0F, std::numeric_limits<S>::digits);
        const float lowest = std::is_signed_v<S> ? -above : 0.0F;
        if (std::isnan(value)) {
            return 0;
        }
        if (value >= above) {
            return std::numeric_limits<S>::max();
        }
        return value <= lowest ? std::numeric_limits<S>::min() : static_cast<S>(value);
    }
}

template <typename S>
void storeElements(unsigned char* elements, const float* values, unsigned int count, bool swap) {
    for (std::size_t i = 0; i < count; ++i) {
        const S number = numberFromFloat<S>(values[i]);
        copy_data(elements + i * sizeof(S), &number, sizeof(S), 1, swap);
    }
}

std::string textOf(signed char value) {
    std::string text = "'";
    if (value == 0) {
        text += "\\0";
    } else {
        text += static_cast<char>(value);
    }
    text += "'(";
    text += std::to_string(value);
    text += ')';
    return text;
}

std::string textOf(double value) {
    std::array<char, 32> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 6);
    return {text.data(), result.ptr};
}

std::string textOf(float value) {
    return textOf(static_cast<double>(value));
}

template <typename S>
std::string textOf(S value) {
    return std::to_string(value);
}

std::string textOfElement(const Layout& layout, const unsigned char* element) {
    std::array<unsigned char, kMaxElementSize> scratch{};
    fetchElement(scratch.data(), element, layout.elementSize, layout.swap);
    return withElementType(layout.identifier, layout.elementSize, [&scratch](auto value) {
        std::memcpy(&value, scratch.data(), sizeof(value));
        return textOf(value);
    });
}

std::string textOfElements(const Layout& layout, const unsigned char* elements) {
    constexpr std::size_t kLongText = 512;
    const bool inBraces = layout.count >= 2;
    std::string text = inBraces ? "{" : "";
    for (std::size_t i = 0; i < layout.count; ++i) {
        text += textOfElement(layout, elements + i * layout.elementSize);
        if (i + 1 < layout.count) {
            text += ", ";
        }
        if (text.size() > kLongText) {
            text += "...";
            break;
        }
    }
    return inBraces ? text + "}" : text;
}

template <typename T>
inline constexpr bool kConverts = std::is_floating_point_v<T>;

}  // namespace

template <typename T>
Interpreter<T>::Interpreter(int recordSize, int offset, unsigned int count, TypeIdentifier identifier,
                            unsigned int elementSize, bool swap)
    : m_recordSize(recordSize),
      m_offset(offset),
      m_count(count),
      m_identifier(identifier),
      m_elementSize(elementSize),
      m_swap(swap) {}

template <typename T>
void Interpreter<T>::apply(T* values, unsigned int count, const void* data, unsigned int dataSize) const {
    const Layout layout{m_recordSize, m_offset, m_count, m_identifier, m_elementSize, m_swap};
    const auto* const record = static_cast<const unsigned char*>(data);
    if constexpr (std::is_same_v<T, std::string>) {
        if (m_recordSize == 0) {
            interpretError(TagUnknown);
        }
        requireWholeRecord(layout, dataSize);
        if (count != 1 || m_elementSize > kMaxElementSize) {
            interpretError(TagUnknown);
        }
        requireInside(layout, dataSize);
        *values = m_count == 0 ? "" : textOfElements(layout, record + m_offset);
    } else if constexpr (kConverts<T>) {
        requireConvertibleElements(layout, count, dataSize);
        const auto convert = withElementType(
            m_identifier, m_elementSize, [](auto element) { return &convertElements<T, decltype(element)>; });
        convert(values, record + m_offset, m_count, m_swap);
    } else {
        requireRawElements<T>(layout, count, dataSize);
        copy_data(values, record + m_offset, m_elementSize, m_count, m_swap);
    }
}

template <typename T>
void Interpreter<T>::modify(const T* values, unsigned int count, void* data, unsigned int dataSize) const
    requires(!std::same_as<T, std::string>) {
    const Layout layout{m_recordSize, m_offset, m_count, m_identifier, m_elementSize, m_swap};
    auto* const record = static_cast<unsigned char*>(data);
    if constexpr (std::is_same_v<T, float>) {
        requireConvertibleElements(layout, count, dataSize);
        const auto store = withElementType(m_identifier, m_elementSize,
                                           [](auto element) { return &storeElements<decltype(element)>; });
        store(record + m_offset, values, m_count, m_swap);
    } else {
        requireRawElements<T>(layout, count, dataSize);
        copy_data(record + m_offset, values, m_elementSize, m_count, m_swap);
    }
}

template <typename T>
bool validate_type_conversion(unsigned int size, TypeIdentifier identifier) {
    if constexpr (std::is_same_v<T, std::string>) {
        return true;
    } else if constexpr (kConverts<T>) {
        return identifier != TypeStruct;
    } else {
        return size == sizeof(T) && identifier == (std::is_signed_v<T> ? TypeSigned : TypeUnsigned);
    }
}

template <typename T>
typename InterpreterRef<T>::Type interpreter(const TypeRef& type, const std::string& expression) {
    requireType(type, "Type is null");
    unsigned int displacement = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, displacement, count);
    if (!validate_type_conversion<T>(node->size, node->typeIdentifier())) {
        interpretError(TagExpression, "type conversion not possible " + expression);
    }
    const std::uint64_t offset = static_cast<std::uint32_t>(node->offset) + std::uint64_t{displacement};
    return typename InterpreterRef<T>::Type(
        new Interpreter<T>(static_cast<int>(type->size), saturateToInt(offset), count, node->typeIdentifier(),
                           node->size, node->endianess != EndianLittle));
}

template <typename T>
void interpret(const typename InterpreterRef<T>::Type& interpreter, T* values, unsigned int count,
               const void* data, unsigned int dataSize) {
    if (!interpreter) {
        interpretError(TagNullPointer, "Interpreter is null");
    }
    interpreter->apply(values, count, data, dataSize);
}

template <typename T>
void modify(const typename InterpreterRef<T>::Type& interpreter, const T* values, unsigned int count,
            void* data, unsigned int dataSize) {
    if (!interpreter) {
        interpretError(TagNullPointer, "Interpreter is null");
    }
    interpreter->modify(values, count, data, dataSize);
}

// NOLINTBEGIN(bugprone-macro-parentheses): types do not stand in parentheses.
#define ZELTA_INSTANTIATE_READER(T)                                                      \
    template class Interpreter<T>;                                                       \
    template bool validate_type_conversion<T>(unsigned int, TypeIdentifier);             \
    template InterpreterRef<T>::Type interpreter<T>(const TypeRef&, const std::string&); \
    template void interpret<T>(const InterpreterRef<T>::Type&, T*, unsigned int, const void*, unsigned int)

#define ZELTA_INSTANTIATE(T)     \
    ZELTA_INSTANTIATE_READER(T); \
    template void modify<T>(const InterpreterRef<T>::Type&, const T*, unsigned int, void*, unsigned int)
// NOLINTEND(bugprone-macro-parentheses)

ZELTA_INSTANTIATE(signed char);
ZELTA_INSTANTIATE(short);
ZELTA_INSTANTIATE(int);
ZELTA_INSTANTIATE(long long);
ZELTA_INSTANTIATE(unsigned char);
ZELTA_INSTANTIATE(unsigned short);
ZELTA_INSTANTIATE(unsigned int);
ZELTA_INSTANTIATE(unsigned long long);
ZELTA_INSTANTIATE(float);
ZELTA_INSTANTIATE(double);
ZELTA_INSTANTIATE_READER(std::string);

}  // namespace zelta
