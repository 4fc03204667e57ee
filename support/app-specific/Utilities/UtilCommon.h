// SPDX-License-Identifier: Apache-2.0
//
// The clocks that the host frame lends to the pipeline.
#pragma once

#include "ALTypes.h"

/** Wall clock in microseconds, the low 32 bits: wraps every 4294.967296 seconds. */
Timestamp_t getTimeFct();

/** Wall clock. */
AlgoSystemTime getSystemTimeFct();
