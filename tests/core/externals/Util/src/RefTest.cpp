// SPDX-License-Identifier: Apache-2.0
#include "Ref.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

struct Point {
    int x;
    int y;
};

struct RecordWithReferences {
    int before;
    Ref<int> numbers;
    Ref<const float> readOnly;
    int after;
};

// --- As a pointer ---

TEST(Ref, TakesFourBytesInARecord) {
    EXPECT_EQ(sizeof(Ref<Point>), 4U);
    EXPECT_EQ(offsetof(RecordWithReferences, readOnly), 8U);
    EXPECT_EQ(sizeof(RecordWithReferences), 16U);
}

TEST(Ref, IsTriviallyCopyableAndLeavesItsRecordSo) {
    EXPECT_TRUE(std::is_trivially_copyable_v<Ref<int>>);
    EXPECT_TRUE(std::is_trivially_copyable_v<RecordWithReferences>);
    EXPECT_TRUE(std::is_standard_layout_v<RecordWithReferences>);
    EXPECT_TRUE(std::is_trivially_default_constructible_v<RecordWithReferences>);
}

TEST(Ref, NullIsZeroBits) {
    const Ref<int> null = nullptr;
    std::uint32_t bits = 1;
    std::memcpy(&bits, &null, sizeof(bits));
    EXPECT_EQ(bits, 0U);
}

TEST(Ref, ZeroedRecordHoldsNull) {
    RecordWithReferences record;
    std::memset(&record, 0, sizeof(record));
    EXPECT_TRUE(record.numbers == nullptr);
    EXPECT_FALSE(record.readOnly);
}

TEST(Ref, GivesThePointerThatWasAssigned) {
    int number = 5;
    const Ref<int> ref = &number;
    int* pointer = ref;
    EXPECT_EQ(pointer, &number);
    EXPECT_EQ(*ref, 5);
}

TEST(Ref, WritesThrough) {
    int number = 5;
    const Ref<int> ref = &number;
    *ref = 6;
    EXPECT_EQ(number, 6);
}

TEST(Ref, IsAssignedAnew) {
    int first = 1;
    int second = 2;
    Ref<int> ref = &first;
    ref = &second;
    EXPECT_EQ(*ref, 2);
    ref = nullptr;
    EXPECT_TRUE(ref == nullptr);
    ref = &first;
    EXPECT_EQ(*ref, 1);
}

TEST(Ref, ReadsElementsOfAnArray) {
    std::array<int, 4> numbers = {10, 11, 12, 13};
    const Ref<int> ref = numbers.data();
    EXPECT_EQ(ref[0], 10);
    EXPECT_EQ(ref[3], 13);
    EXPECT_EQ(*(ref + 2), 12);
    ref[1] = 99;
    EXPECT_EQ(numbers[1], 99);
}

TEST(Ref, ReachesMembers) {
    Point point = {3, 4};
    const Ref<Point> ref = &point;
    EXPECT_EQ(ref->x, 3);
    ref->y = 7;
    EXPECT_EQ(point.y, 7);
}

TEST(Ref, ComparesAsItsPointer) {
    std::array<int, 2> numbers = {};
    const Ref<int> first = &numbers[0];
    const Ref<int> second = &numbers[1];
    const Ref<int> firstAgain = &numbers[0];
    EXPECT_TRUE(first == firstAgain);
    EXPECT_TRUE(first != second);
    EXPECT_TRUE(first == &numbers[0]);
    EXPECT_TRUE(first < second);
    EXPECT_EQ(second - first, 1);
}

TEST(Ref, IsACondition) {
    int number = 1;
    const Ref<int> ref = &number;
    const Ref<int> null = nullptr;
    EXPECT_TRUE(ref ? true : false);
    EXPECT_FALSE(null ? true : false);
    EXPECT_TRUE(!null);
}

TEST(Ref, ConvertsToAReferenceToConstantData) {
    int value = 5;
    const Ref<int> ref = &value;
    const Ref<const int> constant = ref;
    EXPECT_EQ(constant, &value);
}

TEST(Ref, PointsToConstantData) {
    const std::array<float, 2> numbers = {1.5F, 2.5F};
    const Ref<const float> ref = numbers.data();
    EXPECT_EQ(ref[1], 2.5F);
}

TEST(Ref, SurvivesABytewiseCopyOfItsRecord) {
    int number = 5;
    const float constant = 2.5F;
    const RecordWithReferences record = {.before = 1, .numbers = &number, .readOnly = &constant, .after = 2};
    RecordWithReferences copy;
    std::memcpy(&copy, &record, sizeof(copy));
    EXPECT_EQ(copy.numbers, &number);
    EXPECT_EQ(copy.readOnly, &constant);
    EXPECT_EQ(copy.before, 1);
    EXPECT_EQ(copy.after, 2);
}

TEST(Ref, ReachesEveryByteOfALargeBlock) {
    // Larger than two windows, so that it crosses at least two of their borders.
    constexpr std::size_t size = std::size_t{40} << 20U;
    const std::unique_ptr<char[]> block(new char[size]);
    const Ref<char> ref = block.get();
    for (std::size_t i = 0; i < size; i += 65536) {
        EXPECT_EQ(&ref[i], &block[i]);
        const Ref<char> inside = &block[i];
        EXPECT_EQ(inside, &block[i]);
    }
    const Ref<char> last = &block[size - 1];
    EXPECT_EQ(last, &block[size - 1]);
}

TEST(Ref, IsReadByOtherThreadsWhileOneAssigns) {
    // Readers hold references of their own; the writer enters windows all the time, as a pipeline thread
    // does.
    std::array<int, 64> numbers;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<int>(i);
    }
    const Ref<int> shared = numbers.data();
    std::atomic<bool> stop = false;
    std::atomic<int> mismatches = 0;
    std::vector<std::thread> readers;
    readers.reserve(3);
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&] {
            while (!stop.load(std::memory_order_relaxed)) {
                for (std::size_t i = 0; i < numbers.size(); ++i) {
                    if (shared[i] != static_cast<int>(i)) {
                        ++mismatches;
                    }
                }
            }
        });
    }
    RecordWithReferences record = {};
    for (int round = 0; round < 20000; ++round) {
        record.numbers = &numbers[static_cast<std::size_t>(round) % numbers.size()];
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(record.numbers, &numbers[19999 % 64]);
}

TEST(Ref, IsAssignedBySeveralThreadsAtOnce) {
    std::array<int, 16> numbers = {};
    std::atomic<int> mismatches = 0;
    std::vector<std::thread> writers;
    writers.reserve(4);
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&] {
            for (std::size_t round = 0; round < 5000; ++round) {
                int* const pointer = &numbers[round % numbers.size()];
                const Ref<int> ref = pointer;
                if (ref != pointer) {
                    ++mismatches;
                }
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}

#if UINTPTR_MAX != UINT32_MAX

// --- Windows of the address space ---

// Addresses in these tests are numbers only, nothing is read from them. They lie where no program is mapped,
// each test in a stretch of its own.
// NOLINTBEGIN(performance-no-int-to-ptr)
constexpr std::uintptr_t kWindowSize = std::uintptr_t{1} << refwindows::kOffsetBits;

const char* addressInWindow(std::uintptr_t stretch, std::size_t window, std::uintptr_t offset) {
    return reinterpret_cast<const char*>((stretch << 52U) + (window + 1) * kWindowSize + offset);
}

TEST(RefWindows, FirstAndLastByteOfAWindowDecodeToThemselves) {
    for (const std::uintptr_t offset : {std::uintptr_t{0}, std::uintptr_t{1}, kWindowSize - 1}) {
        const char* const address = addressInWindow(1, 0, offset);
        const Ref<const char> ref = address;
        EXPECT_EQ(ref.get(), address) << "offset " << offset;
    }
}

TEST(RefWindows, TheFirstWindowOfTheAddressSpaceIsAWindowLikeOthers) {
    const auto* const low = reinterpret_cast<const char*>(std::uintptr_t{0x400123});
    const Ref<const char> first = low;
    const Ref<const char> other = addressInWindow(6, 0, 5);
    EXPECT_EQ(first.get(), low);
    EXPECT_EQ(other.get(), addressInWindow(6, 0, 5));
}

TEST(RefWindows, AddressesOfOneWindowShareItsNumber) {
    const Ref<const char> first = addressInWindow(2, 0, 0);
    const Ref<const char> last = addressInWindow(2, 0, kWindowSize - 1);
    const Ref<const char> next = addressInWindow(2, 1, 0);
    const auto windowOf = [](Ref<const char> ref) {
        return std::bit_cast<std::uint32_t>(ref) >> refwindows::kOffsetBits;
    };
    EXPECT_EQ(windowOf(first), windowOf(last));
    EXPECT_NE(windowOf(first), windowOf(next));
}

TEST(RefWindows, TopOfTheAddressSpaceDecodesToItself) {
    const auto* const address = reinterpret_cast<const char*>(~std::uintptr_t{0});
    const Ref<const char> ref = address;
    EXPECT_EQ(ref.get(), address);
}

TEST(RefWindows, MoreWindowsThanTheTableHoldsAreEachRightWhenAssigned) {
    for (std::size_t window = 0; window < 3 * refwindows::kTableSize; ++window) {
        const char* const address = addressInWindow(3, window, 7 * window);
        const Ref<const char> ref = address;
        ASSERT_EQ(ref.get(), address) << "window " << window;
    }
}

TEST(RefWindows, LatestWindowsStayValid) {
    // The windows assigned longest ago are given up. Other users in this process hold a part of the table.
    constexpr std::size_t kept = 200;
    std::vector<Ref<const char>> refs;
    for (std::size_t window = 0; window < 2 * refwindows::kTableSize; ++window) {
        refs.emplace_back(addressInWindow(4, window, window));
    }
    for (std::size_t window = refs.size() - kept; window < refs.size(); ++window) {
        EXPECT_EQ(refs[window].get(), addressInWindow(4, window, window)) << "window " << window;
    }
}

TEST(RefWindows, WindowThatIsAssignedAgainDoesNotGiveWay) {
    const char* const kept = addressInWindow(5, 0, 11);
    const Ref<const char> ref = kept;
    for (std::size_t window = 1; window < 3 * refwindows::kTableSize; ++window) {
        const Ref<const char> other = addressInWindow(5, window, 0);
        EXPECT_NE(other, nullptr);
        const Ref<const char> again = kept;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(again), std::bit_cast<std::uint32_t>(ref))
            << "window " << window;
    }
    EXPECT_EQ(ref.get(), kept);
}

TEST(RefWindows, PinnedWindowsNeverGiveWay) {
    // A stretch that begins and ends within windows: it touches three.
    const char* const begin = addressInWindow(6, 0, 1000);
    const RefPin pin(begin, 2 * kWindowSize);
    const Ref<const char> first = begin;
    const Ref<const char> middle = begin + kWindowSize;
    const Ref<const char> last = begin + 2 * kWindowSize - 1;
    for (std::size_t window = 10; window < 10 + 3 * refwindows::kTableSize; ++window) {
        const Ref<const char> other = addressInWindow(6, window, 0);
        ASSERT_NE(other, nullptr);
    }
    EXPECT_EQ(first.get(), begin);
    EXPECT_EQ(middle.get(), begin + kWindowSize);
    EXPECT_EQ(last.get(), begin + 2 * kWindowSize - 1);
}

// A process of its own begins with an empty table. It ends with 0 when the rule holds.

/** 0 if every reference still gives its address when `windows` windows were assigned to; else 1. */
int allStay(std::size_t windows) {
    std::vector<Ref<const char>> refs;
    for (std::size_t window = 0; window < windows; ++window) {
        refs.emplace_back(addressInWindow(7, window, window));
    }
    for (std::size_t window = 0; window < windows; ++window) {
        if (refs[window].get() != addressInWindow(7, window, window)) {
            return 1;
        }
    }
    return 0;
}

TEST(RefWindowsDeathTest, TheFirstWindowOfAProcessStaysWhenASecondComes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(allStay(2)), testing::ExitedWithCode(0), "");
}

TEST(RefWindowsDeathTest, AProcessHas255WindowsAtATime) {
    // 256 numbers of 8 bits, less the one of null.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(allStay(255)), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(std::_Exit(allStay(256)), testing::ExitedWithCode(1), "");
}

// NOLINTEND(performance-no-int-to-ptr)

#endif

}  // namespace
