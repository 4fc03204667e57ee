// SPDX-License-Identifier: Apache-2.0
// Packet helpers and their caches. All caches are process-wide, bounded together, and entered under one lock.
#include "PacketZelta.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <tuple>

namespace zelta {

namespace {

using Lock = std::lock_guard<Mutex>;

/// The whole definition is the key: byte-identical definitions, and only those, share one tree.
using TypeCache = std::map<std::string, TypeRef, std::less<>>;

/// What tells plans apart. Look-ups borrow the texts; the cache owns its own.
template <typename Text>
struct AssignerKey {
    const IType* source;
    const IType* destination;
    bool relative;
    Text sourceExpression;
    Text destinationExpression;

    auto parts() const {
        return std::make_tuple(source, destination, relative, std::string_view(sourceExpression),
                               std::string_view(destinationExpression));
    }
};

template <typename Text>
struct InterpreterKey {
    const IType* type;
    Text expression;

    auto parts() const { return std::make_tuple(type, std::string_view(expression)); }
};

struct LessByParts {
    using is_transparent = void;
    template <typename A, typename B>
    bool operator()(const A& a, const B& b) const {
        return a.parts() < b.parts();
    }
};

/// A plan, and the types whose addresses are in its key: while they live, no other
/// type can get the same address.
struct CachedAssigner {
    TypeRef source;
    TypeRef destination;
    AssignerRef plan;
};

template <typename T>
struct CachedInterpreter {
    TypeRef type;
    typename InterpreterRef<T>::Type interpreter;
};

using AssignerCache = std::map<AssignerKey<std::string>, CachedAssigner, LessByParts>;

TypeCache& iTypeCache() {
    static TypeCache cache;
    return cache;
}

AssignerCache& assignerCache() {
    static AssignerCache cache;
    return cache;
}

template <typename T>
struct InterpreterCache {
    using Map = std::map<InterpreterKey<std::string>, CachedInterpreter<T>, LessByParts>;

    static Map& cache() {
        static Map map;
        return map;
    }
};

template <typename... T>
void clearInterpreters() {
    (InterpreterCache<T>::cache().clear(), ...);
}

// --- What the caches keep ---

// Besides its bytes, a block of memory costs the allocator's overhead,
// and a node of a map its pointers.
constexpr std::size_t kBlockBytes = 16;
constexpr std::size_t kMapNodeBytes = 32 + kBlockBytes;
constexpr std::size_t kPointerBytes = sizeof(TypeRef) + sizeof(shared_ptr_ref_counter) + 2 * kBlockBytes;

std::size_t bytesOf(const std::string& text) {
    return text.capacity() + 1 + kBlockBytes;
}

std::size_t bytesOf(const IType& node) {
    std::size_t bytes = kPointerBytes + sizeof(StructType) + bytesOf(node.name) +
                        node.dimensions.capacity() * sizeof(unsigned int) + 2 * kBlockBytes;
    for (const TypeRef& child : node.children()) {
        bytes += bytesOf(*child);
    }
    return bytes;
}

std::size_t bytesOf(const Assigner& plan) {
    return kPointerBytes + sizeof(plan) + plan.items().capacity() * sizeof(Assigner::Item) + kBlockBytes;
}

/// What all caches keep. A type that several entries hold counts once.
struct CacheMemory {
    std::size_t bytes = 0;
    std::set<const IType*> types;

    std::size_t bytesOfNew(const TypeRef& type) const {
        return !type || types.count(type.get()) != 0 ? 0 : kMapNodeBytes + bytesOf(*type);
    }

    void add(const TypeRef& type) {
        bytes += bytesOfNew(type);
        types.insert(type.get());
    }
};

CacheMemory& cacheMemory() {
    static CacheMemory memory;
    return memory;
}

void clearCaches() {
    iTypeCache().clear();
    assignerCache().clear();
    clearInterpreters<signed char, short, int, long long, unsigned char, unsigned short, unsigned int,
                      unsigned long long, float, double>();
    cacheMemory().types.clear();
    cacheMemory().bytes = 0;
}

/// Keeps an entry of `bytes` plus the types that it holds, all different; `insert` puts it into its cache. An
/// entry that does not fit beside the others replaces them; one that does not fit at all is left out.
template <typename Insert>
void keep(std::size_t bytes, std::initializer_list<TypeRef> types, Insert insert) {
    CacheMemory& memory = cacheMemory();
    const auto bytesTogether = [&] {
        std::size_t sum = memory.bytes + bytes + kMapNodeBytes;
        for (const TypeRef& type : types) {
            sum += memory.bytesOfNew(type);
        }
        return sum;
    };
    if (bytesTogether() > kMaxCacheBytes) {
        clearCaches();
    }
    if (bytesTogether() > kMaxCacheBytes) {
        return;
    }
    try {
        for (const TypeRef& type : types) {
            memory.add(type);
        }
        memory.bytes += bytes + kMapNodeBytes;
        insert();
    } catch (...) {
        clearCaches();
        throw;
    }
}

const ZeltaChunk& chunkOf(const std::vector<ZeltaChunk>& chunks, int channel) {
    return chunks[static_cast<std::size_t>(findChannelInPacket(chunks, channel))];
}

/// A chunk made by a caller, not by a parser, may hold any size.
unsigned int sizeOf(int size) {
    return size > 0 ? static_cast<unsigned int>(size) : 0;
}

}  // namespace

int findChannelInPacket(const std::vector<ZeltaChunk>& chunks, int channel) {
    const auto found = std::find_if(chunks.begin(), chunks.end(), [channel](const ZeltaChunk& chunk) {
        return chunk.channelID == channel;
    });
    if (found == chunks.end()) {
        throw std::runtime_error("Unable to find requested channel " + std::to_string(channel) +
                                 " in ZeltaChunk vector");
    }
    return static_cast<int>(found - chunks.begin());
}

TypeRef cachedDatadefinition(const void* data, unsigned int size) {
    const Lock lock(mutex);
    const std::string_view key(static_cast<const char*>(data), data == nullptr ? 0 : size);
    TypeCache& cache = iTypeCache();
    const auto found = cache.find(key);
    if (found != cache.end()) {
        return found->second;
    }
    TypeRef type = parseDatadefinition(key.data(), static_cast<unsigned int>(key.size()));
    std::string owned(key);
    keep(bytesOf(owned) + sizeof(TypeCache::value_type), {type},
         [&] { cache.emplace(std::move(owned), type); });
    return type;
}

TypeRef PacketParseDataDefinition(const std::vector<ZeltaChunk>& chunks, unsigned int channel) {
    const ZeltaChunk& chunk = chunkOf(chunks, static_cast<int>(channel));
    return cachedDatadefinition(chunk.description, sizeOf(chunk.descSize));
}

AssignerRef cachedAssigner(const TypeRef& source, std::string_view sourceExpression,
                           const TypeRef& destination, std::string_view destinationExpression,
                           bool relative) {
    const Lock lock(mutex);
    const AssignerKey<std::string_view> key{source.get(), destination.get(), relative, sourceExpression,
                                            destinationExpression};
    AssignerCache& cache = assignerCache();
    const auto found = cache.find(key);
    if (found != cache.end()) {
        return found->second.plan;
    }
    AssignerKey<std::string> owned{key.source, key.destination, key.relative, std::string(sourceExpression),
                                   std::string(destinationExpression)};
    AssignerRef plan =
        assigner(source, owned.sourceExpression, destination, owned.destinationExpression, relative, false);
    const std::size_t bytes = sizeof(AssignerCache::value_type) + bytesOf(owned.sourceExpression) +
                              bytesOf(owned.destinationExpression) + bytesOf(*plan);
    keep(bytes, {source, destination}, [&] {
        cache.emplace(std::move(owned), CachedAssigner{source, destination, plan});
    });
    return plan;
}

void PacketCacheClear() {
    const Lock lock(mutex);
    clearCaches();
}

int PacketAssign(const AssignerRef& assigner, const std::vector<ZeltaChunk>& chunks, int channel,
                 void* destination, unsigned int destinationSize) {
    const ZeltaChunk& chunk = chunkOf(chunks, channel);
    return assign(assigner, chunk.data, sizeOf(chunk.dataSize), destination, destinationSize);
}

int PacketAssign(const TypeRef& source, const std::vector<ZeltaChunk>& chunks, int channel,
                 std::string_view sourceExpression, const TypeRef& destination, void* buffer,
                 unsigned int size, std::string_view destinationExpression, bool relative) {
    findChannelInPacket(chunks, channel);  // A missing channel is reported before anything is built.
    return PacketAssign(
        cachedAssigner(source, sourceExpression, destination, destinationExpression, relative), chunks,
        channel, buffer, size);
}

int PacketAssign(const std::vector<ZeltaChunk>& chunks, int channel, DefinitionGetter getter,
                 std::string_view sourceExpression, void* buffer, unsigned int size,
                 std::string_view destinationExpression, bool relative) {
    const Lock lock(mutex);
    const void* definition = nullptr;
    unsigned int definitionSize = 0;
    getter(&definition, &definitionSize);
    const TypeRef destination = cachedDatadefinition(definition, definitionSize);
    const TypeRef source = PacketParseDataDefinition(chunks, static_cast<unsigned int>(channel));
    return PacketAssign(source, chunks, channel, sourceExpression, destination, buffer, size,
                        destinationExpression, relative);
}

AssignerRef PacketAssigner(const std::vector<ZeltaChunk>& chunks, int channel,
                           std::string_view sourceExpression, const TypeRef& destination,
                           std::string_view destinationExpression, bool relative) {
    const TypeRef source = PacketParseDataDefinition(chunks, static_cast<unsigned int>(channel));
    return cachedAssigner(source, sourceExpression, destination, destinationExpression, relative);
}

template <typename T>
typename InterpreterRef<T>::Type PacketInterpreter(const std::vector<ZeltaChunk>& chunks, int channel,
                                                   std::string_view expression) {
    const TypeRef type = PacketParseDataDefinition(chunks, static_cast<unsigned int>(channel));
    const Lock lock(mutex);
    const InterpreterKey<std::string_view> key{type.get(), expression};
    auto& cache = InterpreterCache<T>::cache();
    const auto found = cache.find(key);
    if (found != cache.end()) {
        return found->second.interpreter;
    }
    InterpreterKey<std::string> owned{key.type, std::string(expression)};
    auto made = interpreter<T>(type, owned.expression);
    const std::size_t bytes = sizeof(typename InterpreterCache<T>::Map::value_type) +
                              bytesOf(owned.expression) + kPointerBytes + sizeof(Interpreter<T>);
    keep(bytes, {type}, [&] { cache.emplace(std::move(owned), CachedInterpreter<T>{type, made}); });
    return made;
}

#define ZELTA_INSTANTIATE(T)                                                                   \
    template InterpreterRef<T>::Type PacketInterpreter<T>(const std::vector<ZeltaChunk>&, int, \
                                                          std::string_view)

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

}  // namespace zelta
