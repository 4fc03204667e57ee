// SPDX-License-Identifier: Apache-2.0
//
// A plain host: it knows the plug-in by its exported functions, and its clocks are counters.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "golden/Recordings.h"

namespace golden {

/** The outcome of one call. */
struct Answer {
    int result = 0;
    bool exceptionOccured = false;
    std::string exception;  ///< its text, if there was one
    Bytes packet;           ///< the result; empty if there is none
    bool finishedFrame = false;
};

/** Both clocks of the plug-in start anew. */
void restartClocks();

/** What is fetched. */
enum class Form {
    Short,  ///< the result of each call
    Full    ///< debug records too, of calls that finished a frame or failed
};

Answer call(const Step& step, Form form = Form::Full);

/** A whole session with a new algorithm. */
void play(const std::vector<Step>& steps, const std::function<void(const Answer& answer)>& take,
          Form form = Form::Full);

}  // namespace golden
