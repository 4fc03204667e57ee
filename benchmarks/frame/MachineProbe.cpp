// SPDX-License-Identifier: Apache-2.0
#include "MachineProbe.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <numeric>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "MachineProbe.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace frame_benchmark {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/** Twelve chains of a product and a sum, as many as hide the latency; returns how many products and sums were
 * made. */
double Calculate(std::size_t rounds, const float* starts, float* sink) {
    constexpr int kChains = 12;
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    const V factor = hn::Set(d, starts[kChains]);
    const V summand = hn::Set(d, starts[kChains + 1]);
    V a = hn::Set(d, starts[0]), b = hn::Set(d, starts[1]), c = hn::Set(d, starts[2]),
      e = hn::Set(d, starts[3]);
    V f = hn::Set(d, starts[4]), g = hn::Set(d, starts[5]), h = hn::Set(d, starts[6]),
      i = hn::Set(d, starts[7]);
    V j = hn::Set(d, starts[8]), k = hn::Set(d, starts[9]), l = hn::Set(d, starts[10]),
      m = hn::Set(d, starts[11]);
    for (std::size_t round = 0; round < rounds; ++round) {
        for (V* const chain : {&a, &b, &c, &e, &f, &g, &h, &i, &j, &k, &l, &m}) {
            *chain = hn::Add(hn::Mul(*chain, factor), summand);
        }
    }
    V sum = hn::Zero(d);
    for (const V chain : {a, b, c, e, f, g, h, i, j, k, l, m}) {
        sum = hn::Add(sum, chain);
    }
    *sink = hn::GetLane(sum);
    return static_cast<double>(rounds) * kChains * 2 * static_cast<double>(hn::Lanes(d));
}

}  // namespace HWY_NAMESPACE
}  // namespace frame_benchmark
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace frame_benchmark {
namespace {

HWY_EXPORT(Calculate);

volatile float g_sink;  // what is written here is not left out

/** Nanoseconds of the fastest of some calls: what the machine can do when nobody disturbs it. */
template <class Work>
double fastest(int calls, Work work) {
    double least = 1e300;
    for (int call = 0; call < calls; ++call) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
        least = std::min(least, time.count());
    }
    return least;
}

}  // namespace

double copyRate(std::size_t bytes) {
    std::vector<unsigned char> from(bytes, 1);
    std::vector<unsigned char> to(bytes, 2);
    const std::size_t copies = std::max<std::size_t>(1, (std::size_t{1} << 24U) / bytes);
    const double time = fastest(9, [&] {
        for (std::size_t copy = 0; copy < copies; ++copy) {
            std::memcpy(to.data(), from.data(), bytes);
            __asm__ volatile("" ::: "memory");
        }
    });
    return static_cast<double>(bytes) * static_cast<double>(copies) / time;
}

double arithmeticRate(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    constexpr std::size_t kRounds = 400000;
    std::array<float, 14> starts{};
    std::iota(starts.begin(), starts.end(), 1.0F);
    starts[12] = 0.999F;
    starts[13] = 0.002F;
    double operations = 0.0;
    const double time = fastest(9, [&] {
        float sum = 0.0F;
        operations = HWY_DYNAMIC_DISPATCH(Calculate)(kRounds, starts.data(), &sum);
        g_sink = sum;
    });
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
    return operations / time;
}

double lookupTime() {
    constexpr std::size_t kLookups = 1U << 16U;
    std::array<float, 257> table{};
    std::iota(table.begin(), table.end(), 0.0F);
    std::vector<std::uint32_t> places(kLookups);
    for (std::size_t i = 0; i < kLookups; ++i) {
        places[i] = static_cast<std::uint32_t>(i * 2654435761U % table.size());
    }
    const double time = fastest(50, [&] {
        std::array<float, 8> sums{};
        for (std::size_t i = 0; i < kLookups; i += sums.size()) {
            for (std::size_t k = 0; k < sums.size(); ++k) {
                sums[k] += table[places[i + k]];
            }
        }
        g_sink = std::accumulate(sums.begin(), sums.end(), 0.0F);
    });
    return time / kLookups;
}

double histogramTime() {
    constexpr std::size_t kPixels = 38528;
    std::vector<std::uint16_t> bins(kPixels);
    for (std::size_t i = 0; i < kPixels; ++i) {
        bins[i] = static_cast<std::uint16_t>(i * 2654435761U >> 13U & 0xFFFU);
    }
    std::array<std::uint32_t, 4096> histogram{};
    const double time = fastest(50, [&] {
        for (const std::uint16_t bin : bins) {
            ++histogram[bin];
        }
        __asm__ volatile("" ::"r"(histogram.data()) : "memory");
    });
    return time / kPixels;
}

}  // namespace frame_benchmark
#endif  // HWY_ONCE
