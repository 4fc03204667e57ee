// SPDX-License-Identifier: Apache-2.0
#include "golden/Scenes.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "support/Random.h"
#include "support/RawImages.h"

namespace golden {
namespace {

constexpr std::int64_t kTurn = 65536;  // one turn of the phase
constexpr int kMiddle = 2000;          // the level without light
constexpr int kMaxSample = 4095;

/** Bits that depend on both numbers and on nothing else. */
std::uint32_t mixed(std::uint32_t a, std::uint32_t b) {
    std::uint32_t h = a * 0x9E3779B1U ^ (b + 0x7F4A7C15U) * 0x85EBCA77U;
    h ^= h >> 15U;
    h *= 0x2C1B3C6DU;
    h ^= h >> 13U;
    h *= 0x297A2D39U;
    return h ^ h >> 16U;
}

/** Cosine of a phase in parts of 65536 of a turn, times 16384. Rounding
 * hides the library's last bits. */
int cosine(std::int64_t phase) {
    static const std::array<std::int16_t, 4096> table = [] {
        std::array<std::int16_t, 4096> values;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double angle = static_cast<double>(i) * (6.283185307179586 / 4096.0);
            values[i] = static_cast<std::int16_t>(std::floor(16384.0 * std::cos(angle) + 0.5));
        }
        return values;
    }();
    return table[static_cast<std::size_t>(phase >> 4) & 4095U];
}

struct Surface {
    std::int64_t distance;  // micrometres
    std::int64_t albedo;    // counts at 1 ms and 1 m
};

Surface roomAt(int x, int y, std::uint32_t variant) {
    const auto shift = static_cast<std::int64_t>(variant % 97U);
    if (x >= 40 && x < 100 && y >= 30 && y < 110) {
        return {620000 + 3000 * shift + 500 * y, 350};
    }
    if (x >= 150 && x < 190 && y >= 90 && y < 150) {
        return {900000 + 2000 * x, x < 170 ? 15 : 2600};
    }
    if (y < 20) {
        return {3400000 + 1000 * x, 900};  // beyond the unique range of one frequency
    }
    return {800000 + 4100 * (x + shift) + 1300 * y, 300 + x};
}

int sampleOfRoom(const QorRawdataPhaseInfo& info, int phaseOfGroup, int pixel, int brightness,
                 std::uint32_t variant, const Ranges& ranges) {
    const int x = pixel % kImageWidth;
    const int y = pixel / kImageWidth;
    const Surface surface = roomAt(x, y, variant);
    const std::int64_t millimetres = surface.distance / 1000;
    const std::int64_t light =
        surface.albedo * brightness * info.exposureTime / (millimetres * millimetres / 1000 + 1);
    if (info.intensityMeasurement != 0) {
        return static_cast<int>(300 + light / 4);
    }
    const std::int64_t phase =
        surface.distance * kTurn / ranges[info.freqIdx == 1 ? 1 : 0] + phaseOfGroup * kTurn / 4;
    return static_cast<int>(std::clamp<std::int64_t>(kMiddle + light * cosine(phase) / 16384, -9999, 9999));
}

/** Single pixels and blocks without a usable sample. */
int sampleWithHoles(int sample, int phaseOfGroup, int pixel) {
    const std::uint32_t bits = mixed(static_cast<std::uint32_t>(pixel), 77U);
    if (bits % 11U == 0) {
        return kMiddle;  // no amplitude at all
    }
    if (bits % 13U == 0) {
        return phaseOfGroup % 4 == static_cast<int>(bits >> 8U & 3U) ? kMaxSample : sample;
    }
    const bool inBlock = pixel / kImageWidth % 24 < 5 && pixel % kImageWidth % 32 < 7;
    return inBlock ? 0 : sample;
}

int sampleOf(View view, std::uint32_t variant, const Ranges& ranges, const QorRawdataPhaseInfo& info,
             int phaseOfGroup, int pixel) {
    switch (view) {
        case View::Dark:
            return kMiddle;
        case View::Saturated:
            return sampleOfRoom(info, phaseOfGroup, pixel, 30, variant, ranges);
        case View::Holes:
            return sampleWithHoles(sampleOfRoom(info, phaseOfGroup, pixel, 1, variant, ranges), phaseOfGroup,
                                   pixel);
        default:
            return sampleOfRoom(info, phaseOfGroup, pixel, 1, variant, ranges);
    }
}

}  // namespace

host_testing::Scene sceneOf(View view, std::uint32_t variant, const Ranges& ranges) {
    return [view, variant, ranges](const QorRawdataPhaseInfo& info, int phaseOfGroup, QorRawPhaseData& raw) {
        const std::uint32_t image = mixed(variant, info.frameCounter);
        if (view == View::Zeros || view == View::Full) {
            std::fill_n(raw.phaseData, kRawPhaseBytes,
                        view == View::Zeros ? alif_uint8_t{0} : alif_uint8_t{255});
            return;
        }
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(kRawPhaseBytes); ++i) {
            raw.phaseData[i] = static_cast<alif_uint8_t>(mixed(image, i));
        }
        if (view == View::AnyBytes) {
            return;
        }
        testing_support::packImage(raw.phaseData, [&](std::int32_t pixel) {
            const auto noise =
                static_cast<int>(mixed(image, static_cast<std::uint32_t>(pixel)) >> 16U) % 13 - 6;
            return std::clamp(sampleOf(view, variant, ranges, info, phaseOfGroup, pixel) + noise, 0,
                              kMaxSample);
        });
    };
}

std::unique_ptr<QorDistanceImageIFCalib> fullCalibration(std::uint32_t seed) {
    testing_support::Random random(seed);
    auto calib = host_testing::plainCalibration();
    for (FreqDependentCalibration& frequency : calib->imagerCalib.freqDependent) {
        frequency.ampWigg[0] = random.real(0.9F, 1.1F);
        std::generate(frequency.ampWigg + 1, std::end(frequency.ampWigg),
                      [&] { return random.real(-0.02F, 0.02F); });
        std::generate(std::begin(frequency.phaseWigg), std::end(frequency.phaseWigg),
                      [&] { return random.real(-0.03F, 0.03F); });
        frequency.xyCorrection[0] = random.real(-4.0F, 4.0F);
        frequency.xyCorrection[1] = random.real(-4.0F, 4.0F);
        std::generate(std::begin(frequency.FPPN), std::end(frequency.FPPN),
                      [&] { return random.real(-0.05F, 0.05F); });
        frequency.refTemperature = random.real(30.0F, 50.0F);
        frequency.temperatureFactor[0] = random.real(-0.01F, 0.01F);
        frequency.temperatureFactor[1] = random.real(-1e-4F, 1e-4F);
        frequency.temperatureFactor[2] = random.real(-1e-6F, 1e-6F);
    }
    FreqIndependentCalibration& common = calib->imagerCalib.freqIndependent;
    common.minDiff = static_cast<alif_int16_t>(random.integer(0, 60));
    common.maxDiff = static_cast<alif_int16_t>(random.integer(3900, 4095));
    std::generate(std::begin(common.vignetting), std::end(common.vignetting),
                  [&] { return random.real(1.0F, 2.5F); });
    // The corners, two neighbours, and pixels anywhere.
    const int corners[] = {0, kImageWidth - 1, kPixelCount - kImageWidth, kPixelCount - 1, 9000, 9001};
    std::copy(std::begin(corners), std::end(corners), common.badPixelIdx);
    std::generate(common.badPixelIdx + std::size(corners), std::end(common.badPixelIdx),
                  [&] { return random.integer(0, kPixelCount - 1); });
    common.numBadPixel = static_cast<alif_int32_t>(std::size(common.badPixelIdx));
    std::generate(std::begin(common.FPN), std::end(common.FPN),
                  [&] { return static_cast<alif_int16_t>(random.integer(-40, 40)); });
    AlgoIntrinsicCalibration& lens = calib->intrinsicCalibration;
    lens.k1 = random.real(-0.3F, 0.1F);
    lens.k2 = random.real(-0.05F, 0.15F);
    lens.k3 = random.real(-0.02F, 0.02F);
    lens.k4 = random.real(-0.002F, 0.002F);
    lens.k5 = random.real(-0.002F, 0.002F);
    lens.alpha = random.real(-0.001F, 0.001F);
    lens.internalTransRot = {0.001F, -0.002F, 0.003F, 0.01F, -0.01F, 0.02F};
    return calib;
}

void useDriftFrequencies(QorDistanceImageIFCalib& calib) {
    std::copy(std::begin(kDriftFrequencies), std::end(kDriftFrequencies), calib.imagerCalib.frequencies);
}

}  // namespace golden
