// SPDX-License-Identifier: Apache-2.0
//
// Error history: how a stage says what failed, without allocation and without exceptions.
//
// A function that fails reports and returns 1, its caller adds a report of its own and returns 1, and so on
// up to the entry point. The whole chain stands in two histories of twenty entries, innermost report first:
// one since the last initialisation, one since the last call. A full history drops later
// reports and so keeps the first cause.
#pragma once

#include "ALTypes.h"

inline constexpr std::int32_t kErrorHistoryLength = 20;

/** One report. Both texts end with a zero. */
struct ALErrorDescription {
    alif_char_t file[20];  ///< last component of the source path, cut at 19 characters
    alif_int32_t line;     ///< -1 in an entry that was never used
    alif_char_t errorMsg[128];
};
AL_DESCRIBE(ALErrorDescription, file, line, errorMsg)
static_assert(sizeof(ALErrorDescription) == 152);

/** The first twenty reports since the history was initialised. */
struct ALErrorHistory {
    alif_int32_t numValidEntries;  ///< 0 to 20
    ALErrorDescription entries[kErrorHistoryLength];
};
AL_DESCRIBE(ALErrorHistory, numValidEntries, entries)
static_assert(sizeof(ALErrorHistory) == 3044);

/** What a history covers. */
enum ALErrorHistoryType : alif_int32_t {
    ALERR_HT_PER_RUN_HISTORY = 0,   ///< everything since the pipeline was initialised
    ALERR_HT_PER_FRAME_HISTORY = 1  ///< one call of the pipeline
};

/**
 * Prints a report and enters it into both registered histories. `filename` is the source path without its
 * extension; `message` may be null; the text of the entry is then file and line. Both may be null. Worker
 * threads may call this at the same time once ErrorHandling_InitThreadSafety has installed the locks.
 */
void reportError(const char_t* filename, std::int32_t line, const char_t* message) noexcept;

/** Reports an error at the caller's line. Always 1, so that a stage can write `return reportFailure(...)`. */
inline std::int32_t reportFailure(const char_t* filename, const char_t* message = nullptr,
                                  std::int32_t line = __builtin_LINE()) noexcept {
    reportError(filename, line, message);
    return 1;
}

/**
 * Reports failures of one source at fixed lines: hosts know such a failure by its line, whatever the source
 * looks like today. A stage declares `constexpr FixedLineReport fail = {kSourceFile};` and writes `return
 * fail(kLineStateNull);`.
 */
struct FixedLineReport {
    const char_t* filename;

    std::int32_t operator()(std::int32_t line, const char_t* message = nullptr) const noexcept {
        return reportFailure(filename, message, line);
    }
};

/**
 * Registers `history` as the history of `historyType`; null ends the registration. The record belongs to the
 * caller and must live as long as it is registered. With `reInitializeErrorMemory` non-zero the record is
 * emptied, else it is continued. Returns 1 for an unknown type, else 0.
 */
std::int32_t ErrorHandling_Init(ALErrorHistory* history, ALErrorHistoryType historyType,
                                std::int32_t reInitializeErrorMemory) noexcept;

/**
 * Installs the lock around reports; both functions get `mutexHandle`. A null function is not called.
 * The pipeline itself does not call it.
 */
void ErrorHandling_InitThreadSafety(std::int32_t mutexHandle, FctMutexLock locker,
                                    FctMutexUnlock unlocker) noexcept;

/** 1 if the registered per-frame history holds a
 * report, else 0. A stage asks this to learn
 * that one of its workers failed. */
std::int32_t ErrorHandling_PerFrameErrorOccured() noexcept;
