// SPDX-License-Identifier: Apache-2.0
//
// Entry points of the pipeline. There is one pipeline per process; it lives in one static block and allocates
// nothing. One thread at a time may call these functions.
#pragma once

#include "QorRecords.h"

extern "C" {

/** Name of the algorithm. The version numbers that count are those of QorDistanceImage_QueryVersion. */
QOR_EXPORT extern const alif_char_t* const g_vStr;

/**
 * Makes the pipeline ready. The inputs are copied and may be freed afterwards. `distToCartesian` receives the
 * pose and the viewing rays. May be called again at any time; both error histories start anew. Returns 0, or
 * 1 with the reason in the error history: a null argument, a missing clock, a number of frequencies other
 * than 1 and 2, or a stage that refuses the calibration. QorDistanceImage_Apply does not work until a call
 * has succeeded.
 */
QOR_EXPORT alif_int32_t QorDistanceImage_Init(const QorDistanceImageIFCalib* ruvoCalib,
                                              const RuvoFrequencyHoppingTable* ruvoFreqHoppingTable,
                                              const QorDistanceImageIFParam* param,
                                              const AlgoExtrinsicCalibration* userCalibration,
                                              const QorDistanceImageServices* services,
                                              QorDistToCartesian* distToCartesian) noexcept;

/**
 * Takes one raw image. Most calls only collect it and return with `result->outputInvalid` set; the image that
 * completes a frame brings the result. `ruvoRawData` and its image must stay unchanged until the fourth phase
 * of their group has been taken, and `result` must be the same object for the calls of a frame. `measBuffer`
 * receives the debug channels and, with a finished frame, the result, two entries each; what they point to is
 * valid until the next call. `measBuffersArraySize` is its length, at least 22. Returns 0, or 1 with the
 * reason in the error history; `result->outputInvalid` is then set, unless an argument was refused and
 * nothing was touched.
 */
QOR_EXPORT alif_int32_t QorDistanceImage_Apply(const QorRawdataPhase* ruvoRawData,
                                               const QorDistanceImageCustomization* diCustomization,
                                               QorDistanceImageIFOutput* result, AlgoMeasBuffer* measBuffer,
                                               alif_uint32_t measBuffersArraySize) noexcept;

/**
 * Writes the first error since the latest call that passed its argument checks to `errorString`, a text of at
 * most `strArraySize` bytes with its terminating zero: file, line and message. Empty without an error.
 * Returns 1 for a null `errorString` or a size below 1, else 0.
 */
QOR_EXPORT alif_int32_t QorDistanceImage_GetErrorString(alif_char_t* errorString,
                                                        alif_int32_t strArraySize) noexcept;

/** Writes the version of the algorithm. Works before any initialisation. Returns 1 for null, else 0. */
QOR_EXPORT alif_int32_t QorDistanceImage_QueryVersion(AlgoVersion* version) noexcept;

}  // extern "C"
