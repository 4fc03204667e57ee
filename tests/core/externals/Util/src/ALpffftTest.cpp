// SPDX-License-Identifier: Apache-2.0
//
// The FFT engine in memory of its caller.
#include "ALpffft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <vector>

#include "support/Random.h"
#include "support/Reports.h"
#include "support/Threads.h"

namespace {

using testing_support::Lines;
using testing_support::Random;
using testing_support::Reports;

constexpr double kPi = 3.14159265358979323846;

/** Floats at a 16-byte boundary. */
class AlignedFloats {
 public:
    explicit AlignedFloats(size_t count) : memory_(count + 4) {
        const size_t offset = reinterpret_cast<uintptr_t>(memory_.data()) % 16 / 4;
        first_ = memory_.data() + (offset == 0 ? 0 : 4 - offset);
    }
    float* data() { return first_; }

 private:
    std::vector<float> memory_;
    float* first_;
};

/** Bytes with marks before and after them. */
class Bytes {
 public:
    explicit Bytes(size_t size, size_t offset = 0) : size_(size), offset_(64 + offset), memory_(size + 192) {
        std::memset(memory_.data(), kMark, memory_.size());
    }
    unsigned char* data() { return memory_.data() + offset_; }
    bool surroundingsAreUntouched() const {
        for (size_t i = 0; i < memory_.size(); ++i) {
            if ((i < offset_ || i >= offset_ + size_) && memory_[i] != kMark) {
                return false;
            }
        }
        return true;
    }

 private:
    static constexpr unsigned char kMark = 0xA5;
    size_t size_;
    size_t offset_;
    std::vector<unsigned char> memory_;
};

TEST(Pffft, BufferSizeIsAThirtySecondOfTheLengthAndAHeader) {
    EXPECT_EQ(pffft_buffersize(64, PFFFT_REAL), 64 / 8 * 32 + 148);
    EXPECT_EQ(pffft_buffersize(64, PFFFT_COMPLEX), 64 / 4 * 32 + 148);
    EXPECT_EQ(pffft_buffersize(768, PFFFT_REAL), 3220);
}

TEST(Pffft, BufferSizeOfHostileLengthsSaturates) {
    EXPECT_EQ(pffft_buffersize(std::numeric_limits<int>::max(), PFFFT_COMPLEX),
              std::numeric_limits<int>::max());
    EXPECT_EQ(pffft_buffersize(std::numeric_limits<int>::min(), PFFFT_REAL), 148);
    EXPECT_EQ(pffft_buffersize(0, PFFFT_REAL), 148);
}

TEST(Pffft, ASetupFitsItsBufferHoweverItIsAligned) {
    for (const pffft_transform_t transform : {PFFFT_REAL, PFFFT_COMPLEX}) {
        for (const int length : {32, 64, 96, 160, 480, 768, 1024}) {
            const int size = pffft_buffersize(length, transform);
            for (size_t offset = 0; offset < 64; ++offset) {
                Bytes bytes(static_cast<size_t>(size), offset);
                PFFFT_Setup* setup = nullptr;
                ASSERT_EQ(
                    pffft_new_setup(&setup, length, transform, bytes.data(), static_cast<unsigned>(size)), 0);
                ASSERT_TRUE(bytes.surroundingsAreUntouched()) << length << " at " << offset;
                EXPECT_EQ(pffft_setup_length(setup), length);
            }
        }
    }
}

TEST(Pffft, ASetupHasTheSameBytesWhereverItsBufferLies) {
    for (const pffft_transform_t transform : {PFFFT_REAL, PFFFT_COMPLEX}) {
        for (const size_t offset : {0, 1, 20, 63}) {
            const int size = pffft_buffersize(96, transform);
            alignas(64) unsigned char buffers[2][4096] = {};
            for (unsigned char* const buffer : {buffers[0] + offset, buffers[1] + offset}) {
                PFFFT_Setup* setup = nullptr;
                ASSERT_EQ(pffft_new_setup(&setup, 96, transform, buffer, static_cast<unsigned>(size)), 0);
            }
            EXPECT_EQ(std::memcmp(buffers[0], buffers[1], sizeof buffers[0]), 0) << offset;
        }
    }
}

TEST(Pffft, ABufferBelowTheHeaderIsLine1264) {
    const Reports reports;
    unsigned char buffer[64];
    PFFFT_Setup* setup = nullptr;
    EXPECT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, buffer, sizeof buffer), 1);
    EXPECT_EQ(reports.all(), Lines{"pffft 1264"});
    EXPECT_EQ(setup, nullptr);
}

TEST(Pffft, ABufferOneByteTooSmallIsLine1284) {
    const Reports reports;
    Bytes bytes(404);
    PFFFT_Setup* setup = nullptr;
    EXPECT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, bytes.data(), 403), 1);
    EXPECT_EQ(reports.all(), Lines{"pffft 1284"});
    EXPECT_TRUE(bytes.surroundingsAreUntouched());
}

TEST(Pffft, IllegalRealLengthsAreLine1270) {
    Bytes bytes(8192);
    for (const int length : {0, -32, 16, 33, 48, 224, 352, std::numeric_limits<int>::min()}) {
        const Reports reports;
        PFFFT_Setup* setup = nullptr;
        EXPECT_EQ(pffft_new_setup(&setup, length, PFFFT_REAL, bytes.data(), 8192), 1) << length;
        EXPECT_EQ(reports.all(), Lines{"pffft 1270"}) << length;
    }
}

TEST(Pffft, IllegalComplexLengthsAreLine1271) {
    Bytes bytes(8192);
    for (const int length : {0, -16, 8, 24, 112, 208, std::numeric_limits<int>::min()}) {
        const Reports reports;
        PFFFT_Setup* setup = nullptr;
        EXPECT_EQ(pffft_new_setup(&setup, length, PFFFT_COMPLEX, bytes.data(), 8192), 1) << length;
        EXPECT_EQ(reports.all(), Lines{"pffft 1271"}) << length;
    }
}

TEST(Pffft, ALengthWithMoreFactorsThanTheHeaderHoldsIsRefused) {
    // 2^7 3^13 = 204073344 has thirteen factors 3 beside those of 2, in a buffer that claims to be large
    // enough.
    const Reports reports;
    Bytes bytes(8192);
    PFFFT_Setup* setup = nullptr;
    EXPECT_EQ(pffft_new_setup(&setup, 204073344, PFFFT_REAL, bytes.data(), 0xFFFFFFFFU), 1);
    EXPECT_EQ(reports.all(), Lines{"pffft 1270"});
}

TEST(Pffft, NullArgumentsFail) {
    const Reports reports;
    Bytes bytes(404);
    AlignedFloats data(64);
    PFFFT_Setup* setup = nullptr;
    EXPECT_EQ(pffft_new_setup(nullptr, 64, PFFFT_REAL, bytes.data(), 404), 1);
    EXPECT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, nullptr, 404), 1);
    ASSERT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, bytes.data(), 404), 0);
    EXPECT_EQ(pffft_transform_ordered(nullptr, data.data(), data.data(), nullptr, PFFFT_FORWARD), 1);
    EXPECT_EQ(pffft_transform_ordered(setup, nullptr, data.data(), nullptr, PFFFT_FORWARD), 1);
    EXPECT_EQ(pffft_transform_ordered(setup, data.data(), nullptr, nullptr, PFFFT_FORWARD), 1);
    EXPECT_EQ(reports.all().size(), 5U);
}

TEST(Pffft, ABufferForTheWorkIsRefusedAsTheSetupHasItsOwn) {
    const Reports reports;
    Bytes bytes(404);
    AlignedFloats data(64);
    AlignedFloats work(64);
    PFFFT_Setup* setup = nullptr;
    ASSERT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, bytes.data(), 404), 0);
    EXPECT_EQ(pffft_transform_ordered(setup, data.data(), data.data(), work.data(), PFFFT_FORWARD), 1);
    EXPECT_EQ(reports.all().size(), 1U);
}

TEST(Pffft, UnalignedDataIsRefused) {
    const Reports reports;
    Bytes bytes(404);
    AlignedFloats data(128);
    PFFFT_Setup* setup = nullptr;
    ASSERT_EQ(pffft_new_setup(&setup, 64, PFFFT_REAL, bytes.data(), 404), 0);
    EXPECT_EQ(pffft_transform_ordered(setup, data.data() + 1, data.data(), nullptr, PFFFT_FORWARD), 1);
    EXPECT_EQ(pffft_transform_ordered(setup, data.data(), data.data() + 2, nullptr, PFFFT_FORWARD), 1);
    EXPECT_EQ(reports.all().size(), 2U);
}

TEST(Pffft, TheVectorWidthIsFour) {
    EXPECT_EQ(pffft_simd_size(), 4);
}

/** Spectrum of interleaved values, by the definition. */
std::vector<std::complex<double>> transformOf(const std::vector<std::complex<double>>& values) {
    const size_t n = values.size();
    std::vector<std::complex<double>> spectrum(n);
    for (size_t k = 0; k < n; ++k) {
        for (size_t i = 0; i < n; ++i) {
            spectrum[k] += values[i] * std::polar(1.0, -2.0 * kPi * static_cast<double>(i * k % n) /
                                                           static_cast<double>(n));
        }
    }
    return spectrum;
}

TEST(Pffft, ARealSpectrumHasFrequency0AndNyquistFirst) {
    for (const int length : {32, 64, 96, 160, 480}) {
        Random random(1);
        SCOPED_TRACE(random.seedText());
        Bytes bytes(static_cast<size_t>(pffft_buffersize(length, PFFFT_REAL)));
        PFFFT_Setup* setup = nullptr;
        ASSERT_EQ(pffft_new_setup(&setup, length, PFFFT_REAL, bytes.data(),
                                  static_cast<unsigned>(pffft_buffersize(length, PFFFT_REAL))),
                  0);
        const auto n = static_cast<size_t>(length);
        AlignedFloats input(n);
        AlignedFloats output(n);
        std::vector<std::complex<double>> values(n);
        for (size_t i = 0; i < n; ++i) {
            input.data()[i] = random.real(-1.0F, 1.0F);
            values[i] = static_cast<double>(input.data()[i]);
        }
        ASSERT_EQ(pffft_transform_ordered(setup, input.data(), output.data(), nullptr, PFFFT_FORWARD), 0);
        const auto spectrum = transformOf(values);
        EXPECT_NEAR(output.data()[0], spectrum[0].real(), 2e-5);
        EXPECT_NEAR(output.data()[1], spectrum[n / 2].real(), 2e-5);
        for (size_t k = 1; k < n / 2; ++k) {
            EXPECT_NEAR(output.data()[2 * k], spectrum[k].real(), 2e-5) << length << ", " << k;
            EXPECT_NEAR(output.data()[2 * k + 1], spectrum[k].imag(), 2e-5) << length << ", " << k;
        }
    }
}

TEST(Pffft, ForwardAndBackwardMultiplyByTheLengthAlsoInPlace) {
    constexpr size_t kLength = 96;
    Random random(2);
    SCOPED_TRACE(random.seedText());
    Bytes bytes(static_cast<size_t>(pffft_buffersize(kLength, PFFFT_COMPLEX)));
    PFFFT_Setup* setup = nullptr;
    ASSERT_EQ(pffft_new_setup(&setup, kLength, PFFFT_COMPLEX, bytes.data(),
                              static_cast<unsigned>(pffft_buffersize(kLength, PFFFT_COMPLEX))),
              0);
    AlignedFloats data(2 * kLength);
    std::vector<float> values(2 * kLength);
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = random.real(-1.0F, 1.0F);
        data.data()[i] = values[i];
    }
    EXPECT_EQ(pffft_transform_ordered(setup, data.data(), data.data(), nullptr, PFFFT_FORWARD), 0);
    EXPECT_EQ(pffft_transform_ordered(setup, data.data(), data.data(), nullptr, PFFFT_BACKWARD), 0);
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(data.data()[i], values[i] * static_cast<float>(kLength), 1e-4) << i;
    }
}

TEST(Pffft, SeveralThreadsBuildSetupsAtTheSameTime) {
    constexpr int kThreads = 4;
    std::vector<std::thread> threads;
    std::vector<int> good(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&good, t] {
            const int length = 32 * (t + 1);
            Bytes bytes(static_cast<size_t>(pffft_buffersize(length, PFFFT_REAL)));
            for (int i = 0; i < 200; ++i) {
                PFFFT_Setup* setup = nullptr;
                good[static_cast<size_t>(t)] +=
                    pffft_new_setup(&setup, length, PFFFT_REAL, bytes.data(),
                                    static_cast<unsigned>(pffft_buffersize(length, PFFFT_REAL))) == 0 &&
                    pffft_setup_length(setup) == length && bytes.surroundingsAreUntouched();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, (std::vector<int>(kThreads, 200)));
}

}  // namespace
