// SPDX-License-Identifier: Apache-2.0
//
// Raw images for tests: packed 12-bit samples, and groups of four phases that belong together.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "QorRecords.h"

namespace testing_support {

/** Packs samples, one per pixel and 0..4095, into the imager's format. */
template <class SampleOfPixel>
void packImage(uint8_t* phaseData, SampleOfPixel sampleOfPixel) {
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += 2) {
        const int even = sampleOfPixel(pixel);
        const int odd = sampleOfPixel(pixel + 1);
        uint8_t* const group = phaseData + kRawRowBytes + pixel / 2 * 3;
        group[0] = static_cast<uint8_t>(even >> 4);
        group[1] = static_cast<uint8_t>(odd >> 4);
        group[2] = static_cast<uint8_t>((odd & 0x0F) << 4 | (even & 0x0F));
    }
}

/** Four phases with consecutive counters. The buffers end with their last sample, so that a sanitizer sees
 * overruns. */
class PhaseGroup {
 public:
    PhaseGroup() {
        for (size_t k = 0; k < phases_.size(); ++k) {
            data_[k] = std::make_unique<uint8_t[]>(kRawPhaseBytes);
            phases_[k].phaseData = data_[k].get();
            phases_[k].info.exposureTime = 100;
            phases_[k].info.frameCounter = static_cast<uint16_t>(k);
            phases_[k].info.sequenceCounter = static_cast<int32_t>(k);
        }
    }

    QorRawdataPhase& operator[](size_t k) { return phases_[k]; }
    const QorRawdataPhase& operator[](size_t k) const { return phases_[k]; }
    auto begin() { return phases_.begin(); }
    auto end() { return phases_.end(); }

    /** Continues the counters of another group, `images` after its first. */
    void follow(const PhaseGroup& other, int32_t images = kPhasesPerExposure) {
        for (size_t k = 0; k < phases_.size(); ++k) {
            phases_[k].info.sequenceCounter = other[k].info.sequenceCounter + images;
            phases_[k].info.frameCounter =
                static_cast<uint16_t>((other[k].info.frameCounter + images) & 0xFFF);
        }
    }

    void setExposure(int32_t exposureTime) {
        for (QorRawdataPhase& phase : phases_) {
            phase.info.exposureTime = exposureTime;
        }
    }

    void setFrequency(int32_t freqIdx) {
        for (QorRawdataPhase& phase : phases_) {
            phase.info.freqIdx = freqIdx;
        }
    }

    /** The same four samples in every pixel. */
    void fill(int a, int b, int c, int d) {
        const int samples[] = {a, b, c, d};
        for (size_t k = 0; k < phases_.size(); ++k) {
            packImage(data_[k].get(), [value = samples[k]](int32_t) { return value; });
        }
    }

    /** Four samples in one pixel, the others unchanged. */
    void set(int32_t pixel, int a, int b, int c, int d) {
        const int samples[] = {a, b, c, d};
        for (size_t k = 0; k < phases_.size(); ++k) {
            uint8_t* const group = data_[k].get() + kRawRowBytes + pixel / 2 * 3;
            const int value = samples[k];
            if (pixel % 2 == 0) {
                group[0] = static_cast<uint8_t>(value >> 4);
                group[2] = static_cast<uint8_t>((group[2] & 0xF0) | (value & 0x0F));
            } else {
                group[1] = static_cast<uint8_t>(value >> 4);
                group[2] = static_cast<uint8_t>((group[2] & 0x0F) | (value & 0x0F) << 4);
            }
        }
    }

    /** Any bytes, the line without image data included. */
    template <class Random>
    void fillWithRandomBytes(Random& random) {
        for (const auto& data : data_) {
            for (int32_t i = 0; i < kRawPhaseBytes; ++i) {
                data[static_cast<size_t>(i)] = static_cast<uint8_t>(random.bits());
            }
        }
    }

 private:
    std::array<std::unique_ptr<uint8_t[]>, kPhasesPerExposure> data_;
    std::array<QorRawdataPhase, kPhasesPerExposure> phases_ = {};
};

}  // namespace testing_support
