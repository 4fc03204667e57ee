// SPDX-License-Identifier: Apache-2.0
//
// Multi-frequency stage: a distance measured at one frequency is ambiguous beyond its unique range; two or
// three frequencies together resolve it. These records carry the lookup tables of each frequency pair and the
// history.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

inline constexpr int32_t kTwoFreqBins = 100;
inline constexpr int32_t kFrequencyPairs = 6;  ///< pairs of four frequency slots

enum MultiFreq_FrequencyMode : int32_t {
    MultiFreq_FModeSingleFreq = 0,
    MultiFreq_FModeTwoFreq = 1,
    MultiFreq_FModeThreeFreq = 2,
    MultiFreq_FModeMax = 3,
};

struct MultiFreqCalib {
    Ref<float32_t> frequencies;  ///< Hz, by frequency id
    int32_t freqCount;           ///< at least 1
    Ref<RuvoFrequencyHoppingTable> hoppingTable;
    MultiFreq_FrequencyMode frequencyMode;
};
AL_DESCRIBE(MultiFreqCalib, frequencies, freqCount, hoppingTable, frequencyMode)

struct MultiFreqParam {
    int32_t continuousMultiFreq;  ///< non-zero: every new image pairs with the one before
    int32_t numThreads;
    float32_t maxRange;          ///< metres; negative: from the frequency ratio
    float32_t halfLineDist;      ///< metres; above 0: half width of each line, else from the line spacing
    int32_t verticalAssignment;  ///< non-zero: only the current image gives the distance
};
AL_DESCRIBE(MultiFreqParam, continuousMultiFreq, numThreads, maxRange, halfLineDist, verticalAssignment)

/** Lookup table of one ordered pair of unique ranges (UR1, UR2). */
struct TwoFreqLUT {
    float32_t offset[kTwoFreqBins];  ///< distance to add to that of UR1, metres; -1 marks a bin without line
    float32_t abscissa[kTwoFreqBins];   ///< d1 - d2 exactly on the line of the bin, metres
    float32_t lutResolution;            ///< width of a bin, metres
    float32_t lutOffset;                ///< turns d1 - d2 into 0 and up, metres
    float32_t halfLineDist;             ///< half width of a line, metres
    int32_t autoMaxRange;               ///< 1: the range came from the frequency ratio
    int32_t lineIndices[kTwoFreqBins];  ///< running number of the line of each bin
    float32_t offsetLut[kTwoFreqBins];  ///< offset by line number, metres
};
AL_DESCRIBE(TwoFreqLUT, offset, abscissa, lutResolution, lutOffset, halfLineDist, autoMaxRange, lineIndices,
            offsetLut)

struct IntermediateRes3Freq {
    float32_t distance[kPixelCount];
    uint16_t confidence[kPixelCount];
};
AL_DESCRIBE(IntermediateRes3Freq, distance, confidence)

struct MultiFreqState {
    TwoFreqLUT LUTForward[kFrequencyPairs];   ///< UR1 is the larger unique range
    TwoFreqLUT LUTBackward[kFrequencyPairs];  ///< UR1 is the smaller unique range
    float32_t uniqueRangesTwoFreq[kFrequencyPairs];
    IntermediateRes3Freq intermediateResults[3];
    int32_t rollingCounter;                            ///< 0 or 1
    int32_t prevFreqIdx;                               ///< -1: none
    int32_t prevPrevFreqIdx;                           ///< -1: none
    int16_t frequencyHoppingIndices[kFrequencyPairs];  ///< table of each frequency combination, -1: none
    float32_t effectiveMeasurementRange;
    float32_t halfLineDist3Freq;
    Ref<IntermediateRes3Freq> inter0;
    Ref<IntermediateRes3Freq> inter1;
    int32_t assign2Q;
    int32_t threeFreqCombine;
    int32_t precedingFreqIdx;
};
AL_DESCRIBE(MultiFreqState, LUTForward, LUTBackward, uniqueRangesTwoFreq, intermediateResults, rollingCounter,
            prevFreqIdx, prevPrevFreqIdx, frequencyHoppingIndices, effectiveMeasurementRange,
            halfLineDist3Freq, inter0, inter1, assign2Q, threeFreqCombine, precedingFreqIdx)

struct MultiFreqInput {
    int32_t currentFreqIdx;          ///< frequency id, 0 to 3
    Ref<float32_t> currentDistance;  ///< wrapped, metres; 0: no measurement
    Ref<uint16_t> currentConfidence;
    Ref<float32_t> previousDistance;
    Ref<uint16_t> previousConfidence;
    int32_t width;
    int32_t height;
    float32_t twoFreqMaxLineDistPercentage;      ///< acceptance of a pixel, percent of the half line width
    float32_t threeFreqMax2FLineDistPercentage;  ///< the same in the pair step of three frequencies
    float32_t threeFreqMax3FLineDistPercentage;  ///< of two pair results, percent of halfLineDist3Freq
    int32_t filterAssignment;                    ///< non-zero: neighbours vote on the line
};
AL_DESCRIBE(MultiFreqInput, currentFreqIdx, currentDistance, currentConfidence, previousDistance,
            previousConfidence, width, height, twoFreqMaxLineDistPercentage, threeFreqMax2FLineDistPercentage,
            threeFreqMax3FLineDistPercentage, filterAssignment)

struct MultiFreqOutput {
    Ref<float32_t> distance;
    Ref<uint16_t> confidence;
    int32_t width;
    int32_t height;
    int32_t outputComplete;  ///< 1: a finished distance image
};
AL_DESCRIBE(MultiFreqOutput, distance, confidence, width, height, outputComplete)

struct MultiFreqScratch {
    int32_t lineIndices[kPixelCount];
};

struct MultiFreqServices {
    FctCreateThread fctCreateThread;
    FctJoinThread fctJoinThread;
};

/** How a neighbour votes on the line of a pixel. */
enum MultiFreq_LineChange : int32_t {
    MFLC_Stay = 0,     ///< it lies on the same line
    MFLC_OneUp = 1,    ///< on the next line
    MFLC_OneDown = 2,  ///< on the line before
};

/** What every worker of one call reads. */
struct MultiFreqApplyArgs {
    MultiFreqState* state;
    const MultiFreqParam* param;
    const MultiFreqCalib* calib;
    const MultiFreqInput* input;
    MultiFreqOutput* output;
    int32_t numThreads;  ///< stripes that the image is divided into, at least 1
    MultiFreqScratch* scratch;
};

/** The share of one worker. */
struct MultiFreqThreadData {
    MultiFreqApplyArgs* applyArg;
    int32_t threadIdx;  ///< number of its stripe
};

/**
 * Checks the hopping table against the frequency mode, builds the lookup tables of all pairs of frequencies
 * that can follow one another, and empties the history. Fails on a frequency id that is not below `freqCount`
 * or not one of the four slots, and on frequencies that give no table. One frequency needs no table.
 */
int32_t MultiFreq_Init(MultiFreqState* state, MultiFreqParam* param, const MultiFreqCalib* calib) noexcept;

/**
 * Takes the image of one frequency. Once the preceding images are there, the result goes to the output's
 * images, width x height pixels row by row, and `outputComplete` is 1. Else these images stay as they are and
 * it is 0. A single frequency is complete at once; its images are not written here.
 *
 * A distance that is 0 in either image stays 0. A pixel that lies too far from all lines of the pair, or
 * beyond the range, gets distance 0 and confidence bits 0x0021; with three frequencies 0x0401 where the two
 * pairs disagree. A difference of NaN lies on no line. All other bits are those of both images.
 *
 * With `numThreads` of 1 to 10 the rows are divided among that many workers of `services`, which run until
 * the call returns; at 0 and below the caller's thread does everything. Results are the same, except for the
 * votes of `filterAssignment` in the first and last row of a stripe: these may see the neighbouring stripe's
 * lines from before this call. A worker's failure shows in the per-frame error history. Not reentrant.
 * Without workers `services` may be null, and without `filterAssignment` `scratch` may.
 *
 * Fails on a frequency id outside 0 to 3, a size outside 1 to 224 x 1 to 172, a missing image, a pair of
 * frequencies without table, a negative acceptance, and on a difference of distances outside the table: the
 * pixels before it, row by row, then have their result.
 */
int32_t MultiFreq_Apply(MultiFreqState* state, MultiFreqScratch* scratch, const MultiFreqCalib* calib,
                        const MultiFreqInput* input, const MultiFreqParam* param, MultiFreqOutput* output,
                        MultiFreqServices* services) noexcept;

// The steps of MultiFreq_Apply. `startLine` up to but not including `endLine` is the stripe of rows.

/** Thread entry: `arg` is a MultiFreqThreadData. Always null; a failure is in the error history. */
void* Call_MultiFreq_Apply(void* arg) noexcept;

/** Computes one stripe. */
int32_t MultiFreq_ApplyMultiThread(const MultiFreqThreadData* threadData) noexcept;

/** The pair of current and preceding frequency, if there is one, into the output. */
int32_t ApplyTwoFreq(MultiFreqState* state, const MultiFreqCalib* calib, MultiFreqScratch* scratch,
                     const MultiFreqParam* param, const MultiFreqInput* input, MultiFreqOutput* output,
                     int32_t startLine, int32_t endLine) noexcept;

/** The pair into `inter0`, and the pixels where it agrees with the pair before, `inter1`, into the output. */
int32_t ApplyThreeFreq(MultiFreqState* state, const MultiFreqCalib* calib, MultiFreqScratch* scratch,
                       const MultiFreqParam* param, const MultiFreqInput* input, MultiFreqOutput* output,
                       int32_t startLine, int32_t endLine) noexcept;

/** One distance from current and preceding image; `lineDistPercentage` is the acceptance of a pixel. */
int32_t assign2QDistance(const MultiFreqState* state, const MultiFreqInput* input, MultiFreqScratch* scratch,
                         float32_t lineDistPercentage, float32_t* distOutput, uint16_t* confOutput,
                         int32_t startLine, int32_t endLine, const MultiFreqCalib* calib,
                         const MultiFreqParam* param) noexcept;
