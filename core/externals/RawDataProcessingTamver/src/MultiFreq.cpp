// SPDX-License-Identifier: Apache-2.0
#include "MultiFreq.h"

#include <atomic>
#include <limits>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "MultiFreqKernels.h"
#include "MultiFreqTables.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/MultiFreq";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are reported, whatever the source looks like today.
constexpr int32_t kLineInitState = 82;
constexpr int32_t kLineInitParam = 83;
constexpr int32_t kLineInitCalib = 84;
constexpr int32_t kLineFrequencies = 85;
constexpr int32_t kLineHoppingTable = 86;
constexpr int32_t kLineFrequencyCount = 87;
constexpr int32_t kLineLengthSingleFreq = 92;
constexpr int32_t kLineLengthTwoFreq = 96;
constexpr int32_t kLineLengthThreeFreq = 100;
constexpr int32_t kLineInitMode = 104;
constexpr int32_t kLineHoppingMap = 121;
constexpr int32_t kLineLookup = 127;
constexpr int32_t kLineRatioOfPairs = 156;
constexpr int32_t kLineRangeZero = 169;
constexpr int32_t kLineTwoFreqPair = 185;
constexpr int32_t kLineThreeFreqPair = 207;
constexpr int32_t kLineCurrentFreqIdx = 252;
constexpr int32_t kLineCurrentDistance = 253;
constexpr int32_t kLineWidth = 254;
constexpr int32_t kLineHeight = 255;
constexpr int32_t kLineApplyMode = 308;
constexpr int32_t kLineOnCallersThread = 332;
constexpr int32_t kLineCreateThread = 340;
constexpr int32_t kLineJoinThread = 346;
constexpr int32_t kLineWorkerFailed = 349;
constexpr int32_t kLineThreadData = 358;
constexpr int32_t kLineWorkerState = 366;
constexpr int32_t kLineWorkerParam = 367;
constexpr int32_t kLineWorkerInput = 368;
constexpr int32_t kLineWorkerOutput = 369;
constexpr int32_t kLineTwoFreq = 400;
constexpr int32_t kLineThreeFreq = 404;
constexpr int32_t kLineWorkerMode = 408;
constexpr int32_t kLinePreviousDistance = 719;
constexpr int32_t kLineTableNumber = 720;
constexpr int32_t kLineLineDistPercentage = 721;
constexpr int32_t kLineBin = 752;
constexpr int32_t kLineBinOfFilter = 812;

static_assert(kLineBins == kTwoFreqBins);

constexpr char_t kModeText[] = "Unsupported frequency mode";

// ---------------------------------------------------------------------------------------------------------------------
// Initialisation

/** The hopping table must have one entry per frequency of the mode. */
int32_t checkHoppingLength(const MultiFreqCalib& calib) noexcept {
    const int32_t length = calib.hoppingTable->frequencyHoppingTableLength;
    switch (calib.frequencyMode) {
        case MultiFreq_FModeSingleFreq:
            return length == 1 ? 0
                               : fail(kLineLengthSingleFreq,
                                      "hopping table must contain exactly one entry in single freq mode");
        case MultiFreq_FModeTwoFreq:
            return length == 2 ? 0
                               : fail(kLineLengthTwoFreq,
                                      "hopping table must contain exactly two entries in two freq mode");
        case MultiFreq_FModeThreeFreq:
            return length == 3 ? 0
                               : fail(kLineLengthThreeFreq,
                                      "hopping table must contain exactly three entries in three freq mode");
        default:
            return fail(kLineInitMode, kModeText);
    }
}

void clear(MultiFreqState& state) noexcept {
    al_mem_zero(state.LUTForward, sizeof state.LUTForward);
    al_mem_zero(state.LUTBackward, sizeof state.LUTBackward);
    al_mem_zero(state.uniqueRangesTwoFreq, sizeof state.uniqueRangesTwoFreq);
    al_mem_zero(state.intermediateResults, sizeof state.intermediateResults);
    state.prevFreqIdx = -1;
    state.prevPrevFreqIdx = -1;
    state.rollingCounter = 0;
}

int32_t createTables(MultiFreqState& state, const MultiFreqParam& param,
                     const MultiFreqCalib& calib) noexcept {
    if (create2QHoppingMap(state, calib) != 0) {
        return fail(kLineHoppingMap);
    }
    for (int32_t i = 0; i < calib.freqCount - 1; ++i) {
        for (int32_t j = i + 1; j < calib.freqCount; ++j) {
            if (create2QLookup(state, param, calib, i, j) != 0) {
                return fail(kLineLookup);
            }
        }
    }
    return 0;
}

/** Range of a frequency combination; one without a table has none. */
float32_t rangeOfCombination(const MultiFreqState& state, int32_t combination) noexcept {
    const int32_t h = state.frequencyHoppingIndices[combination];
    return h >= 0 && h < kFrequencyPairs ? state.uniqueRangesTwoFreq[h] : 0.0F;
}

/** The range over which the pairs of three frequencies agree, and the distance between their lines. */
int32_t combineThreeFrequencies(MultiFreqState& state, const MultiFreqCalib& calib) noexcept {
    constexpr int32_t kPairs = 4;
    constexpr int32_t combinations[kPairs][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 1}};
    const HoppingTableEntry* const hopping = calib.hoppingTable->frequencyHoppingTable;
    int32_t combIdx[kPairs];
    for (int32_t k = 0; k < kPairs; ++k) {
        combIdx[k] =
            combinationOfIds(calib, hopping[combinations[k][0]].fid, hopping[combinations[k][1]].fid);
        if (combIdx[k] < 0) {
            return reportFailure(kSourceFile);
        }
    }
    state.effectiveMeasurementRange = state.uniqueRangesTwoFreq[combIdx[0]];
    for (int32_t k = 0; k < kPairs - 1; ++k) {
        const float32_t rangeA = rangeOfCombination(state, combIdx[k]);
        const float32_t rangeB = rangeOfCombination(state, combIdx[k + 1]);
        float32_t x = 0.0F;
        float32_t halfLineDist = 0.0F;
        float32_t range = 0.0F;
        if (calcFrequencyRatio(rangeA, rangeB, &x, &halfLineDist, &range) != 0) {
            return fail(kLineRatioOfPairs);
        }
        if (state.effectiveMeasurementRange > rangeA) {
            // The range compared is that of the combination's table; the range taken is the entry
            // at the combination's own number.
            state.effectiveMeasurementRange = state.uniqueRangesTwoFreq[combIdx[k]];
        }
        if (k == 1) {
            state.halfLineDist3Freq = halfLineDist;
        }
    }
    if (state.effectiveMeasurementRange == 0.0F) {
        return fail(kLineRangeZero, "effectiveMeasurementRange is zero!");
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Assignment

/** The image completes a pair if one precedes it. Without overlap the next image starts a new pair. */
void advanceTwoFreq(MultiFreqState& state, int32_t currentFreqIdx, bool continuous) noexcept {
    const int32_t previous = state.prevFreqIdx;
    state.prevFreqIdx = currentFreqIdx;
    state.precedingFreqIdx = previous;
    state.assign2Q = previous >= 0 ? 1 : 0;
    if (!continuous && state.assign2Q != 0) {
        state.prevFreqIdx = -1;
    }
}

/** The same with three images. Two buffers alternate, so that one keeps the result of the previous pair. */
void advanceThreeFreq(MultiFreqState& state, int32_t currentFreqIdx, bool continuous) noexcept {
    const int32_t roll = state.rollingCounter & 1;
    const int32_t previous = state.prevFreqIdx;
    const int32_t beforePrevious = state.prevPrevFreqIdx;
    state.prevFreqIdx = currentFreqIdx;
    state.precedingFreqIdx = previous;
    state.prevPrevFreqIdx = previous;
    state.rollingCounter = roll ^ 1;
    state.threeFreqCombine = beforePrevious >= 0 ? 1 : 0;
    state.assign2Q = previous >= 0 ? 1 : 0;
    state.inter0 = &state.intermediateResults[roll];
    state.inter1 = &state.intermediateResults[roll ^ 1];
    if (!continuous && beforePrevious >= 0) {
        state.prevFreqIdx = -1;
        state.prevPrevFreqIdx = -1;
    }
}

int32_t advance(MultiFreqState& state, const MultiFreqCalib& calib, const MultiFreqInput& input,
                const MultiFreqParam& param, MultiFreqOutput& output) noexcept {
    const bool continuous = param.continuousMultiFreq != 0;
    switch (calib.frequencyMode) {
        case MultiFreq_FModeSingleFreq:
            output.outputComplete = 1;
            return 0;
        case MultiFreq_FModeTwoFreq:
            advanceTwoFreq(state, input.currentFreqIdx, continuous);
            return 0;
        case MultiFreq_FModeThreeFreq:
            advanceThreeFreq(state, input.currentFreqIdx, continuous);
            return 0;
        default:
            return fail(kLineApplyMode, kModeText);
    }
}

/** Several workers may set this at the same time, all to the same value. */
void setComplete(MultiFreqOutput& output) noexcept {
    std::atomic_ref<int32_t>(output.outputComplete).store(1, std::memory_order_relaxed);
}

/** Starts a worker per stripe and waits for all of them. They outlive this call
 * only if one cannot be started. */
int32_t runOnThreads(int32_t numThreads, MultiFreqThreadData* threadData,
                     const MultiFreqServices* services) noexcept {
    if (numThreads > kMaxThreads || services == nullptr || services->fctCreateThread == nullptr ||
        services->fctJoinThread == nullptr) {
        return reportFailure(kSourceFile);
    }
    int32_t threadHandles[kMaxThreads] = {};
    for (int32_t t = 0; t < numThreads; ++t) {
        if (services->fctCreateThread(Call_MultiFreq_Apply, &threadData[t], &threadHandles[t]) != 0) {
            return fail(kLineCreateThread, "Error creating thread");
        }
    }
    bool joined = true;
    for (int32_t t = 0; t < numThreads; ++t) {
        joined = services->fctJoinThread(threadHandles[t]) == 0 && joined;
    }
    if (!joined) {
        return fail(kLineJoinThread, "Error joining thread");
    }
    if (ErrorHandling_PerFrameErrorOccured() != 0) {
        return fail(kLineWorkerFailed);
    }
    return 0;
}

/** The pair's table as the loops read it; the values of its bins are `values`. */
template <class Value>
void prepareTable(const TwoFreqLUT& lut, const Value (&values)[kTwoFreqBins], LineTable& table) noexcept {
    for (int32_t k = 0; k < kTwoFreqBins; ++k) {
        const bool hasLine = lut.offset[k] != kNoLine;
        table.bins[k].abscissa = hasLine ? lut.abscissa[k] : std::numeric_limits<float32_t>::quiet_NaN();
        table.bins[k].value = static_cast<float32_t>(values[k]);
    }
}

}  // namespace

int32_t MultiFreq_Init(MultiFreqState* state, MultiFreqParam* param, const MultiFreqCalib* calib) noexcept {
    if (state == nullptr) {
        return fail(kLineInitState);
    }
    if (param == nullptr) {
        return fail(kLineInitParam);
    }
    if (calib == nullptr) {
        return fail(kLineInitCalib);
    }
    if (calib->frequencies == nullptr) {
        return fail(kLineFrequencies);
    }
    if (calib->hoppingTable == nullptr) {
        return fail(kLineHoppingTable);
    }
    if (calib->freqCount < 1) {
        return fail(kLineFrequencyCount, "Frequency count invalid.");
    }
    if (checkHoppingLength(*calib) != 0) {
        return 1;
    }
    clear(*state);
    if (calib->frequencyMode == MultiFreq_FModeSingleFreq) {
        return 0;
    }
    if (createTables(*state, *param, *calib) != 0) {
        return 1;
    }
    return calib->frequencyMode == MultiFreq_FModeThreeFreq ? combineThreeFrequencies(*state, *calib) : 0;
}

int32_t MultiFreq_Apply(MultiFreqState* state, MultiFreqScratch* scratch, const MultiFreqCalib* calib,
                        const MultiFreqInput* input, const MultiFreqParam* param, MultiFreqOutput* output,
                        MultiFreqServices* services) noexcept {
    if (state == nullptr || calib == nullptr || input == nullptr || param == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (input->currentFreqIdx < 0 || input->currentFreqIdx >= kFrequencySlots) {
        return fail(kLineCurrentFreqIdx);
    }
    if (input->currentDistance == nullptr) {
        return fail(kLineCurrentDistance);
    }
    if (input->width < 1 || input->width > kImageWidth) {
        return fail(kLineWidth);
    }
    if (input->height < 1 || input->height > kImageHeight) {
        return fail(kLineHeight);
    }

    output->width = input->width;
    output->height = input->height;
    output->outputComplete = 0;
    if (advance(*state, *calib, *input, *param, *output) != 0) {
        return 1;
    }
    // Static: if a worker cannot be started, the workers before it still run after this call returns.
    static MultiFreqApplyArgs applyArgs;
    static MultiFreqThreadData threadData[kMaxThreads];
    applyArgs = {.state = state,
                 .param = param,
                 .calib = calib,
                 .input = input,
                 .output = output,
                 .numThreads = al_maxi(param->numThreads, 1),
                 .scratch = scratch};
    for (int32_t t = 0; t < kMaxThreads; ++t) {
        threadData[t] = {&applyArgs, t};
    }
    if (param->numThreads >= 1 && calib->frequencyMode != MultiFreq_FModeSingleFreq) {
        return runOnThreads(param->numThreads, threadData, services);
    }
    if (MultiFreq_ApplyMultiThread(&threadData[0]) != 0) {
        return fail(kLineOnCallersThread);
    }
    return 0;
}

void* Call_MultiFreq_Apply(void* arg) noexcept {
    MultiFreq_ApplyMultiThread(static_cast<const MultiFreqThreadData*>(arg));
    return nullptr;
}

int32_t MultiFreq_ApplyMultiThread(const MultiFreqThreadData* threadData) noexcept {
    if (threadData == nullptr || threadData->applyArg == nullptr) {
        return fail(kLineThreadData);
    }
    const MultiFreqApplyArgs& args = *threadData->applyArg;
    if (args.state == nullptr) {
        return fail(kLineWorkerState);
    }
    if (args.param == nullptr) {
        return fail(kLineWorkerParam);
    }
    if (args.input == nullptr) {
        return fail(kLineWorkerInput);
    }
    if (args.output == nullptr) {
        return fail(kLineWorkerOutput);
    }
    if (args.calib == nullptr) {
        return reportFailure(kSourceFile);
    }

    const int32_t t = threadData->threadIdx;
    const int32_t height = args.input->height;
    const int32_t lines =
        al_truncate(static_cast<float32_t>(height) / static_cast<float32_t>(args.numThreads));
    const int32_t startLine = t * lines;
    const int32_t endLine = t == args.numThreads - 1 ? height : (t + 1) * lines;
    switch (args.calib->frequencyMode) {
        case MultiFreq_FModeSingleFreq:
            args.output->outputComplete = 1;
            return 0;
        case MultiFreq_FModeTwoFreq:
            return ApplyTwoFreq(args.state, args.calib, args.scratch, args.param, args.input, args.output,
                                startLine, endLine) == 0
                       ? 0
                       : fail(kLineTwoFreq);
        case MultiFreq_FModeThreeFreq:
            return ApplyThreeFreq(args.state, args.calib, args.scratch, args.param, args.input, args.output,
                                  startLine, endLine) == 0
                       ? 0
                       : fail(kLineThreeFreq);
        default:
            return fail(kLineWorkerMode, kModeText);
    }
}

int32_t ApplyTwoFreq(MultiFreqState* state, const MultiFreqCalib* calib, MultiFreqScratch* scratch,
                     const MultiFreqParam* param, const MultiFreqInput* input, MultiFreqOutput* output,
                     int32_t startLine, int32_t endLine) noexcept {
    if (state->assign2Q == 0) {
        return 0;
    }
    if (assign2QDistance(state, input, scratch, input->twoFreqMaxLineDistPercentage, output->distance,
                         output->confidence, startLine, endLine, calib, param) != 0) {
        return fail(kLineTwoFreqPair);
    }
    setComplete(*output);
    return 0;
}

int32_t ApplyThreeFreq(MultiFreqState* state, const MultiFreqCalib* calib, MultiFreqScratch* scratch,
                       const MultiFreqParam* param, const MultiFreqInput* input, MultiFreqOutput* output,
                       int32_t startLine, int32_t endLine) noexcept {
    IntermediateRes3Freq* const inter0 = state->inter0;
    const IntermediateRes3Freq* const inter1 = state->inter1;
    if (inter0 == nullptr || inter1 == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (state->assign2Q != 0 &&
        assign2QDistance(state, input, scratch, input->threeFreqMax2FLineDistPercentage, inter0->distance,
                         inter0->confidence, startLine, endLine, calib, param) != 0) {
        return fail(kLineThreeFreqPair);
    }
    if (state->threeFreqCombine == 0) {
        return 0;
    }
    float32_t* const distance = output->distance;
    uint16_t* const confidence = output->confidence;
    if (distance == nullptr || confidence == nullptr) {
        return reportFailure(kSourceFile);
    }
    const float32_t lineDistThresh =
        (state->halfLineDist3Freq * input->threeFreqMax3FLineDistPercentage) * 0.01F;
    const PairResults pairs = {.distance0 = inter0->distance,
                               .distance1 = inter1->distance,
                               .confidence0 = inter0->confidence,
                               .confidence1 = inter1->confidence,
                               .range = state->effectiveMeasurementRange,
                               .maxDiff = lineDistThresh};
    MultiFreq_CombinePairs(pairs, distance, confidence, startLine * input->width, endLine * input->width);
    setComplete(*output);
    return 0;
}

int32_t assign2QDistance(const MultiFreqState* state, const MultiFreqInput* input, MultiFreqScratch* scratch,
                         float32_t lineDistPercentage, float32_t* distOutput, uint16_t* confOutput,
                         int32_t startLine, int32_t endLine, const MultiFreqCalib* calib,
                         const MultiFreqParam* param) noexcept {
    const int32_t current = input->currentFreqIdx;
    const int32_t preceding = state->precedingFreqIdx;
    const int32_t combination = combinationOfIds(*calib, current, preceding);
    const int32_t h = combination >= 0 ? state->frequencyHoppingIndices[combination] : -1;
    const LinePixels pixels = {.currentDistance = input->currentDistance,
                               .previousDistance = input->previousDistance,
                               .currentConfidence = input->currentConfidence,
                               .previousConfidence = input->previousConfidence,
                               .distance = distOutput,
                               .confidence = confOutput};
    if (pixels.previousDistance == nullptr) {
        return fail(kLinePreviousDistance);
    }
    if (h < 0 || h >= kFrequencyPairs) {
        return fail(kLineTableNumber);
    }
    if (lineDistPercentage < 0.0F) {
        return fail(kLineLineDistPercentage, "twoFreqMaxLineDistPercentage out of range");
    }
    if (pixels.currentConfidence == nullptr || pixels.previousConfidence == nullptr ||
        distOutput == nullptr || confOutput == nullptr ||
        (input->filterAssignment != 0 && scratch == nullptr)) {
        return reportFailure(kSourceFile);
    }

    // The table whose first unique range is that of the current frequency.
    const float32_t* const frequencies = calib->frequencies;
    const TwoFreqLUT& lut =
        frequencies[current] > frequencies[preceding] ? state->LUTBackward[h] : state->LUTForward[h];
    LineTable table;
    table.lutOffset = lut.lutOffset;
    table.invResolution = 1.0F / lut.lutResolution;
    table.maxLineDist = lineDistPercentage * (lut.halfLineDist * 0.01F);
    table.uniqueRange = state->uniqueRangesTwoFreq[h];
    table.autoMaxRange = lut.autoMaxRange != 0;
    table.currentOnly = param->verticalAssignment != 0;
    const int32_t first = startLine * input->width;
    const int32_t last = endLine * input->width;
    if (input->filterAssignment == 0) {
        prepareTable(lut, lut.offset, table);
        return MultiFreq_AssignDistances(table, pixels, first, last) == 0 ? 0 : fail(kLineBin);
    }
    prepareTable(lut, lut.lineIndices, table);
    if (MultiFreq_AssignLines(table, pixels, scratch->lineIndices, first, last) != 0) {
        return fail(kLineBinOfFilter);
    }
    const LineVote vote = {.lineIndices = scratch->lineIndices,
                           .distance = distOutput,
                           .confidence = confOutput,
                           .width = input->width,
                           .height = input->height};
    MultiFreq_VoteOnLines(table, lut.offsetLut, vote, startLine, endLine);
    return 0;
}
