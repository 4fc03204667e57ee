// SPDX-License-Identifier: Apache-2.0
//
// The two-dimensional FFT: lengths, memory, the layout of the spectrum, convolution, and what fails where.
#include "ALfft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "ALfftKernels.h"
#include "ALfftRule.h"
#include "ALpffft.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"
#include "support/Targets.h"

namespace {

using testing_support::Lines;
using testing_support::Random;
using testing_support::Reports;
using testing_support::sameFloats;

/** Bytes of the three setups. */
size_t bytesOfSetups(int32_t width, int32_t height) {
    return static_cast<size_t>(pffft_buffersize(width, PFFFT_REAL) + pffft_buffersize(height, PFFFT_COMPLEX) +
                               pffft_buffersize(height, PFFFT_REAL));
}

size_t bytesOfLine(size_t width, size_t height) {
    return std::max(width, 2 * height) * sizeof(float);
}

/** Memory whose start lies `offset` bytes after a multiple of 64. */
class Buffer {
 public:
    explicit Buffer(size_t size, size_t offset = 0) : size_(size), memory_(size + 256, kMark) {
        const size_t beyond = reinterpret_cast<uintptr_t>(memory_.data()) % 64;
        start_ = memory_.data() + 128 - beyond + offset % 64;
    }
    uint8_t* data() { return start_; }
    uint32_t size() const { return static_cast<uint32_t>(size_); }
    bool endIsUntouched() const {
        return std::all_of<const uint8_t*>(start_ + size_, &memory_.back(),
                                           [](uint8_t byte) { return byte == kMark; });
    }

 private:
    static constexpr uint8_t kMark = 0x5A;
    size_t size_;
    std::vector<uint8_t> memory_;
    uint8_t* start_;
};

/** A handle with plenty of memory, and a spectrum at a 16-byte boundary. */
class Fft {
 public:
    Fft(uint32_t width, uint32_t height)
        : width_(width),
          height_(height),
          buffer_(16 * size_t{width} * height + 65536),
          spectrum_(4 * size_t{width} * height) {
        EXPECT_EQ(setup_fft2(&handle_, static_cast<int32_t>(width), static_cast<int32_t>(height),
                             buffer_.data(), buffer_.size()),
                  0);
    }

    float* forward(const std::vector<float>& image, uint32_t width, uint32_t height) {
        auto* const spectrum = reinterpret_cast<float*>(spectrum_.data());
        EXPECT_EQ(alfft_fft2_r2c(image.data(), width, height, spectrum, width_, height_, handle_), 0);
        return spectrum;
    }

    std::vector<float> convolve(const std::vector<float>& image, uint32_t width, uint32_t height,
                                const float* spectrum, uint32_t keptWidth, uint32_t keptHeight) {
        std::vector<float> result(size_t{keptWidth} * keptHeight);
        EXPECT_EQ(alfft_fft2_circ_convolve(image.data(), width, height, spectrum, width_, height_,
                                           result.data(), keptWidth, keptHeight, handle_),
                  0);
        return result;
    }

    void* handle() { return handle_; }

 private:
    uint32_t width_;
    uint32_t height_;
    Buffer buffer_;
    Buffer spectrum_;
    void* handle_ = nullptr;
};

std::vector<float> randomImage(Random& random, size_t count) {
    std::vector<float> image(count);
    for (float& pixel : image) {
        pixel = random.real(-1.0F, 1.0F);
    }
    return image;
}

// --- Lengths -----------------------------------------------------------------------------------------------

TEST(NextFftSize, IsTheSmallestLegalLengthNotBelow) {
    EXPECT_EQ(alfft_next_fftsize(1), 32U);
    EXPECT_EQ(alfft_next_fftsize(32), 32U);
    EXPECT_EQ(alfft_next_fftsize(33), 64U);
    EXPECT_EQ(alfft_next_fftsize(57), 64U);
    EXPECT_EQ(alfft_next_fftsize(65), 96U);
    EXPECT_EQ(alfft_next_fftsize(97), 128U);
}

TEST(NextFftSize, HoldsAtTheLimits) {
    EXPECT_EQ(alfft_next_fftsize(0), 32U);
    EXPECT_EQ(alfft_next_fftsize(1399680000U), 1399680000U);
    EXPECT_EQ(alfft_next_fftsize(1399680001U), 0U);
    EXPECT_EQ(alfft_next_fftsize(std::numeric_limits<uint32_t>::max()), 0U);
}

TEST(NextFftSize, KnowsAllProductsAndNoOther) {
    const auto isProduct = [](uint32_t n) {
        int a = 0;
        int b = 0;
        int c = 0;
        for (; n % 2 == 0; n /= 2, ++a) {
        }
        for (; n % 3 == 0; n /= 3, ++b) {
        }
        for (; n % 5 == 0; n /= 5, ++c) {
        }
        return n == 1 && a >= 5 && a <= 10 && b <= 7 && c <= 4;
    };
    for (uint32_t n = 32; n < 20000; ++n) {
        EXPECT_EQ(alfft_next_fftsize(n) == n, isProduct(n)) << n;
    }
    uint32_t count = 0;
    for (uint32_t n = 1; alfft_next_fftsize(n) != 0; n = alfft_next_fftsize(n) + 1) {
        ++count;
    }
    EXPECT_EQ(count, 240U);
}

// --- Memory ------------------------------------------------------------------------------------------------

TEST(SetupFft2, TheHandleIsTheBuffer) {
    Buffer buffer(100000);
    void* handle = nullptr;
    ASSERT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 0);
    EXPECT_EQ(handle, buffer.data());
}

TEST(SetupFft2, TheLineOf64By64Holds128Floats) {
    Buffer buffer(100000);
    void* handle = nullptr;
    ASSERT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 0);
    const auto& setup = *static_cast<const FFT2DSetupStruct*>(handle);
    EXPECT_EQ(setup.tempimg - setup.linebuf, 128);
    EXPECT_EQ(setup.tempimg2 - setup.tempimg, 64 * 64);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(static_cast<float*>(setup.linebuf)) % 16, 0U);
}

TEST(SetupFft2, TheLineHoldsTheLargerOfARowAndAColumnPair) {
    Buffer buffer(1000000);
    void* handle = nullptr;
    ASSERT_EQ(setup_fft2(&handle, 160, 32, buffer.data(), buffer.size()), 0);
    const auto& setup = *static_cast<const FFT2DSetupStruct*>(handle);
    EXPECT_EQ(setup.tempimg - setup.linebuf, 160);
}

TEST(SetupFft2, TheBytesOfAHandleAreTheSameWhereverItsBufferLies) {
    Random random(9);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = randomImage(random, 64 * 64);
    Buffer spectrum(64 * 64 * sizeof(float));
    Buffer buffers[] = {Buffer(100000), Buffer(100000)};
    for (Buffer& buffer : buffers) {
        void* handle = nullptr;
        ASSERT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 0);
        ASSERT_EQ(
            alfft_fft2_r2c(image.data(), 64, 64, reinterpret_cast<float*>(spectrum.data()), 64, 64, handle),
            0);
    }
    EXPECT_EQ(std::memcmp(buffers[0].data(), buffers[1].data(), buffers[0].size()), 0);
}

TEST(SetupFft2, AHandleWorksAtAnyAlignment) {
    Random random(10);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = randomImage(random, 64 * 32);
    std::vector<float> expected;
    for (size_t offset = 0; offset < 64; ++offset) {
        Buffer buffer(100000, offset);
        Buffer spectrum(64 * 32 * sizeof(float));
        auto* const floats = reinterpret_cast<float*>(spectrum.data());
        void* handle = nullptr;
        ASSERT_EQ(setup_fft2(&handle, 64, 32, buffer.data(), buffer.size()), 0);
        ASSERT_EQ(alfft_fft2_r2c(image.data(), 64, 32, floats, 64, 32, handle), 0);
        const std::vector<float> result(floats, floats + 64 * 32);
        if (offset == 0) {
            expected = result;
        }
        EXPECT_TRUE(sameFloats(result.data(), expected.data(), result.size())) << offset;
    }
}

/** Offset of a buffer whose setups of 64 x 64 end at a 16-byte boundary. */
size_t offsetOfAlignedSetups() {
    return (16 - (sizeof(FFT2DSetupStruct) + bytesOfSetups(64, 64)) % 16) % 16;
}

TEST(SetupFft2, ABufferOfExactlyTheNeededSizeSucceedsWhenTheSetupsEndAligned) {
    const size_t needed =
        sizeof(FFT2DSetupStruct) + bytesOfSetups(64, 64) + bytesOfLine(64, 64) + 2 * 64 * 64 * sizeof(float);
    Buffer buffer(needed, offsetOfAlignedSetups());
    void* handle = nullptr;
    EXPECT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 0);
    EXPECT_TRUE(buffer.endIsUntouched());
}

TEST(SetupFft2, ABufferOfExactlyTheNeededSizeFailsWhenTheSetupsEndUnaligned) {
    const Reports reports;
    const size_t needed =
        sizeof(FFT2DSetupStruct) + bytesOfSetups(64, 64) + bytesOfLine(64, 64) + 2 * 64 * 64 * sizeof(float);
    Buffer buffer(needed, offsetOfAlignedSetups() + 1);
    void* handle = nullptr;
    EXPECT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 1);
    EXPECT_EQ(reports.all(), Lines{"ALfft 68"});
    EXPECT_EQ(handle, nullptr);
}

TEST(SetupFft2, EachPartThatDoesNotFitHasItsLine) {
    const size_t setups = sizeof(FFT2DSetupStruct) + bytesOfSetups(64, 64);
    const size_t line = bytesOfLine(64, 64);
    const size_t image = 64 * 64 * sizeof(float);
    const struct {
        size_t size;
        size_t offset;
        const char* report;
    } cases[] = {
        {0, 0, "ALfft 34"},
        {sizeof(FFT2DSetupStruct) - 1, 0, "ALfft 34"},
        {setups - 1, 0, "ALfft 34"},
        {setups, offsetOfAlignedSetups() + 1, "ALfft 51"},
        {setups, offsetOfAlignedSetups(), "ALfft 56"},
        {setups + line - 1, offsetOfAlignedSetups(), "ALfft 56"},
        {setups + line, offsetOfAlignedSetups(), "ALfft 62"},
        {setups + line + image - 1, offsetOfAlignedSetups(), "ALfft 62"},
        {setups + line + image, offsetOfAlignedSetups(), "ALfft 68"},
        {setups + line + 2 * image - 1, offsetOfAlignedSetups(), "ALfft 68"},
    };
    for (const auto& c : cases) {
        const Reports reports;
        Buffer buffer(c.size, c.offset);
        void* handle = nullptr;
        EXPECT_EQ(setup_fft2(&handle, 64, 64, buffer.data(), buffer.size()), 1) << c.size;
        EXPECT_EQ(reports.all(), Lines{c.report}) << c.size;
        EXPECT_TRUE(buffer.endIsUntouched()) << c.size;
    }
}

TEST(SetupFft2, AnIllegalWidthIsLine1270And36) {
    for (const int32_t width : {0, 1, 31, 33, 48, 224, -64, std::numeric_limits<int32_t>::min()}) {
        const Reports reports;
        Buffer buffer(100000);
        void* handle = nullptr;
        EXPECT_EQ(setup_fft2(&handle, width, 64, buffer.data(), buffer.size()), 1) << width;
        EXPECT_EQ(reports.all(), (Lines{"pffft 1270", "ALfft 36"})) << width;
    }
}

TEST(SetupFft2, AnIllegalHeightIsLine37Or38) {
    const struct {
        int32_t height;
        Lines reports;
    } cases[] = {
        {0, {"pffft 1271", "ALfft 37"}},
        {24, {"pffft 1271", "ALfft 37"}},
        {224, {"pffft 1271", "ALfft 37"}},  // a multiple of 32 with a factor 7
        {-32, {"pffft 1271", "ALfft 37"}},
        {48, {"pffft 1270", "ALfft 38"}},  // legal for complex values alone
    };
    for (const auto& c : cases) {
        const Reports reports;
        Buffer buffer(100000);
        void* handle = nullptr;
        EXPECT_EQ(setup_fft2(&handle, 64, c.height, buffer.data(), buffer.size()), 1) << c.height;
        EXPECT_EQ(reports.all(), c.reports) << c.height;
    }
}

TEST(SetupFft2, HugeSizesFailWhateverTheirProduct) {
    constexpr int32_t kHuge = 1399680000;
    for (const auto& [width, height] : {std::pair<int32_t, int32_t>{kHuge, kHuge},
                                        {kHuge, 32},
                                        {32, kHuge},
                                        {2147483616, 2147483616},
                                        {65536, 65536}}) {
        const Reports reports;
        Buffer buffer(100000);
        void* handle = nullptr;
        EXPECT_EQ(setup_fft2(&handle, width, height, buffer.data(), buffer.size()), 1);
        EXPECT_EQ(reports.all(), Lines{"ALfft 34"});
    }
}

TEST(SetupFft2, NullArgumentsFail) {
    const Reports reports;
    Buffer buffer(100000);
    void* handle = nullptr;
    EXPECT_EQ(setup_fft2(nullptr, 64, 64, buffer.data(), buffer.size()), 1);
    EXPECT_EQ(setup_fft2(&handle, 64, 64, nullptr, 100000), 1);
    EXPECT_EQ(reports.all().size(), 2U);
}

TEST(SetupFft2, ABufferOfAnyAlignmentServes) {
    Random random(3);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = randomImage(random, 32 * 32);
    for (size_t offset = 0; offset < 20; ++offset) {
        Buffer buffer(40000, offset);
        Buffer spectrum(32 * 32 * sizeof(float));
        void* handle = nullptr;
        ASSERT_EQ(setup_fft2(&handle, 32, 32, buffer.data(), buffer.size()), 0);
        std::vector<float> back(32 * 32);
        auto* const values = reinterpret_cast<float*>(spectrum.data());
        ASSERT_EQ(alfft_fft2_r2c(image.data(), 32, 32, values, 32, 32, handle), 0);
        ASSERT_EQ(alfft_ifft2_r2c(values, 32, 32, back.data(), 32, 32, handle), 0);
        for (size_t i = 0; i < image.size(); ++i) {
            ASSERT_NEAR(back[i], image[i], 1e-6) << offset;
        }
    }
}

// --- Transforms --------------------------------------------------------------------------------------------

TEST(Fft2, TheSpectrumIsThatOfTheDefinitionColumnByColumn) {
    constexpr size_t kWidth = 32;
    constexpr size_t kHeight = 64;
    constexpr double kPi = 3.14159265358979323846;
    Random random(4);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = randomImage(random, kWidth * kHeight);
    Fft fft(kWidth, kHeight);
    const float* const spectrum = fft.forward(image, kWidth, kHeight);
    // A column pair p and a row frequency v hold the value at the frequencies (p, v).
    for (const size_t p : {1, 7, 15}) {
        for (const size_t v : {0, 1, 31, 32, 63}) {
            double real = 0.0;
            double imag = 0.0;
            for (size_t y = 0; y < kHeight; ++y) {
                for (size_t x = 0; x < kWidth; ++x) {
                    const double angle =
                        -2.0 * kPi *
                        (static_cast<double>(p * x) / kWidth + static_cast<double>(v * y) / kHeight);
                    real += static_cast<double>(image[y * kWidth + x]) * std::cos(angle);
                    imag += static_cast<double>(image[y * kWidth + x]) * std::sin(angle);
                }
            }
            EXPECT_NEAR(spectrum[2 * kHeight * p + 2 * v], real, 1e-4) << p << ", " << v;
            EXPECT_NEAR(spectrum[2 * kHeight * p + 2 * v + 1], imag, 1e-4) << p << ", " << v;
        }
    }
    double sum = 0.0;
    double alternating = 0.0;
    for (size_t y = 0; y < kHeight; ++y) {
        for (size_t x = 0; x < kWidth; ++x) {
            const auto value = static_cast<double>(image[y * kWidth + x]);
            sum += value;
            alternating += x % 2 == 0 ? value : -value;
        }
    }
    EXPECT_NEAR(spectrum[0], sum, 1e-4);
    EXPECT_NEAR(spectrum[kHeight], alternating, 1e-4);
}

TEST(Fft2, TheInverseUndoesTheTransformAndKeepsTheUpperLeftPart) {
    Random random(5);
    SCOPED_TRACE(random.seedText());
    const struct { uint32_t width, height; } sizes[] = {{32, 32}, {64, 32}, {32, 96}, {160, 96}, {480, 384}};
    for (const auto& size : sizes) {
        const std::vector<float> image = randomImage(random, size_t{size.width} * size.height);
        Fft fft(size.width, size.height);
        const float* const spectrum = fft.forward(image, size.width, size.height);
        const uint32_t width = size.width - 5;
        const uint32_t height = size.height - 3;
        std::vector<float> back(size_t{width} * height);
        ASSERT_EQ(
            alfft_ifft2_r2c(spectrum, size.width, size.height, back.data(), width, height, fft.handle()), 0);
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                ASSERT_NEAR(back[y * width + x], image[y * size.width + x], 2e-6) << x << ", " << y;
            }
        }
    }
}

TEST(Fft2, ASmallerImageIsFilledUpWithZeros) {
    Random random(6);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = randomImage(random, 21 * 13);
    std::vector<float> filled(64 * 32);
    for (size_t y = 0; y < 13; ++y) {
        std::copy_n(image.data() + y * 21, 21, filled.data() + y * 64);
    }
    Fft fft(64, 32);
    Fft other(64, 32);
    EXPECT_TRUE(sameFloats(fft.forward(image, 21, 13), other.forward(filled, 64, 32), 64 * 32));
}

TEST(Fft2, AnImageWithoutPixelsHasASpectrumOfZeros) {
    Fft fft(64, 32);
    const std::vector<float> image(1);
    const float* const spectrum = fft.forward(image, 0, 0);
    EXPECT_TRUE(std::all_of(spectrum, spectrum + 64 * 32, [](float value) { return value == 0.0F; }));
}

// --- Convolution -------------------------------------------------------------------------------------------

TEST(CircConvolve, ADeltaReturnsTheKernelCircularlyShifted) {
    Random random(7);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> kernel = randomImage(random, 64 * 32);
    Fft fft(64, 32);
    const float* const spectrum = fft.forward(kernel, 64, 32);
    std::vector<float> delta(64 * 32);
    constexpr size_t kX = 50;
    constexpr size_t kY = 9;
    delta[kY * 64 + kX] = 1.0F;
    const std::vector<float> result = fft.convolve(delta, 64, 32, spectrum, 64, 32);
    for (size_t y = 0; y < 32; ++y) {
        for (size_t x = 0; x < 64; ++x) {
            EXPECT_NEAR(result[(y + kY) % 32 * 64 + (x + kX) % 64], kernel[y * 64 + x], 2e-6);
        }
    }
}

TEST(CircConvolve, EqualsTheDefinitionToAMillionthOfTheNorms) {
    const struct {
        uint32_t width, height, imageWidth, imageHeight;
    } cases[] = {{64, 64, 28, 22}, {64, 64, 64, 64}, {96, 32, 96, 7}, {32, 160, 1, 160}, {128, 96, 56, 43}};
    for (const auto& c : cases) {
        Random random(8);
        SCOPED_TRACE(random.seedText());
        const std::vector<float> kernel = randomImage(random, size_t{c.width} * c.height);
        const std::vector<float> image = randomImage(random, size_t{c.imageWidth} * c.imageHeight);
        std::vector<float> filled(kernel.size());
        for (size_t y = 0; y < c.imageHeight; ++y) {
            std::copy_n(image.data() + y * c.imageWidth, c.imageWidth, filled.data() + y * c.width);
        }
        Fft fft(c.width, c.height);
        const float* const spectrum = fft.forward(kernel, c.width, c.height);
        const std::vector<float> result =
            fft.convolve(image, c.imageWidth, c.imageHeight, spectrum, c.width, c.height);
        const std::vector<double> expected = rule::circularConvolution(filled, kernel, c.width, c.height);
        const double tolerance = 1e-6 * rule::norm(image) * rule::norm(kernel);
        for (size_t i = 0; i < expected.size(); ++i) {
            ASSERT_NEAR(result[i], expected[i], tolerance) << c.width << " x " << c.height << ", " << i;
        }
    }
}

TEST(CircConvolve, OnlyTheWantedPartIsWritten) {
    Random random(9);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> kernel = randomImage(random, 64 * 64);
    const std::vector<float> image = randomImage(random, 28 * 22);
    Fft fft(64, 64);
    const float* const spectrum = fft.forward(kernel, 64, 64);
    const std::vector<float> whole = fft.convolve(image, 28, 22, spectrum, 64, 64);
    std::vector<float> part(28 * 21 + 1, 42.0F);
    ASSERT_EQ(
        alfft_fft2_circ_convolve(image.data(), 28, 22, spectrum, 64, 64, part.data(), 28, 21, fft.handle()),
        0);
    EXPECT_EQ(part.back(), 42.0F);
    for (size_t y = 0; y < 21; ++y) {
        EXPECT_TRUE(sameFloats(part.data() + y * 28, whole.data() + y * 64, 28)) << y;
    }
}

TEST(CircConvolve, TheSameWorkTwiceGivesTheSameBits) {
    Random random(10);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> kernel = randomImage(random, 96 * 64);
    const std::vector<float> image = randomImage(random, 96 * 64);
    Fft fft(96, 64);
    const float* const spectrum = fft.forward(kernel, 96, 64);
    const std::vector<float> first = fft.convolve(image, 96, 64, spectrum, 96, 64);
    const std::vector<float> second = fft.convolve(image, 96, 64, spectrum, 96, 64);
    EXPECT_TRUE(sameFloats(first.data(), second.data(), first.size()));
}

// --- Failures ----------------------------------------------------------------------------------------------

TEST(Fft2, AnImageLargerThanTheTransformIsLine101Or104) {
    Fft fft(32, 32);
    const std::vector<float> image(33 * 33);
    alignas(16) float spectrum[32 * 32];
    {
        const Reports reports;
        EXPECT_EQ(alfft_fft2_r2c(image.data(), 33, 32, spectrum, 32, 32, fft.handle()), 1);
        EXPECT_EQ(reports.all(), Lines{"ALfft 101"});
    }
    const Reports reports;
    EXPECT_EQ(alfft_fft2_r2c(image.data(), 32, 33, spectrum, 32, 32, fft.handle()), 1);
    EXPECT_EQ(reports.all(), Lines{"ALfft 104"});
}

TEST(Fft2, APartLargerThanTheTransformIsLine206Or209) {
    Fft fft(32, 32);
    alignas(16) float spectrum[32 * 32] = {};
    std::vector<float> image(33 * 33);
    {
        const Reports reports;
        EXPECT_EQ(alfft_ifft2_r2c(spectrum, 32, 32, image.data(), 32, 33, fft.handle()), 1);
        EXPECT_EQ(reports.all(), Lines{"ALfft 206"});
    }
    const Reports reports;
    EXPECT_EQ(alfft_ifft2_r2c(spectrum, 32, 32, image.data(), 33, 32, fft.handle()), 1);
    EXPECT_EQ(reports.all(), Lines{"ALfft 209"});
}

TEST(Fft2, AnUnalignedSpectrumFailsInTheColumns) {
    Fft fft(32, 32);
    std::vector<float> image(32 * 32);
    alignas(16) float spectrum[32 * 32 + 1] = {};
    {
        const Reports reports;
        EXPECT_EQ(alfft_fft2_r2c(image.data(), 32, 32, spectrum + 1, 32, 32, fft.handle()), 1);
        EXPECT_EQ(reports.all().back(), "ALfft 148");
    }
    const Reports reports;
    EXPECT_EQ(alfft_ifft2_r2c(spectrum + 1, 32, 32, image.data(), 32, 32, fft.handle()), 1);
    EXPECT_EQ(reports.all().back(), "ALfft 190");
}

TEST(Fft2, SizesThatAreNotTheHandlesFail) {
    Fft fft(64, 64);
    std::vector<float> image(4 * 4);
    alignas(16) static float spectrum[128 * 128] = {};
    for (const auto& [width, height] : {std::pair<uint32_t, uint32_t>{32, 64},
                                        {64, 32},
                                        {128, 32},  // as large an image, as long a line
                                        {128, 128},
                                        {0, 0},
                                        {0xFFFFFFC0U, 0xFFFFFFC0U}}) {
        const Reports reports;
        EXPECT_EQ(alfft_fft2_r2c(image.data(), 4, 4, spectrum, width, height, fft.handle()), 1);
        EXPECT_EQ(alfft_ifft2_r2c(spectrum, width, height, image.data(), 4, 4, fft.handle()), 1);
        EXPECT_EQ(reports.all().size(), 2U) << width << " x " << height;
    }
}

TEST(Fft2, NullArgumentsFail) {
    Fft fft(32, 32);
    std::vector<float> image(32 * 32);
    alignas(16) float spectrum[32 * 32] = {};
    const Reports reports;
    EXPECT_EQ(alfft_fft2_r2c(nullptr, 4, 4, spectrum, 32, 32, fft.handle()), 1);
    EXPECT_EQ(alfft_fft2_r2c(image.data(), 4, 4, nullptr, 32, 32, fft.handle()), 1);
    EXPECT_EQ(alfft_fft2_r2c(image.data(), 4, 4, spectrum, 32, 32, nullptr), 1);
    EXPECT_EQ(alfft_ifft2_r2c(nullptr, 32, 32, image.data(), 4, 4, fft.handle()), 1);
    EXPECT_EQ(alfft_ifft2_r2c(spectrum, 32, 32, nullptr, 4, 4, fft.handle()), 1);
    EXPECT_EQ(alfft_ifft2_r2c(spectrum, 32, 32, image.data(), 4, 4, nullptr), 1);
    EXPECT_EQ(alfft_fft2_circ_convolve(image.data(), 4, 4, nullptr, 32, 32, image.data(), 4, 4, fft.handle()),
              1);
    EXPECT_EQ(alfft_fft2_circ_convolve(image.data(), 4, 4, spectrum, 32, 32, image.data(), 4, 4, nullptr), 1);
    EXPECT_EQ(reports.all().size(), 8U);
}

TEST(CircConvolve, AFailedStepIsLine232Or260) {
    Fft fft(32, 32);
    std::vector<float> image(33 * 33);
    alignas(16) float spectrum[32 * 32] = {};
    {
        const Reports reports;
        EXPECT_EQ(alfft_fft2_circ_convolve(image.data(), 33, 1, spectrum, 32, 32, image.data(), 32, 32,
                                           fft.handle()),
                  1);
        EXPECT_EQ(reports.all(), (Lines{"ALfft 101", "ALfft 232"}));
    }
    const Reports reports;
    EXPECT_EQ(
        alfft_fft2_circ_convolve(image.data(), 32, 32, spectrum, 32, 32, image.data(), 32, 33, fft.handle()),
        1);
    EXPECT_EQ(reports.all(), (Lines{"ALfft 206", "ALfft 260"}));
}

// --- Kernels -----------------------------------------------------------------------------------------------

class FftKernels : public testing_support::OnEveryTarget {};

TEST_P(FftKernels, GatheringColumnsMovesEveryValueAndFillsUpWithZeros) {
    Random random(11);
    SCOPED_TRACE(random.seedText());
    for (const auto& [width, height] : {std::pair<size_t, size_t>{32, 32}, {64, 64}, {96, 32}, {160, 96}}) {
        for (const size_t rowCount : {size_t{0}, size_t{1}, size_t{2}, size_t{21}, height - 1, height}) {
            std::vector<float> rows(width * rowCount);
            for (float& value : rows) {
                value = random.anyFloat();
            }
            std::vector<float> expected(width * height);
            for (size_t y = 0; y < rowCount; ++y) {
                for (size_t x = 0; x < width; ++x) {
                    expected[rule::placeInColumns(x, y, height)] = rows[y * width + x];
                }
            }
            std::vector<float> columns(width * height + 1, 42.0F);
            ALfft_GatherColumns(rows.data(), static_cast<uint32_t>(width), static_cast<uint32_t>(rowCount),
                                columns.data(), static_cast<uint32_t>(height));
            EXPECT_TRUE(sameFloats(columns.data(), expected.data(), expected.size())) << rowCount;
            EXPECT_EQ(columns.back(), 42.0F);
        }
    }
}

TEST_P(FftKernels, ScatteringColumnsMovesAndScalesEveryValue) {
    Random random(12);
    SCOPED_TRACE(random.seedText());
    for (const auto& [width, height] : {std::pair<size_t, size_t>{32, 32}, {64, 64}, {96, 32}, {160, 96}}) {
        for (const size_t rowCount : {size_t{1}, size_t{2}, size_t{21}, height - 1, height}) {
            std::vector<float> columns(width * height);
            for (float& value : columns) {
                value = random.anyFloat();
            }
            std::vector<float> expected(width * rowCount);
            for (size_t y = 0; y < rowCount; ++y) {
                for (size_t x = 0; x < width; ++x) {
                    expected[y * width + x] = columns[rule::placeInColumns(x, y, height)] * 0.3F;
                }
            }
            std::vector<float> rows(width * height + 1, 42.0F);
            ALfft_ScatterColumns(columns.data(), static_cast<uint32_t>(height), 0.3F, rows.data(),
                                 static_cast<uint32_t>(width), static_cast<uint32_t>(rowCount));
            EXPECT_TRUE(sameFloats(rows.data(), expected.data(), expected.size())) << rowCount;
            EXPECT_EQ(rows.back(), 42.0F);
        }
    }
}

TEST_P(FftKernels, TheProductOfSpectraFollowsItsRule) {
    Random random(13);
    SCOPED_TRACE(random.seedText());
    for (int sizeAndRound = 0; sizeAndRound < 6; ++sizeAndRound) {
        constexpr std::pair<size_t, size_t> kSizes[] = {{32, 32}, {64, 64}, {96, 160}};
        const auto [width, height] = kSizes[sizeAndRound / 2];
        const int round = sizeAndRound % 2;
        std::vector<float> a(width * height);
        std::vector<float> b(width * height);
        for (size_t i = 0; i < a.size(); ++i) {
            // Any values, and then values of like size, where each rounding shows.
            a[i] = round == 0 ? random.anyFloat() : random.real(-1.0F, 1.0F);
            b[i] = round == 0 ? random.anyFloat() : random.real(-1.0F, 1.0F);
        }
        const std::vector<float> expected = rule::productOfSpectra(a, b, width, height);
        ALfft_MultiplySpectra(a.data(), b.data(), static_cast<uint32_t>(width),
                              static_cast<uint32_t>(height));
        EXPECT_TRUE(sameFloats(a.data(), expected.data(), expected.size()));
    }
}

/** The hash FNV-1a. */
uint64_t hashOf(const void* data, size_t size) {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    return std::accumulate(
        bytes, bytes + size, uint64_t{0xCBF29CE484222325},
        [](uint64_t hash, uint8_t byte) { return (hash ^ byte) * uint64_t{0x100000001B3}; });
}

TEST_P(FftKernels, AConvolutionAndItsMemoryHaveTheSameBitsOnEveryMachine) {
    // Recorded on x86-64 and equal on AArch64 and ARMv7. An engine with other vectors, or with a
    // multiplication and an addition fused, gives other values.
    const struct {
        int32_t width;
        int32_t height;
        uint64_t result;
        uint64_t memory;
    } cases[] = {
        {64, 64, 0x8F1133F99DEB1FEC, 0xCAAD87BCF2F80829},
        {96, 160, 0xD8D1603D023FC286, 0xECF4C81AC2BDC42E},
        {480, 384, 0x4532FE56989EE4D6, 0x9954A1F9997FF469},
    };
    for (const auto& c : cases) {
        const auto width = static_cast<uint32_t>(c.width);
        const auto height = static_cast<uint32_t>(c.height);
        const size_t count = size_t{width} * height;
        std::vector<float> image(count);
        for (size_t i = 0; i < count; ++i) {
            image[i] = static_cast<float>(i * 7919 % 1013) / 512.0F - 1.0F;
        }
        Buffer buffer(8 * count + 100000);
        Buffer spectrumMemory(count * sizeof(float));
        auto* const spectrum = reinterpret_cast<float*>(spectrumMemory.data());
        std::vector<float> result(count);
        void* handle = nullptr;
        ASSERT_EQ(setup_fft2(&handle, c.width, c.height, buffer.data(), buffer.size()), 0);
        ASSERT_EQ(alfft_fft2_r2c(image.data(), width, height, spectrum, width, height, handle), 0);
        ASSERT_EQ(alfft_fft2_circ_convolve(image.data(), width, height, spectrum, width, height,
                                           result.data(), width, height, handle),
                  0);
        EXPECT_EQ(hashOf(result.data(), count * sizeof(float)), c.result) << width << " x " << height;
        EXPECT_EQ(hashOf(buffer.data(), buffer.size()), c.memory) << width << " x " << height;
    }
}

INSTANTIATE_ON_EVERY_TARGET(FftKernels);

}  // namespace
