// SPDX-License-Identifier: Apache-2.0
#include "Wiggling.h"

#include <algorithm>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "WigglingKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/app-specific/src/Wiggling";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are known.
constexpr int32_t kLineInitCalibNull = 81;
constexpr int32_t kLineInitStateNull = 82;
constexpr int32_t kLineInitTooManyFrequencies = 83;
constexpr int32_t kLineInitNoFrequencyCalib = 84;
constexpr int32_t kLineInitPhaseNotCovered = 114;
constexpr int32_t kLineInitMaximumIsZero = 185;
constexpr int32_t kLineInitMinimumIsZero = 189;
constexpr int32_t kLineInitUnknownReference = 227;
constexpr int32_t kLineInitReferenceChanged = 257;
constexpr int32_t kLineInitReferenceNotCovered = 279;
constexpr int32_t kLineInitReferenceNotMonotonic = 282;
constexpr int32_t kLineInitFixedPatternNotCopied = 316;
constexpr int32_t kLineForwardRecordNull = 325;
constexpr int32_t kLineForwardRealNull = 326;
constexpr int32_t kLineForwardImagNull = 327;
constexpr int32_t kLineForwardTooManyExposures = 328;
constexpr int32_t kLineForwardOutputNull = 330;
constexpr int32_t kLineForwardPixelCount = 331;
constexpr int32_t kLineForwardFrequency = 332;
constexpr int32_t kLineForwardUnknownReference = 478;
constexpr int32_t kLineBackwardRecordNull = 486;
constexpr int32_t kLineBackwardRealNull = 487;
constexpr int32_t kLineBackwardImagNull = 488;
constexpr int32_t kLineBackwardInputNull = 490;
constexpr int32_t kLineBackwardPixelCount = 491;
constexpr int32_t kLineBackwardFrequency = 492;

constexpr uint32_t kMaxFrequencies = 4;
constexpr uint32_t kMaxExposureTimes = 2;
constexpr uint32_t kFreqIdxLimit = 4;  // the reported limit; the last slot is one below

constexpr float32_t kTwoPi = 6.2831855F;
constexpr float32_t kPi = 3.1415927F;
constexpr float32_t kQuarterPi = 0.7853982F;

constexpr int32_t kPeriod = 256;  ///< samples of a period
constexpr int32_t kThreePeriods = 3 * kPeriod;
constexpr float32_t kStep = 0.024543693F;  ///< 2 pi / 256, spacing of the samples

/** True phase of a sample. */
float32_t phaseOf(int32_t x) noexcept {
    return static_cast<float32_t>(x) * kStep;
}

// --- Correlation function ------------------------------------------------------------------------

/** Three periods of the calibrated phase at uniform true phases. */
void calibratePhase(const FreqDependentCalibration& c, WigglingScratch& scratch) noexcept {
    for (int32_t x = 0; x < kPeriod; ++x) {
        const float32_t phi = phaseOf(x);
        const float32_t cphi =
            phi - c.phaseWigg[1] * al_sinf(4.0F * phi + c.phaseWigg[2]) - c.phaseWigg[0] -
            c.phaseWigg[3] * al_sinf(2.0F * phi + c.phaseWigg[4]) -
            c.phaseWigg[5] * al_sinf(4.0F * phi + c.phaseWigg[6]);  // the fourth harmonic again, not another
        scratch.raw2calib[kPeriod + x] = cphi;
        scratch.raw2calib[x] = cphi - kTwoPi;
        scratch.raw2calib[2 * kPeriod + x] = cphi + kTwoPi;
    }
}

/**
 * The raw phase at uniform calibrated phases. No table depends on it, because the correlation function is
 * sampled at uniform raw phases. It serves as a check: a calibrated phase that lies far off is found here.
 */
int32_t invertPhase(WigglingScratch& scratch) noexcept {
    constexpr int32_t kSearchEnd = 766;
    const float32_t* const raw2calib = scratch.raw2calib;
    int32_t k = 0;
    for (int32_t x = 0; x < kPeriod; ++x) {
        const float32_t phi = phaseOf(x);
        while (phi < raw2calib[k]) {
            ++k;
            if (k == kSearchEnd) {
                return fail(kLineInitPhaseNotCovered);
            }
        }
        const float32_t w = (phi - raw2calib[k]) / (raw2calib[k + 1] - raw2calib[k]);
        scratch.calib2raw[x] = w * static_cast<float32_t>(k - kPeriod + 1) * kStep +
                               (1.0F - w) * static_cast<float32_t>(k - kPeriod) * kStep;
    }
    return 0;
}

/** Estimates the correlation function from the in-phase and the quadrature channel, using the amplitude
 * wiggling. */
void estimateCorrelation(const FreqDependentCalibration& c, WigglingScratch& scratch) noexcept {
    for (int32_t x = 0; x < kPeriod; ++x) {
        const float32_t phi = phaseOf(x);
        const float32_t wigg_a = c.ampWigg[0] + c.ampWigg[1] * al_sinf(4.0F * phi + c.ampWigg[2]) +
                                 c.ampWigg[3] * al_sinf(2.0F * phi + c.ampWigg[4]);
        scratch.akf00[x] = al_cosf(phi) / wigg_a;
        scratch.akf90[x] = al_sinf(phi) / wigg_a;
    }
}

/** One period of the correlation function: half of it the mean of both
 * channels, then its negative. */
void buildCorrelation(WigglingScratch& scratch, float32_t* invCalibLut) noexcept {
    constexpr int32_t kHalf = kPeriod / 2;
    constexpr int32_t kQuarter = kPeriod / 4;
    for (int32_t i = 0; i < kHalf; ++i) {
        // A quarter period later the sine channel sees what the cosine channel saw.
        scratch.akf[i] = (scratch.akf00[i] + scratch.akf90[i + kQuarter]) * 0.5F;
        invCalibLut[i] = scratch.akf[i];
        invCalibLut[i + kHalf] = -scratch.akf[i];
    }
    invCalibLut[kPeriod] = invCalibLut[0];
}

/** Scales the correlation function to a largest magnitude of 1. */
int32_t normalise(float32_t* invCalibLut) noexcept {
    float32_t maxLut = invCalibLut[0];
    float32_t minLut = invCalibLut[0];
    for (int32_t x = 1; x < kPeriod; ++x) {
        maxLut = invCalibLut[x] > maxLut ? invCalibLut[x] : maxLut;
        minLut = invCalibLut[x] < minLut ? invCalibLut[x] : minLut;
    }
    float32_t norm_factor = 0.0F;
    if (-minLut < maxLut) {
        if (maxLut == 0.0F) {
            return fail(kLineInitMaximumIsZero);
        }
        norm_factor = 1.0F / maxLut;
    } else {
        if (minLut == 0.0F) {
            return fail(kLineInitMinimumIsZero);
        }
        norm_factor = 1.0F / -minLut;
    }
    for (int32_t x = 0; x < kInverseLutSize; ++x) {
        invCalibLut[x] *= norm_factor;
    }
    return 0;
}

// --- Reference functions -------------------------------------------------------------------------

/** A raw (X, Y) as seen by a reference function. */
struct Reference {
    float32_t phase;  ///< radians; a period is 2 pi
    float32_t radius;
};

/** Angle and length. */
Reference unit_circle_ref(float32_t x, float32_t y) noexcept {
    return {al_atan2f(y, x), al_sqrtf(x * x + y * y)};
}

/** Length along the perimeter of a square, from its corner (1, -1) on. */
Reference unit_square_ref(float32_t x, float32_t y) noexcept {
    const float32_t absX = al_fabsf(x);
    const float32_t absY = al_fabsf(y);
    const float32_t radius = al_fmaxf(absX, absY);
    if (radius == 0.0F) {
        return {0.0F, radius};
    }
    if (absX >= absY) {
        const float32_t side = x <= 0.0F ? 1.0F + 4.0F : 1.0F;
        return {(side + y / (x == 0.0F ? x + 1.0F : x)) * kQuarterPi, radius};
    }
    const float32_t side = y <= 0.0F ? 3.0F + 4.0F : 3.0F;
    return {(side - x / (y == 0.0F ? y + 1.0F : y)) * kQuarterPi, radius};
}

/** The same on the square turned by an eighth. */
Reference unit_diamond_ref(float32_t x, float32_t y) noexcept {
    return unit_square_ref(y + x, y - x);
}

/** Computes true phase, reference phase and radius at the samples of three periods. */
struct ReferenceCurve {
    float32_t gamma_i[kThreePeriods];
    float32_t q_i[kThreePeriods];
    float32_t w_i[kThreePeriods];
};

/** The correlation function three quarters of a period after a sample, between two samples. */
float32_t quadratureOf(const float32_t* invCalibLut, float32_t phi) noexcept {
    constexpr float32_t akfTheta = 4.712389F;
    constexpr float32_t samplesPerRadian = 40.743664F;
    const float32_t f = (phi + akfTheta) * samplesPerRadian;
    const int32_t whole = al_truncate(f);
    const float32_t y0 = invCalibLut[whole % kPeriod];
    const float32_t y1 = invCalibLut[(whole + 1) % kPeriod];
    const float32_t d = f - al_floor(f);
    return (1.0F - d) * y0 + d * y1;
}

/** One period of the curve, its reference phase rising from that of the first sample on. */
int32_t traceReference(const float32_t* invCalibLut, const WigglingCalib& calib,
                       ReferenceCurve& curve) noexcept {
    for (int32_t x = 0; x < kPeriod; ++x) {
        const float32_t phi = phaseOf(x);
        const float32_t hx = invCalibLut[x];
        const float32_t hy = quadratureOf(invCalibLut, phi);
        Reference reference = {};
        switch (calib.referenceFunc) {
            case ReferenceFunc_UnitCircle:
                reference = unit_circle_ref(hx, hy);
                break;
            case ReferenceFunc_UnitSquare:
                reference = unit_square_ref(hx, hy);
                break;
            case ReferenceFunc_UnitDiamond:
                reference = unit_diamond_ref(hx, hy);
                break;
            default:
                return fail(kLineInitReferenceChanged);
        }
        curve.gamma_i[x] = phi;
        curve.q_i[x] = reference.phase;
        curve.w_i[x] = reference.radius;
        if (curve.q_i[0] > reference.phase) {
            curve.q_i[x] = reference.phase + kTwoPi;
        }
    }
    return 0;
}

/** Repeats the period, so that the curve covers the reference axis wherever the axis starts. */
void repeatPeriod(ReferenceCurve& curve) noexcept {
    for (int32_t i = 0; i < kPeriod; ++i) {
        curve.q_i[i] -= kTwoPi;
    }
    for (int32_t i = kPeriod; i < kThreePeriods; ++i) {
        curve.gamma_i[i] = curve.gamma_i[i - kPeriod] + kTwoPi;
        curve.q_i[i] = curve.q_i[i - kPeriod] + kTwoPi;
        curve.w_i[i] = curve.w_i[i - kPeriod];
    }
}

/** Phase and amplitude factor at uniform reference phases. */
int32_t resampleReference(const ReferenceCurve& curve, WigglingCalibReferenceFunc referenceFunc,
                          float32_t* lutPhase, float32_t* lutAmp) noexcept {
    constexpr float32_t rf_period = 0.024639944F;  // 2 pi / 255
    const float32_t rf_min_phi = referenceFunc == ReferenceFunc_UnitCircle ? -kPi : 0.0F;
    const float32_t* const q_i = curve.q_i;
    int32_t k0 = 0;
    int32_t k1 = 1;
    for (int32_t x = 0; x < kReferenceLutSize; ++x) {
        const float32_t q = rf_min_phi + static_cast<float32_t>(x) * rf_period;
        while (q > q_i[k1]) {
            k0 = k1;
            if (k1 == kThreePeriods - 1) {
                return fail(kLineInitReferenceNotCovered);
            }
            ++k1;
        }
        if (!(q_i[k0] <= q && q <= q_i[k1])) {
            return fail(kLineInitReferenceNotMonotonic);
        }
        const float32_t p = (q - q_i[k0]) / (q_i[k1] - q_i[k0]);
        lutPhase[x] = p * curve.gamma_i[k1] + (1.0F - p) * curve.gamma_i[k0];
        lutAmp[x] = (1.0F - p) / curve.w_i[k0] + p / curve.w_i[k1];
    }
    return 0;
}

// --- Fixed pattern -------------------------------------------------------------------------------

/** Writes the means of 2 x 2 pixels to the start of `out`. */
void binFixedPattern(const float32_t* FPPN, float32_t* out) noexcept {
    for (int32_t r = 0; r < kImageHeight; r += 2) {
        const float32_t* const upper = FPPN + r * kImageWidth;
        const float32_t* const lower = upper + kImageWidth;
        for (int32_t s = 0; s < kImageWidth; s += 2) {
            *out++ = (((upper[s + 1] + upper[s]) + lower[s]) + lower[s + 1]) * 0.25F;
        }
    }
}

int32_t takeFixedPattern(const FreqDependentCalibration& c, int32_t binningEnabled, float32_t* out) noexcept {
    if (binningEnabled != 0) {
        binFixedPattern(c.FPPN, out);
        return 0;
    }
    if (al_memcpy(out, c.FPPN, static_cast<int32_t>(sizeof c.FPPN)) != 0) {
        return fail(kLineInitFixedPatternNotCopied);
    }
    return 0;
}

// -------------------------------------------------------------------------------------------------

int32_t buildTables(const WigglingCalib& calib, uint32_t fidx, WigglingState& state,
                    WigglingScratch& scratch) noexcept {
    const FreqDependentCalibration& c = calib.freqDepCalib[fidx];
    float32_t* const invCalibLut = state.invCalibLut[fidx];
    calibratePhase(c, scratch);
    if (invertPhase(scratch) != 0) {
        return 1;
    }
    estimateCorrelation(c, scratch);
    buildCorrelation(scratch, invCalibLut);
    if (normalise(invCalibLut) != 0) {
        return 1;
    }
    ReferenceCurve curve = {};
    // Negative values count as large ones here.
    if (static_cast<uint32_t>(calib.referenceFunc) > ReferenceFunc_UnitDiamond) {
        return fail(kLineInitUnknownReference);
    }
    if (traceReference(invCalibLut, calib, curve) != 0) {
        return 1;
    }
    repeatPeriod(curve);
    if (resampleReference(curve, calib.referenceFunc, state.lutPhase[fidx], state.lutAmp[fidx]) != 0) {
        return 1;
    }
    return takeFixedPattern(c, calib.binningEnabled, state.FPPN[fidx]);
}

bool isReferenceFunc(WigglingCalibReferenceFunc referenceFunc) noexcept {
    return referenceFunc == ReferenceFunc_UnitCircle || referenceFunc == ReferenceFunc_UnitSquare ||
           referenceFunc == ReferenceFunc_UnitDiamond;
}

}  // namespace

int32_t Wiggling_Init(const WigglingCalib* calib, WigglingState* state, WigglingScratch* scratch) noexcept {
    if (calib == nullptr) {
        return fail(kLineInitCalibNull);
    }
    if (state == nullptr) {
        return fail(kLineInitStateNull);
    }
    if (calib->numFreqs > kMaxFrequencies) {
        return fail(kLineInitTooManyFrequencies);
    }
    if (calib->numFreqs == 0) {
        return 0;
    }
    if (calib->freqDepCalib == nullptr) {
        return fail(kLineInitNoFrequencyCalib);
    }
    for (uint32_t fidx = 0; fidx < calib->numFreqs; ++fidx) {
        if (buildTables(*calib, fidx, *state, *scratch) != 0) {
            return 1;
        }
    }
    return 0;
}

int32_t Wiggling_Forward(const WigglingForwardInput* input, const WigglingState* state,
                         const WigglingCalib* calib, WigglingForwardInout* inout) noexcept {
    if (input == nullptr || state == nullptr || calib == nullptr || inout == nullptr) {
        return fail(kLineForwardRecordNull);
    }
    if (input->xyReal == nullptr) {
        return fail(kLineForwardRealNull);
    }
    if (input->xyImag == nullptr) {
        return fail(kLineForwardImagNull);
    }
    if (input->numExpTimes > kMaxExposureTimes) {
        return fail(kLineForwardTooManyExposures);
    }
    if (inout->phi == nullptr || inout->ampl == nullptr) {
        return fail(kLineForwardOutputNull);
    }
    if (input->nPixel % 8 != 0) {
        return fail(kLineForwardPixelCount);
    }
    if (input->freqIdx > kFreqIdxLimit) {
        return fail(kLineForwardFrequency);
    }
    if (input->freqIdx >= kFrequencySlots) {
        return reportFailure(kSourceFile);  // it has no tables
    }
    if (!isReferenceFunc(calib->referenceFunc)) {
        return fail(kLineForwardUnknownReference);
    }
    Wiggling_ComputeTrue(calib->referenceFunc, state->lutPhase[input->freqIdx], state->lutAmp[input->freqIdx],
                         {.pixelCount = input->nPixel,
                          .xyReal = input->xyReal,
                          .xyImag = input->xyImag,
                          .phi = inout->phi,
                          .ampl = inout->ampl});
    return 0;
}

int32_t Wiggling_Backward(const WigglingBackwardInput* input, const WigglingState* state,
                          const WigglingCalib* calib, WigglingBackwardInout* inout) noexcept {
    if (input == nullptr || state == nullptr || calib == nullptr || inout == nullptr) {
        return fail(kLineBackwardRecordNull);
    }
    if (inout->xyReal == nullptr) {
        return fail(kLineBackwardRealNull);
    }
    if (inout->xyImag == nullptr) {
        return fail(kLineBackwardImagNull);
    }
    if (input->phi == nullptr || input->ampl == nullptr) {
        return fail(kLineBackwardInputNull);
    }
    if (input->nPixel % 4 != 0) {
        return fail(kLineBackwardPixelCount);
    }
    if (input->freqIdx > kFreqIdxLimit) {
        return fail(kLineBackwardFrequency);
    }
    if (input->freqIdx >= kFrequencySlots) {
        return reportFailure(kSourceFile);  // it has no tables
    }
    Wiggling_ComputeRaw(state->invCalibLut[input->freqIdx], {.pixelCount = input->nPixel,
                                                             .phi = input->phi,
                                                             .ampl = input->ampl,
                                                             .xyReal = inout->xyReal,
                                                             .xyImag = inout->xyImag});
    return 0;
}
