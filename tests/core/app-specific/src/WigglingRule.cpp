// SPDX-License-Identifier: Apache-2.0
#include "WigglingRule.h"

#include <algorithm>
#include <cmath>

#include "ALMath.h"
#include "core/externals/Util/src/ALSimdRule.h"

namespace rule {
namespace {

constexpr float kTwoPi = 6.2831855F;
constexpr float kPi = 3.1415927F;
constexpr float kQuarterPi = 0.7853982F;

/** The samples around a position, and the weight of the second one. */
struct Lookup {
    int first;
    int second;
    float weight;
};

Lookup lookUp(float position, int lastIndex) {
    const float whole = position > 0.0F ? std::trunc(position) : 0.0F;
    const int first = whole < static_cast<float>(lastIndex) ? static_cast<int>(whole) : lastIndex;
    return {first, std::min(first + 1, lastIndex), position - whole};
}

float interpolate(const float* table, const Lookup& at) {
    return table[at.first] * (1.0F - at.weight) + table[at.second] * at.weight;
}

/** Position in the forward tables, and radius. */
struct Reference {
    float position;
    float radius;
};

Reference unitSquare(float x, float y) {
    const float absX = std::fabs(x);
    const float absY = std::fabs(y);
    const float radius = absX > absY ? absX : absY;
    const float divisor = radius < 1e-10F ? 1.0F : radius;
    float ratio = (absX < absY ? absX : absY) * reciprocal(divisor);
    const bool left = x <= 0.0F;
    const bool below = y <= 0.0F;
    if (left != below) {
        ratio = -ratio;
    }
    const float t =
        absX >= absY ? (1.0F + ratio) + (left ? 4.0F : 0.0F) : (3.0F - ratio) + (below ? 4.0F : 0.0F);
    return {t * kQuarterPi * 40.58451F, radius};
}

Reference unitCircle(float re, float im) {
    return {(rule::atan2(im, re) + kPi) * 40.58451F, squareRoot(re * re + im * im)};
}

Reference referenceOf(WigglingCalibReferenceFunc referenceFunc, float re, float im) {
    switch (referenceFunc) {
        case ReferenceFunc_UnitCircle:
            return unitCircle(re, im);
        case ReferenceFunc_UnitSquare:
            return unitSquare(re, im);
        case ReferenceFunc_UnitDiamond:
            return unitSquare(re + im, im - re);
    }
    return {};
}

}  // namespace

void wigglingBackward(const float* invCalibLut, const WigglingBackwardImages& images) {
    constexpr float samplesPerRadian = 40.743664F;
    for (size_t i = 0; i < images.pixelCount; ++i) {
        float p0 = modN(images.phi[i], kTwoPi, 0.15915494F);
        if (p0 < 0.0F) {
            p0 = p0 + kTwoPi;
        }
        float p1 = p0 - 1.5707964F;
        if (p1 < 0.0F) {
            p1 = p1 + kTwoPi;
        }
        if (p1 >= kTwoPi) {
            p1 = p1 - kTwoPi;
        }
        const float a = images.ampl[i];
        images.xyReal[i] = interpolate(invCalibLut, lookUp(p0 * samplesPerRadian, 256)) * a;
        images.xyImag[i] = interpolate(invCalibLut, lookUp(p1 * samplesPerRadian, 256)) * a;
    }
}

void wigglingForward(WigglingCalibReferenceFunc referenceFunc, const float* lutPhase, const float* lutAmp,
                     const WigglingForwardImages& images) {
    for (size_t i = 0; i < images.pixelCount; ++i) {
        const Reference reference = referenceOf(referenceFunc, images.xyReal[i], images.xyImag[i]);
        const Lookup at = lookUp(reference.position, 255);
        images.phi[i] = modN(interpolate(lutPhase, at), kTwoPi, 0.15915494F);
        images.ampl[i] = interpolate(lutAmp, at) * reference.radius;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Tables

namespace {

float phaseOf(int x) {
    return static_cast<float>(x) * 0.024543693F;
}

/** Half a period of the correlation function, before its normalisation. */
float correlation(const float* aw, int x) {
    const auto channel = [aw](float value, float phi) {
        return value / (aw[0] + aw[1] * al_sinf(4.0F * phi + aw[2]) + aw[3] * al_sinf(2.0F * phi + aw[4]));
    };
    const float phi = phaseOf(x);
    const float later = phaseOf(x + 64);
    return (channel(al_cosf(phi), phi) + channel(al_sinf(later), later)) * 0.5F;
}

/** Reference phase and radius. */
std::array<float, 2> tableReference(WigglingCalibReferenceFunc referenceFunc, float x, float y) {
    if (referenceFunc == ReferenceFunc_UnitCircle) {
        return {al_atan2f(y, x), al_sqrtf(x * x + y * y)};
    }
    if (referenceFunc == ReferenceFunc_UnitDiamond) {
        return tableReference(ReferenceFunc_UnitSquare, y + x, y - x);
    }
    const float radius = std::max(std::fabs(x), std::fabs(y));
    if (radius == 0.0F) {
        return {0.0F, 0.0F};
    }
    // Each side of the square counts two, from -1 to 1 in the coordinate along it.
    float q = 0.0F;
    if (std::fabs(x) >= std::fabs(y)) {
        q = x > 0.0F ? 1.0F + y / x : 5.0F + y / x;
    } else {
        q = y > 0.0F ? 3.0F - x / y : 7.0F - x / y;
    }
    return {q * kQuarterPi, radius};
}

}  // namespace

WigglingTables wigglingTables(const float* ampWigg, WigglingCalibReferenceFunc referenceFunc) {
    WigglingTables tables{};
    auto& lut = tables.invCalibLut;
    for (int x = 0; x < 128; ++x) {
        lut[static_cast<size_t>(x)] = correlation(ampWigg, x);
        lut[static_cast<size_t>(x) + 128] = -correlation(ampWigg, x);
    }
    lut[256] = lut[0];
    const float largest =
        *std::max_element(lut.begin(), lut.end());  // the smallest is its negative, by the antisymmetry
    const float factor = 1.0F / largest;
    for (float& value : lut) {
        value *= factor;
    }

    // The curve from a period before to a period after.
    std::array<float, 768> gamma{};
    std::array<float, 768> q{};
    std::array<float, 768> w{};
    for (size_t x = 0; x < 256; ++x) {
        const float phi = phaseOf(static_cast<int>(x));
        const float f = (phi + 4.712389F) * 40.743664F;
        const auto before = static_cast<size_t>(f);
        const float d = f - std::floor(f);
        const float y = (1.0F - d) * lut[before % 256] + d * lut[(before + 1) % 256];
        const auto [phase, radius] = tableReference(referenceFunc, lut[x], y);
        const float first = x == 0 ? phase : q[256];
        const float risen = first > phase ? phase + kTwoPi : phase;
        gamma[x] = phi;
        gamma[x + 256] = phi + kTwoPi;
        gamma[x + 512] = (phi + kTwoPi) + kTwoPi;
        q[x] = risen - kTwoPi;
        q[x + 256] = risen;  // kept unrounded for the comparison above
        w[x] = w[x + 256] = w[x + 512] = radius;
    }
    for (size_t i = 256; i < 768; ++i) {
        q[i] = q[i - 256] + kTwoPi;
    }

    const float start = referenceFunc == ReferenceFunc_UnitCircle ? -kPi : 0.0F;
    for (size_t x = 0; x < 256; ++x) {
        const float at = start + static_cast<float>(x) * 0.024639944F;
        // The first sample not before the position, but never the very first of all.
        const auto right = static_cast<size_t>(std::lower_bound(q.begin() + 1, q.end(), at) - q.begin());
        const float p = (at - q[right - 1]) / (q[right] - q[right - 1]);
        tables.lutPhase[x] = p * gamma[right] + (1.0F - p) * gamma[right - 1];
        tables.lutAmp[x] = (1.0F - p) / w[right - 1] + p / w[right];
    }
    return tables;
}

}  // namespace rule
