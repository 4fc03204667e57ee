// SPDX-License-Identifier: Apache-2.0
#include "AutoExposure.h"

#include <algorithm>
#include <cstdlib>

#include "ALErrorHandling.h"
#include "ALUtil.h"
#include "AutoExposureCandidates.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/AutoExposure";

/** A change of times must promise a score that is higher by this share. */
constexpr float32_t kHysteresis = 0.015F;
/** Fewer pixels than this say nothing about a scene. */
constexpr int32_t kMinRegionPixels = 10;
/** From this level on a quantile lies in the last bin, which holds all that is brighter. */
constexpr auto kClippedLevel = static_cast<float32_t>(kHistogramBins - 1);
constexpr uint32_t kLargestKneepoint = kHistogramBins - 1;
constexpr float32_t kNoScore = -1.0F;

int32_t checkScoreFunction(const AutoExposureParam& param) noexcept {
    if (param.numPieces < 1 || param.numPieces > kMaxScorePieces) {
        return reportFailure(kSourceFile, "Auto-Exp score function not defined properly.");
    }
    for (uint32_t p = 0; p < param.numPieces; ++p) {
        if (!(param.score_slopes[p] > 0.0F)) {
            return reportFailure(kSourceFile, "AutoExp score function: slopes must be positive.");
        }
        if (p > 0 && param.score_x_kneepoints[p] <= param.score_x_kneepoints[p - 1]) {
            return reportFailure(kSourceFile,
                                 "AutoExp score function kneepoints must be monotonically increasing");
        }
        if (param.score_x_kneepoints[p] > kLargestKneepoint) {
            return reportFailure(kSourceFile, "Auto-Exp score function unreasonable x value");
        }
    }
    return 0;
}

/** Marks the pixels that any region holds, and returns their number. */
int32_t takeRegions(const RegionOfInterestOutput& regions, AutoExposureOutput& output) noexcept {
    output.roi_width = regions.width;
    output.roi_height = regions.height;
    if (regions.width < 1 || regions.height < 1) {
        return 0;
    }
    int32_t count = 0;
    for (int32_t i = 0; i < regions.width * regions.height; ++i) {
        output.roi[i] = regions.mask[i] != 0 ? 1 : 0;
        count += output.roi[i];
    }
    return count;
}

int32_t calculateCumHistos(const AutoExposureInput& input, AutoExposureScratch& scratch) noexcept {
    const uint32_t(*const histograms)[kHistogramBins] = input.histograms;
    if (histograms == nullptr) {
        return reportFailure(kSourceFile);
    }
    for (uint32_t e = 0; e < input.numExposures; ++e) {
        if (e > 0 && input.expTimes[e] <= input.expTimes[e - 1]) {
            return reportFailure(kSourceFile);
        }
        calculateCumHisto(histograms[e], scratch.cumHistos[e], scratch.cumMeanHistos[e]);
    }
    return 0;
}

/** A call's predictions. */
struct Predictor {
    const AutoExposureInput& input;
    const AutoExposureParam& param;
    const AutoExposureScratch& scratch;

    float32_t scoreAt(const uint32_t* expTimes) const noexcept {
        return predictScore(input.expTimes, expTimes, param.score_x_kneepoints, param.score_slopes,
                            param.numPieces, scratch.cumMeanHistos, scratch.cumHistos,
                            static_cast<int32_t>(input.numExposures));
    }
};

/** The short time at which exactly the allowed number of pixels would lie above the last knee point. */
float32_t longestShortTime(const Predictor& predictor, const AutoExposureState& state) noexcept {
    const AutoExposureInput& input = predictor.input;
    const uint32_t* const cumHisto = predictor.scratch.cumHistos[0];
    const float32_t unsaturated = static_cast<float32_t>(cumHisto[kHistogramBins]) *
                                  input.specificSettings[input.numExposures - 1].saturationCheckQuantile;
    float32_t q = quantile(cumHisto, unsaturated);
    if (q >= kClippedLevel) {
        q *= 2.0F;  // the last bin does not tell how much brighter
    }
    const auto T_sat =
        static_cast<float32_t>(predictor.param.score_x_kneepoints[predictor.param.numPieces - 1]);
    const float32_t time = (T_sat / q) * static_cast<float32_t>(input.expTimes[0]);
    const float32_t least = std::max(static_cast<float32_t>(predictor.param.minExpTime),
                                     static_cast<float32_t>(state.validExpTimes[0][0]));
    return time < least ? least : time;
}

/** How far a candidate is from the times of the measured frame, microseconds. */
int64_t distanceOf(const uint32_t* candidate, const AutoExposureInput& input) noexcept {
    int64_t deltaExp = 0;
    for (uint32_t e = 0; e < input.numExposures; ++e) {
        deltaExp += std::abs(int64_t{candidate[e]} - int64_t{input.expTimes[e]});
    }
    return deltaExp;
}

/** What the search over the candidates found: indices into the list. */
struct SearchResult {
    uint32_t best;
    float32_t bestScore;
    uint32_t nearest;  ///< to the times of the measured frame
};

SearchResult search(const Predictor& predictor, const AutoExposureState& state,
                    float32_t maxExpTimeShort) noexcept {
    SearchResult result = {0, kNoScore, 0};
    int64_t distHysteresis = -1;
    for (uint32_t i = 0; i < state.numValidExpTimes; ++i) {
        const uint32_t* const expTimesTest = state.validExpTimes[i];
        const int64_t deltaExp = distanceOf(expTimesTest, predictor.input);
        if (deltaExp < distHysteresis || distHysteresis < 0) {
            result.nearest = i;
            distHysteresis = deltaExp;
        }
        // Short times rise along the list. The first that is too long may still be the nearest.
        if (static_cast<float32_t>(expTimesTest[0]) > maxExpTimeShort) {
            break;
        }
        const float32_t score = predictor.scoreAt(expTimesTest);
        if (score > result.bestScore) {
            result.best = i;
            result.bestScore = score;
        }
    }
    return result;
}

}  // namespace

int32_t AutoExposure_Init(AutoExposureParam* param, AutoExposureState* state,
                          AutoExposureOutput* output) noexcept {
    if (state == nullptr || param == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    al_mem_zero(state, sizeof *state);
    param->expTimeDiscretization = std::max(param->expTimeDiscretization, 1);
    param->hysteresis = kHysteresis;
    state->score_measure = kNoScore;
    state->score_predicted = kNoScore;
    state->score_diff = 0.0F;
    output->roi_width = param->imgWidth;
    output->roi_height = param->imgHeight;
    if (param->maxExpTime < param->minExpTime) {
        return 0;  // a camera that may not expose at all still starts
    }
    if (param->minExpTime % param->expTimeDiscretization != 0) {
        return reportFailure(kSourceFile, "Minimum Exp Time must fit into discretization scheme");
    }
    if (checkScoreFunction(*param) != 0) {
        return 1;
    }
    const int64_t pixelCount = int64_t{param->imgWidth} * param->imgHeight;
    if (param->imgWidth <= 0 || param->imgHeight <= 0 || pixelCount > kPixelCount) {
        return reportFailure(kSourceFile, "AutoExp image dimensions not set correctly.");
    }
    std::fill_n(output->roi, pixelCount, uint8_t{1});
    return 0;
}

int32_t AutoExposure_Apply(const AutoExposureInput* input, const AutoExposureParam* param,
                           AutoExposureState* state, AutoExposureScratch* scratch,
                           AutoExposureOutput* output) noexcept {
    if (input == nullptr || param == nullptr || state == nullptr || scratch == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    const uint32_t numExposures = input->numExposures;
    output->numExposures = static_cast<int32_t>(numExposures);
    for (uint32_t e = 0; e < std::min(numExposures, static_cast<uint32_t>(kMaxExposures)); ++e) {
        state->currExposures[e] = static_cast<int32_t>(input->expTimes[e]);
        output->newExpTimes[e] = input->expTimes[e];
    }
    if (numExposures < 1 || numExposures > kMaxExposures) {
        return reportFailure(kSourceFile);
    }
    const AutoExpSettings& settings = input->settings;
    if (settings.applyAutoExposure == AutoExposureApplyMode_Off) {
        return 0;
    }
    if (settings.applyAutoExposure != AutoExposureApplyMode_Normal) {
        return reportFailure(kSourceFile, "auto exposure mode must be off or normal");
    }
    if (settings.roiSettings.type != AutoExposureROIType_ROIs) {
        return reportFailure(kSourceFile, "auto exposure ROI type ReferencePoint not supported");
    }
    if (al_memcmp(&settings, &state->settings, sizeof settings) == 0 &&
        settingsChanged(state, output, scratch, param, input) != 0) {
        return reportFailure(kSourceFile);
    }
    if (calculateCumHistos(*input, *scratch) != 0) {
        return 1;
    }
    if (param->numPieces < 1 || param->numPieces > kMaxScorePieces) {
        return reportFailure(kSourceFile);  // unchecked so far if no exposure was allowed at initialisation
    }
    const Predictor predictor = {.input = *input, .param = *param, .scratch = *scratch};
    state->score_measure = predictor.scoreAt(input->expTimes);
    if (state->score_predicted >= 0.0F) {
        state->score_diff = state->score_measure - state->score_predicted;
    }
    const float32_t maxExpTimeShort = longestShortTime(predictor, *state);
    if (state->numValidExpTimes == 0 || state->numValidExpTimes > kMaxExposureCandidates) {
        return reportFailure(kSourceFile);
    }
    const SearchResult found = search(predictor, *state, maxExpTimeShort);
    if (found.bestScore < 0.0F) {
        return reportFailure(kSourceFile);
    }
    state->score_predicted = found.bestScore;

    // The candidate nearest to the present times is kept, unless the present times saturate too many
    // pixels or a change promises enough.
    const uint32_t nearestTimes[] = {state->validExpTimes[found.nearest][0],
                                     numExposures > 1 ? state->validExpTimes[found.nearest][1] : 0};
    const float32_t scoreHysteresis = predictor.scoreAt(nearestTimes);
    const bool stay = !(static_cast<float32_t>(input->expTimes[0]) > maxExpTimeShort) &&
                      !(scoreHysteresis + param->hysteresis * scoreHysteresis < found.bestScore);
    const uint32_t* const proposal = state->validExpTimes[stay ? found.nearest : found.best];
    output->newExpTimes[0] = proposal[0];
    output->newExpTimes[1] = numExposures > 1 ? proposal[1] : 0;
    output->score_predicted = stay ? scoreHysteresis : found.bestScore;
    output->score_measured = state->score_measure;
    output->score_diff = state->score_diff;
    return 0;
}

int32_t settingsChanged(AutoExposureState* state, AutoExposureOutput* output, AutoExposureScratch* scratch,
                        const AutoExposureParam* param, const AutoExposureInput* input) noexcept {
    if (state == nullptr || output == nullptr || scratch == nullptr || param == nullptr || input == nullptr) {
        return reportFailure(kSourceFile);
    }
    state->settings = input->settings;
    state->numValidExpTimes = 0;
    const RegionOfInterestInput regions = {
        .regions = input->settings.roiSettings.rois, .width = param->imgWidth, .height = param->imgHeight};
    if (RegionOfInterest_Apply(&regions, &scratch->roiScratch, &scratch->roiOutput) != 0) {
        return reportFailure(kSourceFile);
    }
    if (takeRegions(scratch->roiOutput, *output) < kMinRegionPixels) {
        return reportFailure(kSourceFile, "Auto Exp region of interest too small");
    }
    const uint32_t numExposures = input->numExposures;
    if (numExposures < 1 || numExposures > kMaxExposures) {
        return reportFailure(kSourceFile);
    }
    state->numValidExpTimes = buildCandidates(input, param, state);
    if (state->numValidExpTimes == 0) {
        return reportFailure(kSourceFile);
    }
    return 0;
}
