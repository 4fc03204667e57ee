// SPDX-License-Identifier: Apache-2.0
#include "QorRawToDist.h"

#include <algorithm>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "QorRawToDistKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/app-specific/src/QorRawToDist";

// Drift of X and Y with ambient light, fitted for four modulation frequencies. The index is the frequency
// slot. For each: size per count of intensity and ratio of exposures, direction in radians, frequency in Hz.
constexpr float32_t corrAmpFac[kFrequencySlots] = {0.0036295F, 0.00435F, 0.00128F, 0.000184F};
constexpr float32_t corrDis[kFrequencySlots] = {0.3512F, 0.538F, 1.337F, 3.109F};
constexpr float32_t corrFreqs[kFrequencySlots] = {47987700.0F, 56926000.0F, 74932600.0F, 4869800.0F};

bool isFrequencySlot(int32_t freqIdx) noexcept {
    return freqIdx >= 0 && freqIdx < kFrequencySlots;
}

/** The first image of a frame clears the histograms, whatever its kind. */
void startHistograms(const QorRawdataPhaseInfo& info, const QorRawToDistInput& input,
                     const QorRawToDistOutput& output) noexcept {
    uint32_t(*const histograms)[kHistogramBins] = output.histograms;
    if (info.sequenceCounter == 0 && input.auto_exposure_output != 0 && histograms != nullptr) {
        std::fill_n(histograms[0], kMaxExposures * kHistogramBins, 0U);
    }
}

int32_t takeIntensityImage(const QorRawToDistState& state, const QorRawdataPhaseInfo& info,
                           const QorRawToDistInput& input, QorRawToDistOutput& output) noexcept {
    if (state.currentRawIdx != 0) {
        return reportFailure(kSourceFile, "Intensity measurement during a 4 phase sequence is not allowed");
    }
    startHistograms(info, input, output);
    output.outputComplete = 0;
    return 0;
}

uint16_t nextFrameCounter(uint16_t frameCounter) noexcept {
    return static_cast<uint16_t>((frameCounter + 1) & 0xFFF);
}

/** The four collected images must be consecutive and taken alike. */
int32_t checkPhases(const QorRawToDistState& state) noexcept {
    const QorRawdataPhaseInfo& first = state.rawPhases[0]->info;
    for (int32_t idx = 1; idx < kPhasesPerExposure; ++idx) {
        const QorRawdataPhaseInfo& info = state.rawPhases[idx]->info;
        if (info.frameCounter != nextFrameCounter(state.rawPhases[idx - 1]->info.frameCounter)) {
            return reportFailure(kSourceFile, "Unexpected framecounter");
        }
        if (info.exposureTime != first.exposureTime) {
            return reportFailure(kSourceFile, "Inconsistent exposure time");
        }
        if (info.freqIdx != first.freqIdx) {
            return reportFailure(kSourceFile, "Inconsistent frequency index");
        }
        if (int64_t{info.sequenceCounter} != int64_t{first.sequenceCounter} + idx) {
            return reportFailure(kSourceFile, "Unexpected sequence counter");
        }
    }
    for (const Ref<const QorRawdataPhase>& phase : state.rawPhases) {
        if (phase->phaseData == nullptr) {
            return reportFailure(kSourceFile);
        }
    }
    return 0;
}

/** Where a group of four phases stands in its frame. */
struct Exposure {
    int32_t time;
    float32_t ampNormFactor;
    int32_t mixExposureTimes;  ///< 1: the second of two exposures; also the index of histogram and storage
    uint16_t confidenceMask;
};

int32_t placeExposure(QorRawToDistState& state, int32_t numExposures, Exposure& exposure) noexcept {
    if (numExposures == 1) {
        std::fill_n(state.invExpTimes, kPixelCount, 1.0F / static_cast<float32_t>(exposure.time));
        exposure.mixExposureTimes = 0;
        exposure.confidenceMask = kConfidenceLastExposure;
        return 0;
    }
    if (numExposures != 2) {
        return reportFailure(kSourceFile, "Unsupported number of exposures");
    }
    if (state.currentExposureIdx == 0) {
        state.lastExposureTime = exposure.time;
        state.lastAmpNormFactor = exposure.ampNormFactor;
        state.currentExposureIdx = 1;
        exposure.mixExposureTimes = 0;
        exposure.confidenceMask = 0;
        return 0;
    }
    if (state.currentExposureIdx != 1) {
        return reportFailure(kSourceFile, "Unexpected exposure index");
    }
    if (exposure.time < state.lastExposureTime) {
        return reportFailure(kSourceFile, "Exposure times must be monotonically increasing");
    }
    state.currentExposureIdx = 0;
    exposure.mixExposureTimes = 1;
    exposure.confidenceMask = kConfidenceLastExposure;
    return 0;
}

int32_t convertSamples(QorRawToDistState& state, const FreqIndependentCalibration& calib,
                       const QorRawToDistInput& input, const QorRawToDistOutput& output,
                       const Exposure& exposure) noexcept {
    const int32_t index = exposure.mixExposureTimes;
    if (input.auto_exposure_output == 0) {
        NEON_RawToXYS(&state, calib.minDiff, calib.maxDiff, index, exposure.confidenceMask);
        return 0;
    }
    if (input.autoExpRoi == nullptr || output.histograms == nullptr) {
        return reportFailure(kSourceFile, "Auto Exposure information unavailable in raw to dist.");
    }
    NEON_RawToXYS_histo(&state, calib.minDiff, calib.maxDiff, index, exposure.confidenceMask,
                        input.autoExpRoi, output.histograms[index]);
    return 0;
}

/** Times and factors of the exposures, for the noise model and the exposure control. */
void publishExposures(const QorRawToDistState& state, const Exposure& exposure,
                      QorRawToDistOutput& output) noexcept {
    const bool mixed = exposure.mixExposureTimes != 0;
    output.expTimes[0] = mixed ? state.lastExposureTime : exposure.time;
    output.expTimes[1] = mixed ? exposure.time : 0;
    output.ampNormFactors[0] = mixed ? state.lastAmpNormFactor : exposure.ampNormFactor;
    output.ampNormFactors[1] = mixed ? exposure.ampNormFactor : 0.0F;
    output.numExpTimes = mixed ? 2 : 1;
}

/** Ambient light shifts X and Y in proportion to its intensity and to the exposure. */
int32_t prepareDriftCompensation(const QorRawToDistCalib& calib, const QorRawToDistInput& input,
                                 const QorRawToDistOutput& output, int32_t freqIdx,
                                 RawToDistPhaseInput& phaseInput) noexcept {
    if (!isFrequencySlot(freqIdx)) {
        return reportFailure(kSourceFile, "Unexpected frequency index.");
    }
    const float32_t ratio = calib.frequencies[freqIdx] / corrFreqs[freqIdx];
    if (ratio < 0.99F || ratio > 1.01F) {
        return reportFailure(
            kSourceFile, "Frequency mismatch between calibration and fixed ambient light drift parameters.");
    }
    if (input.intensity == nullptr) {
        return reportFailure(kSourceFile,
                             "No intensity input given and compensateAmbientLightDrift is enabled.");
    }
    if (input.intensityExposure == 0) {
        return reportFailure(
            kSourceFile, "Intensity exposure is not plausible and compensateAmbientLightDrift is enabled.");
    }
    const int32_t lastExposure = output.numExpTimes > 1 ? output.expTimes[1] : output.expTimes[0];
    const float32_t exposures[kMaxExposures] = {static_cast<float32_t>(output.expTimes[0]),
                                                static_cast<float32_t>(lastExposure)};
    const auto intensityExposure = static_cast<float32_t>(input.intensityExposure);
    for (int32_t e = 0; e < kMaxExposures; ++e) {
        const float32_t size = exposures[e] * corrAmpFac[freqIdx];
        phaseInput.driftX[e] = (size * al_cosf(corrDis[freqIdx])) / intensityExposure;
        phaseInput.driftY[e] = (size * al_sinf(corrDis[freqIdx])) / intensityExposure;
    }
    phaseInput.intensity = input.intensity;
    return 0;
}

/** Phase, amplitude and confidence from X, Y and S at `bufferIndex`. */
int32_t NEON_XYStoDist(QorRawToDistState* state, const QorRawToDistCalib* calib,
                       const QorRawToDistInput* input, QorRawToDistOutput* output, int bufferIndex) noexcept {
    const int32_t freqIdx = input->rawData->info.freqIdx;
    RawToDistPhaseInput phaseInput = {};
    if (input->compensateAmbientLightDrift != 0 &&
        prepareDriftCompensation(*calib, *input, *output, freqIdx, phaseInput) != 0) {
        return 1;
    }
    const FreqDependentCalibration& frequency = calib->freqDependent[freqIdx];
    phaseInput.X = state->X[bufferIndex];
    phaseInput.Y = state->Y[bufferIndex];
    phaseInput.S = state->S[bufferIndex];
    phaseInput.confidence = state->confidence[bufferIndex];
    phaseInput.invExpTimes = state->invExpTimes;
    phaseInput.FPPN = frequency.FPPN;
    phaseInput.ampWigg = frequency.ampWigg;
    phaseInput.phaseWigg = frequency.phaseWigg;
    phaseInput.xCorrection = frequency.xyCorrection[0];
    phaseInput.yCorrection = frequency.xyCorrection[1];
    phaseInput.minAmpSquare = input->minAmp * input->minAmp;
    phaseInput.maxSymSquare = input->maxSymmetry * input->maxSymmetry;
    RawToDist_ComputePhase(phaseInput, {.phase = output->distance,
                                        .normalizedAmplitude = output->normalizedAmplitude,
                                        .confidence = output->confidence});
    return 0;
}

/** After the fourth phase: converts, merges and, after the last exposure, computes the images. */
int32_t finishGroup(QorRawToDistState& state, const QorRawToDistParam& param, const QorRawToDistCalib& calib,
                    const QorRawToDistInput& input, QorRawToDistOutput& output) noexcept {
    const int32_t freqIdx = state.rawPhases[0]->info.freqIdx;
    if (!isFrequencySlot(freqIdx)) {
        return reportFailure(kSourceFile, "Unexpected frequency index.");
    }
    Exposure exposure = {};
    exposure.time = input.rawData->info.exposureTime;
    exposure.ampNormFactor = calib.freqDependent[freqIdx].ampWigg[0] / static_cast<float32_t>(exposure.time);
    if (checkPhases(state) != 0 || placeExposure(state, param.numExposures, exposure) != 0 ||
        convertSamples(state, calib.freqIndependent, input, output, exposure) != 0) {
        return 1;
    }
    publishExposures(state, exposure, output);
    if (exposure.mixExposureTimes != 0) {
        RawToDist_MergeExposures(&state, 1.0F / static_cast<float32_t>(state.lastExposureTime),
                                 1.0F / static_cast<float32_t>(exposure.time));
    } else if (param.numExposures != 1) {
        return 0;  // the first of two exposures waits
    }
    if (NEON_XYStoDist(&state, &calib, &input, &output, exposure.mixExposureTimes) != 0) {
        return reportFailure(kSourceFile);
    }
    output.outputComplete = 1;
    return 0;
}

}  // namespace

int32_t QorRawToDist_Init(QorRawToDistState* state, const QorRawToDistCalib* calib) noexcept {
    if (state == nullptr || calib == nullptr) {
        return reportFailure(kSourceFile);
    }
    state->currentExposureIdx = 0;
    state->currentRawIdx = 0;
    state->lastExposureTime = 0;
    state->rawPhases[0] = nullptr;
    return 0;
}

int32_t QorRawToDist_Apply(QorRawToDistState* state, const QorRawToDistParam* param,
                           const QorRawToDistCalib* calib, const QorRawToDistInput* input,
                           QorRawToDistOutput* output) noexcept {
    if (state == nullptr || param == nullptr || calib == nullptr || input == nullptr ||
        input->rawData == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }

    const QorRawdataPhase* const rawData = input->rawData;
    if (rawData->info.intensityMeasurement != 0) {
        return takeIntensityImage(*state, rawData->info, *input, *output);
    }
    state->rawPhases[state->currentRawIdx] = rawData;
    ++state->currentRawIdx;
    startHistograms(rawData->info, *input, *output);
    output->outputComplete = 0;
    if (state->currentRawIdx != kPhasesPerExposure) {
        return 0;
    }
    state->currentRawIdx = 0;  // whatever follows, the next image starts a new group
    return finishGroup(*state, *param, *calib, *input, *output);
}
