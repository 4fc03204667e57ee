// SPDX-License-Identifier: Apache-2.0
#include "zelta_shared_ptr.h"

#include <gtest/gtest.h>

#include <cstring>

namespace zelta {
namespace {

/// Counts how many of its kind have ended.
struct Tracked {
    explicit Tracked(int& ended) : m_ended(ended) {}
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() { ++m_ended; }
    int& m_ended;
};

/// An object that owns the pointer that is assigned to its owner.
struct Link {
    explicit Link(int value) : m_value(value) {}
    int m_value;
    shared_ptr<Link> m_next;
};

TEST(SharedPtr, EmptyOneIsReleasedWithoutDestroyer) {
    {
        const shared_ptr<Tracked> empty;
        const shared_ptr<Tracked> copy(empty);
        EXPECT_EQ(copy.get(), nullptr);
        EXPECT_FALSE(copy);
    }
}

TEST(SharedPtr, ObjectEndsWithItsLastPointer) {
    int ended = 0;
    {
        shared_ptr<Tracked> outer;
        {
            const shared_ptr<Tracked> first(new Tracked(ended));
            const shared_ptr<Tracked> second(first);
            outer = second;
            EXPECT_EQ(outer.get(), first.get());
        }
        EXPECT_EQ(ended, 0);
    }
    EXPECT_EQ(ended, 1);
}

TEST(SharedPtr, AssignmentReleasesTheOldObject) {
    int ended = 0;
    int other = 0;
    shared_ptr<Tracked> pointer(new Tracked(ended));
    pointer = shared_ptr<Tracked>(new Tracked(other));
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(other, 0);
}

TEST(SharedPtr, AssignmentToItselfDoesNothing) {
    int ended = 0;
    shared_ptr<Tracked> pointer(new Tracked(ended));
    const shared_ptr<Tracked>& same = pointer;
    pointer = same;
    EXPECT_EQ(ended, 0);
    EXPECT_TRUE(pointer);
}

TEST(SharedPtr, AssignmentOfAnEmptyOneEmptiesAndKeepsWorking) {
    int ended = 0;
    shared_ptr<Tracked> pointer(new Tracked(ended));
    pointer = shared_ptr<Tracked>();
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(pointer);
    pointer = shared_ptr<Tracked>(new Tracked(ended));
    EXPECT_TRUE(pointer);
}

/// The third word of a pointer; nothing else shows it while there is no object.
using Destroyer = void (*)(void*);
Destroyer destroyerOf(const shared_ptr<Tracked>& pointer) {
    static_assert(sizeof pointer == 3 * sizeof(void*));
    Destroyer destroyer = nullptr;
    std::memcpy(&destroyer, reinterpret_cast<const char*>(&pointer) + 2 * sizeof(void*), sizeof destroyer);
    return destroyer;
}

TEST(SharedPtr, AssignmentOfAnEmptyOneLeavesTheOldDestroyer) {
    int ended = 0;
    shared_ptr<Tracked> pointer;
    EXPECT_EQ(destroyerOf(pointer), nullptr);
    pointer = shared_ptr<Tracked>(new Tracked(ended));
    EXPECT_EQ(destroyerOf(pointer), &destroy_object<Tracked>);
    pointer = shared_ptr<Tracked>();
    EXPECT_FALSE(pointer);
    EXPECT_EQ(destroyerOf(pointer), &destroy_object<Tracked>);
}

TEST(SharedPtr, MayBeAssignedFromInsideItsOwnObject) {
    shared_ptr<Link> list(new Link(1));
    list->m_next = shared_ptr<Link>(new Link(2));
    list = list->m_next;
    EXPECT_EQ(list->m_value, 2);
}

TEST(SharedPtr, OfBytesTakesUntypedMemory) {
    const shared_ptr<unsigned char> bytes(static_cast<unsigned char*>(::operator new(16)));
    bytes.get()[15] = 7;
    EXPECT_EQ(bytes.get()[15], 7);
}

TEST(SharedPtr, IsEqualToPointersToTheSameObjectOnly) {
    int ended = 0;
    const shared_ptr<Tracked> a(new Tracked(ended));
    const shared_ptr<Tracked> b(a);
    const shared_ptr<Tracked> c(new Tracked(ended));
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == c);
}

/// Counts the ends of its objects without touching them.
struct Counted {
    ~Counted() { ++ended; }
    static inline int ended = 0;
};

TEST(DestroyObject, IgnoresNull) {
    destroy_object<Counted>(nullptr);
    destroy_object<unsigned char>(nullptr);
    EXPECT_EQ(Counted::ended, 0);
    destroy_object<Counted>(new Counted);
    EXPECT_EQ(Counted::ended, 1);
}

TEST(RefCounter, CountsFromOne) {
    shared_ptr_ref_counter counter;
    EXPECT_EQ(counter.count(), 1U);
    ++counter;
    EXPECT_EQ(counter.count(), 2U);
    --counter;
    EXPECT_EQ(counter.count(), 1U);
}

}  // namespace
}  // namespace zelta
