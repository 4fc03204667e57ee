// SPDX-License-Identifier: Apache-2.0
#include "QorRawToDistRule.h"

#include <algorithm>
#include <cstdlib>

#include "core/externals/Util/src/ALSimdRule.h"

namespace rule {

int16_t sample(const uint8_t* phaseData, int32_t pixel) {
    const uint8_t* const group = phaseData + kRawRowBytes + pixel / 2 * 3;
    const int value = pixel % 2 == 0 ? group[0] * 16 | (group[2] & 0x0F) : group[1] * 16 + group[2] / 16;
    return static_cast<int16_t>(value);
}

void rawToXYS(QorRawToDistState& state, int16_t minDiff, int16_t maxDiff, int storageIndex,
              uint16_t confidenceMask, const uint8_t* roi, uint32_t* histogram) {
    const int zeroDiff = maxDiff / 2 + minDiff / 2;
    const uint8_t* phases[kPhasesPerExposure];
    for (int k = 0; k < kPhasesPerExposure; ++k) {
        phases[k] = state.rawPhases[k]->phaseData;
    }
    for (int32_t pixel = 0; pixel < kPixelCount; ++pixel) {
        const int a = sample(phases[0], pixel);
        const int b = sample(phases[1], pixel);
        const int c = sample(phases[2], pixel);
        const int d = sample(phases[3], pixel);
        state.X[storageIndex][pixel] = static_cast<int16_t>(a - c);
        state.Y[storageIndex][pixel] = static_cast<int16_t>(b - d);
        state.S[storageIndex][pixel] = static_cast<int16_t>((a + c) - (b + d));
        bool saturated = false;
        int level = 0;
        for (const int value : {a, b, c, d}) {
            saturated = saturated || value > maxDiff || value < minDiff;
            level = std::max(level, std::abs(value - zeroDiff));
        }
        state.confidence[storageIndex][pixel] =
            static_cast<uint16_t>(saturated ? confidenceMask + 0x0003 : confidenceMask);
        if (histogram != nullptr) {
            const int32_t block = pixel / 16 * 16;
            const int32_t inBlock = pixel % 16;
            const int32_t weight = inBlock % 2 == 0 ? inBlock / 2 : 8 + inBlock / 2;
            histogram[std::min(level, kHistogramBins - 1)] += roi[block + weight];
        }
    }
}

void mergeExposures(QorRawToDistState& state, float invFirstExposure, float invSecondExposure) {
    for (int32_t i = 0; i < kPixelCount; ++i) {
        if ((state.confidence[1][i] & 0x0002) != 0) {
            state.confidence[1][i] = state.confidence[0][i];
            state.X[1][i] = state.X[0][i];
            state.Y[1][i] = state.Y[0][i];
            state.S[1][i] = state.S[0][i];
            state.invExpTimes[i] = invFirstExposure;
        } else {
            state.invExpTimes[i] = invSecondExposure;
        }
    }
}

void computePhase(const RawToDistPhaseInput& in, const RawToDistPhaseOutput& out) {
    constexpr float twoPi = 6.2831855F;
    for (int32_t i = 0; i < kPixelCount; ++i) {
        float ox = in.xCorrection;
        float oy = in.yCorrection;
        if (in.intensity != nullptr) {
            const int exposure = (in.confidence[i] & 0x0010) != 0 ? 1 : 0;
            const auto v = static_cast<float>(in.intensity[i]);
            ox = in.xCorrection + v * in.driftX[exposure];
            oy = in.yCorrection + v * in.driftY[exposure];
        }
        const float x = static_cast<float>(in.X[i]) - ox;
        const float y = static_cast<float>(in.Y[i]) - oy;
        const float ampSquare = x * x + y * y;
        const float angle = rule::atan2(y, x);

        const float* const pw = in.phaseWigg;
        const float a = sine(4.0F * angle + pw[2]) * pw[1];
        const float b = sine(2.0F * angle + pw[4]) * pw[3];
        const float c = sine(8.0F * angle + pw[6]) * pw[5];
        float p = ((angle - pw[0]) - ((a + b) + c)) - in.FPPN[i];
        for (int turn = 0; turn < 2; ++turn) {
            if (p < 0.0F) {
                p = p + twoPi;
            }
        }
        for (int turn = 0; turn < 2; ++turn) {
            if (p >= twoPi) {
                p = p - twoPi;
            }
        }
        out.phase[i] = p;

        const float* const aw = in.ampWigg;
        const float d = sine(4.0F * angle + aw[2]) * aw[1];
        const float e = sine(2.0F * angle + aw[4]) * aw[3];
        out.normalizedAmplitude[i] =
            ((squareRoot(ampSquare) + 0.001F) * ((d + e) + aw[0])) * in.invExpTimes[i];

        uint16_t confidence = in.confidence[i];
        if (ampSquare < in.minAmpSquare) {
            confidence |= 0x0009;
        }
        const auto s = static_cast<float>(in.S[i]);
        if (s * s > ampSquare * in.maxSymSquare) {
            confidence |= 0x0005;
        }
        out.confidence[i] = confidence;
    }
}

void xysToAmpConf(float* ampl, uint16_t* conf, const int16_t* X, const int16_t* Y, float xCorrection,
                  float yCorrection, float minAmp) {
    for (int32_t i = 0; i < kPixelCount; ++i) {
        const float x = static_cast<float>(X[i]) - xCorrection;
        const float y = static_cast<float>(Y[i]) - yCorrection;
        const float ampSquare = x * x + y * y;
        ampl[i] = squareRoot(ampSquare);
        if (ampSquare < minAmp * minAmp) {
            conf[i] |= 0x0009;
        }
    }
}

}  // namespace rule
