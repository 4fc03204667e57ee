// SPDX-License-Identifier: Apache-2.0
#include "ALpffft.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ALErrorHandling.h"
#include "ALpffftEngine.h"

namespace {

constexpr char_t kSourceFile[] = "pffft";
constexpr FixedLineReport fail = {kSourceFile};

constexpr int32_t kLineBelowHeader = 1264;
constexpr int32_t kLineRealLength = 1270;
constexpr int32_t kLineComplexLength = 1271;
constexpr int32_t kLineBelowTables = 1284;

// A setup in its buffer: the header, and the tables at the next multiple of 64. The pointers of the engine's
// record are kept as bytes from the header, so a setup holds no address, and its bytes are the same in every
// process.
struct Header {
    int32_t numbers[18];  ///< the length first
    uint32_t data;
    uint32_t e;
    uint32_t twiddle;
};
constexpr size_t kHeaderBytes = sizeof(Header);
constexpr size_t kTableAlignment = 64;
constexpr int64_t kBytesBesideTables = 148;
static_assert(kHeaderBytes + kTableAlignment <= kBytesBesideTables, "they fit however the buffer is aligned");
static_assert(sizeof(Header::numbers) == sizeof(alpffft::Setup::numbers));
constexpr int32_t kMaxFactors = 13;  ///< as many as the header has room for

int64_t tableBytes(int length, pffft_transform_t transform) noexcept {
    return int64_t{transform == PFFFT_COMPLEX ? length / 4 : length / 8} * 32;
}

/** Whether the engine's factors 4, 2, 3 and 5 make up the length, and its list has room for them. */
bool isFactored(int length) noexcept {
    int rest = length / alpffft::vectorWidth();
    int count = 0;
    for (const int factor : {4, 2, 3, 5}) {
        for (; rest % factor == 0; rest /= factor) {
            ++count;
        }
    }
    return rest == 1 && count <= kMaxFactors;
}

bool isLegal(int length, int multipleOf) noexcept {
    return length > 0 && length % multipleOf == 0 && isFactored(length);
}

/** What the engine gets for the setup that is being built: a record, and the place of its tables. */
class Arena {
 public:
    Arena(unsigned char* buffer, int64_t tables) noexcept
        : begin_(buffer), table_(buffer + tableOffset(buffer)), tables_(static_cast<size_t>(tables)) {}

    /** What the engine's next request for memory gets. */
    void* serve(size_t size) noexcept {
        ++requests_;
        if (requests_ == 1 && size == sizeof setup_) {
            return &setup_;
        }
        // From here the engine moves to the next multiple of 64.
        return requests_ == 2 && size <= tables_ + kTableAlignment
                   ? reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(table_) - kTableAlignment)
                   : nullptr;
    }

    /** Writes the header to the buffer once the engine has made this setup. */
    bool keep(const alpffft::Setup* setup, int length) const noexcept {
        if (setup != &setup_ || setup->numbers[0] != length) {
            return false;
        }
        Header header = {};
        if (!place(setup->data, header.data) || !place(setup->e, header.e) ||
            !place(setup->twiddle, header.twiddle)) {
            return false;
        }
        std::memcpy(header.numbers, setup->numbers, sizeof header.numbers);
        std::memset(begin_, 0, static_cast<size_t>(table_ - begin_));  // the engine left an address there
        std::memcpy(begin_, &header, sizeof header);
        return true;
    }

 private:
    static size_t tableOffset(const unsigned char* buffer) noexcept {
        const auto begin = reinterpret_cast<uintptr_t>(buffer);
        const uintptr_t table = (begin + kHeaderBytes + kTableAlignment - 1) & ~(kTableAlignment - 1);
        return table - begin;
    }

    /** The place of an address within the tables. */
    bool place(const void* address, uint32_t& fromHeader) const noexcept {
        const auto begin = reinterpret_cast<uintptr_t>(table_);
        const auto at = reinterpret_cast<uintptr_t>(address);
        fromHeader = static_cast<uint32_t>(at - reinterpret_cast<uintptr_t>(begin_));
        return begin <= at && at <= begin + tables_;
    }

    unsigned char* begin_;
    unsigned char* table_;
    size_t tables_;
    alpffft::Setup setup_ = {};
    int requests_ = 0;
};

/** The engine's record of a setup in a buffer. */
alpffft::Setup engineSetup(PFFFT_Setup* setup) noexcept {
    Header header;
    std::memcpy(&header, setup, sizeof header);
    auto* const begin = reinterpret_cast<unsigned char*>(setup);
    alpffft::Setup engine;
    std::memcpy(engine.numbers, header.numbers, sizeof engine.numbers);
    engine.data = begin + header.data;
    engine.e = reinterpret_cast<float32_t*>(begin + header.e);
    engine.twiddle = reinterpret_cast<float32_t*>(begin + header.twiddle);
    return engine;
}

// The engine's requests carry no context, so one setup is built at a time. (A thread-local variable would
// make a dynamically loaded library allocate memory.)
constinit std::atomic_flag g_building = ATOMIC_FLAG_INIT;
constinit Arena* g_arena = nullptr;

/** Has the engine make a setup, and keeps it in the arena's buffer. */
bool buildIn(Arena& arena, int length, pffft_transform_t transform) noexcept {
    while (g_building.test_and_set(std::memory_order_acquire)) {
    }
    g_arena = &arena;
    const alpffft::Setup* const setup = alpffft::newSetup(length, transform == PFFFT_COMPLEX);
    g_arena = nullptr;
    g_building.clear(std::memory_order_release);
    return arena.keep(setup, length);
}

bool isAligned(const void* address) noexcept {
    return reinterpret_cast<uintptr_t>(address) % 16 == 0;
}

}  // namespace

extern "C" {

void* alpffft_malloc(size_t size) noexcept;
void alpffft_free(void* memory) noexcept;

void* alpffft_malloc(size_t size) noexcept {
    return g_arena != nullptr ? g_arena->serve(size) : nullptr;
}

void alpffft_free(void*) noexcept {
    // The memory stays its owner's.
}
}

int pffft_buffersize(int N, pffft_transform_t transform) noexcept {
    const int64_t size = tableBytes(N > 0 ? N : 0, transform) + kBytesBesideTables;
    constexpr int kMax = std::numeric_limits<int>::max();
    return size < kMax ? static_cast<int>(size) : kMax;
}

int pffft_new_setup(PFFFT_Setup** res, int N, pffft_transform_t transform, unsigned char* buffer,
                    unsigned int bufferSize) noexcept {
    if (res == nullptr || buffer == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (bufferSize < kHeaderBytes) {
        return fail(kLineBelowHeader);
    }
    if (transform != PFFFT_COMPLEX && !isLegal(N, 32)) {
        return fail(kLineRealLength);
    }
    if (transform == PFFFT_COMPLEX && !isLegal(N, 16)) {
        return fail(kLineComplexLength);
    }
    const int64_t tables = tableBytes(N, transform);
    if (bufferSize < tables + kBytesBesideTables) {
        return fail(kLineBelowTables);
    }
    Arena arena(buffer, tables);
    if (!buildIn(arena, N, transform)) {
        return reportFailure(kSourceFile);
    }
    *res = reinterpret_cast<PFFFT_Setup*>(buffer);
    return 0;
}

int pffft_setup_length(const PFFFT_Setup* setup) noexcept {
    int length = 0;
    std::memcpy(&length, setup, sizeof length);
    return length;
}

int pffft_transform_ordered(PFFFT_Setup* setup, const float* input, float* output, float* work,
                            pffft_direction_t direction) noexcept {
    if (setup == nullptr || input == nullptr || output == nullptr || work != nullptr) {
        return reportFailure(kSourceFile);
    }
    if (!isAligned(input) || !isAligned(output)) {
        return reportFailure(kSourceFile);
    }
    alpffft::Setup engine = engineSetup(setup);
    alpffft::transformOrdered(engine, input, output, direction == PFFFT_BACKWARD);
    return 0;
}

int pffft_simd_size() noexcept {
    return alpffft::vectorWidth();
}
