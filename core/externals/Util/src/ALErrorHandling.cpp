// SPDX-License-Identifier: Apache-2.0
//
// The two error histories and the lock around them.
#include "ALErrorHandling.h"

#include <cstdio>
#include <cstring>

namespace {

// The registered histories belong to the caller.
constinit ALErrorHistory* alErrorHandling_history = nullptr;
constinit ALErrorHistory* alErrorHandling_frameHistory = nullptr;

constinit std::int32_t alError_mutexHandle = 0;
constinit FctMutexLock alError_mutexLock = nullptr;
constinit FctMutexUnlock alError_mutexUnlock = nullptr;

/** Stores the last component of a path that has either kind of separator. `file` is all zero. */
template <std::size_t Size>
void storeFileName(char_t (&file)[Size], const char_t* path) noexcept {
    std::size_t length = 0;
    for (; *path != '\0'; ++path) {
        if (*path == '/' || *path == '\\') {
            std::memset(file, 0, Size);
            length = 0;
        } else if (length < Size - 1) {
            file[length++] = *path;
        }
    }
}

/** The text of a report without a message: file, and the lower five digits of the line. */
void storePlaceAsMessage(ALErrorDescription& entry) noexcept {
    char_t place[sizeof(entry.errorMsg)] = {};
    std::snprintf(place, sizeof(place), "ERR@%s:%d", entry.file, static_cast<int>(entry.line % 100000));
    std::memcpy(entry.errorMsg, place, sizeof(place));
}

void handleError(const char_t* filename, std::int32_t line, ALErrorHistory* history,
                 const char_t* message) noexcept {
    if (history == nullptr || history->numValidEntries < 0 ||
        history->numValidEntries >= kErrorHistoryLength) {
        return;
    }
    ALErrorDescription& entry = history->entries[history->numValidEntries];
    ++history->numValidEntries;
    entry.line = line;
    std::memset(entry.file, 0, sizeof(entry.file));
    if (filename != nullptr) {
        storeFileName(entry.file, filename);
    }
    std::memset(entry.errorMsg, 0, sizeof(entry.errorMsg));
    if (message != nullptr) {
        std::strncpy(entry.errorMsg, message, sizeof(entry.errorMsg) - 1);
    } else {
        storePlaceAsMessage(entry);
    }
}

}  // namespace

void reportError(const char_t* filename, std::int32_t line, const char_t* message) noexcept {
    if (alError_mutexLock != nullptr) {
        alError_mutexLock(alError_mutexHandle);
    }
    std::printf("Unexpected Error! File %s Line %d\n", filename != nullptr ? filename : "(null)",
                static_cast<int>(line));
    handleError(filename, line, alErrorHandling_history, message);
    handleError(filename, line, alErrorHandling_frameHistory, message);
    if (alError_mutexUnlock != nullptr) {
        alError_mutexUnlock(alError_mutexHandle);
    }
}

std::int32_t ErrorHandling_Init(ALErrorHistory* history, ALErrorHistoryType historyType,
                                std::int32_t reInitializeErrorMemory) noexcept {
    switch (historyType) {
        case ALERR_HT_PER_RUN_HISTORY:
            alErrorHandling_history = history;
            break;
        case ALERR_HT_PER_FRAME_HISTORY:
            alErrorHandling_frameHistory = history;
            break;
        default:
            return 1;
    }
    if (history != nullptr && reInitializeErrorMemory != 0) {
        *history = {};
        for (ALErrorDescription& entry : history->entries) {
            entry.line = -1;
        }
    }
    return 0;
}

void ErrorHandling_InitThreadSafety(std::int32_t mutexHandle, FctMutexLock locker,
                                    FctMutexUnlock unlocker) noexcept {
    alError_mutexHandle = mutexHandle;
    alError_mutexLock = locker;
    alError_mutexUnlock = unlocker;
}

std::int32_t ErrorHandling_PerFrameErrorOccured() noexcept {
    return static_cast<std::int32_t>(alErrorHandling_frameHistory != nullptr &&
                                     alErrorHandling_frameHistory->numValidEntries > 0);
}
