// SPDX-License-Identifier: Apache-2.0
//
// The pipeline allocates nothing from its initialisation on, not even for the first image. This is a separate
// program: it replaces the allocator, and nothing may have run before it.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include "QorData.h"
#include "support/Pipeline.h"

namespace {

thread_local bool g_counting = false;
thread_local int g_allocations = 0;

void count() {
    if (g_counting) {
        ++g_allocations;
    }
}

}  // namespace

// Every way to get memory, replaced at link time; __libc_* are the C library's own.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* old, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    count();
    return __libc_malloc(size);
}
void* calloc(size_t number, size_t size) {
    count();
    return __libc_calloc(number, size);
}
void* realloc(void* old, size_t size) {
    count();
    return __libc_realloc(old, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    count();
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** result, size_t alignment, size_t size) {
    count();
    *result = __libc_memalign(alignment, size);
    return *result == nullptr ? ENOMEM : 0;
}
}

namespace {

class Allocation : public testing_support::PipelineHost {
 protected:
    template <class Action>
    static int allocationsOf(Action action) {
        g_allocations = 0;
        g_counting = true;
        action();
        g_counting = false;
        return g_allocations;
    }
};

TEST_F(Allocation, TheCounterSeesAnAllocation) {
    EXPECT_EQ(allocationsOf([] {
                  int* volatile p = new int(3);
                  delete p;
              }),
              1);
}

TEST_F(Allocation, InitialisationAndFramesAllocateNothing) {
    // The first report may make the C library allocate the host's buffer of standard output.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    EXPECT_EQ(allocationsOf([this] { init(); }), 0);
    testing_support::PhaseGroup& group = group_;
    group.fill(2500, 2000, 1500, 2000);
    askForExposureTimes();
    customization_.enableStraylightCorrection = 1;
    customization_.enableNoiseEstimation = 1;
    customization_.filterSet.applyDistanceFilter = 1;
    customization_.filterSet.applyAmplitudeFilter = 1;
    customization_.filterSet.temporalFilter = TempFilter_Mean;
    customization_.filterSet.tempMeanSettings.numberOfFrames = 2;
    testing_support::PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    int32_t failures = 0;
    EXPECT_EQ(allocationsOf([&] {
                  for (int frame = 0; frame < 3; ++frame) {
                      customization_.filterSet.spatialFilter = static_cast<SpatialFilter>(1 + frame);
                      customization_.filterSet.spatBilateralSettings = {FilterMaskSize_5x5, 1.0F, 0.1F};
                      failures += apply(ambient[0]);
                      for (const QorRawdataPhase& phase : group) {
                          failures += apply(phase);
                      }
                  }
              }),
              0);
    EXPECT_EQ(failures, 0) << errorString();
    EXPECT_EQ(result_->frameCounter, 2U);
}

TEST_F(Allocation, AFailureAllocatesNothing) {
    init();
    group_.setFrequency(9);
    int32_t failures = 0;
    EXPECT_EQ(allocationsOf([&] {
                  for (const QorRawdataPhase& phase : group_) {
                      failures += apply(phase);
                  }
              }),
              0);
    EXPECT_EQ(failures, 1);
}

}  // namespace
