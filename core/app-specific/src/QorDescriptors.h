// SPDX-License-Identifier: Apache-2.0
//
// The records that leave the process: the channel of each, and its data definition, made at build time from
// the record's own description. A getter stores the definition's address and its size in bytes; it cannot
// fail.
#pragma once

#include "ALTypes.h"

using zelta_size_t = unsigned int;

/** A record's data has an even channel; the definition goes out on the next one. */
namespace channel {

inline constexpr int kRawData = 3200;        ///< QorRawPhaseData
inline constexpr int kInput = 3208;          ///< QorDistanceImageIFInput
inline constexpr int kResult = 3210;         ///< QorDistanceImageIFOutput
inline constexpr int kCalibration = 3212;    ///< QorDistanceImageIFCalib
inline constexpr int kState = 3214;          ///< QorDistanceImageState
inline constexpr int kStageInput = 3216;     ///< QorDistanceImageInput
inline constexpr int kStageOutput = 3218;    ///< QorDistanceImageOutput
inline constexpr int kDebug = 3220;          ///< QorDistanceImageDebug
inline constexpr int kProfiling = 3222;      ///< QorDistanceImageProfiling
inline constexpr int kError = 3224;          ///< QorDICIError, of the calibration interpreter
inline constexpr int kAuxiliary = 3226;      ///< QorDICIAuxiliaryParam, for the calibration interpreter
inline constexpr int kCustomization = 3228;  ///< QorDistanceImageCustomization

}  // namespace channel

// clang-format off
/** Every record that leaves the process, each once: the definitions are made and declared from this list. */
#define QOR_RECORDS_ON_THE_WIRE(record) \
    record(QorDistanceImageProfiling) \
    record(QorDistanceImageCalib) \
    record(QorDistanceImageState) \
    record(QorDistanceImageOutput) \
    record(QorDistanceImageParam) \
    record(QorDistanceImageInput) \
    record(QorDistanceImageInOut) \
    record(QorDistanceImageDebug) \
    record(QorDistanceImageIFInput) \
    record(QorDistanceImageIFCalib) \
    record(QorDistanceImageCustomization) \
    record(QorDistanceImageIFOutput) \
    record(QorRawPhaseData) \
    record(QorDICIError) \
    record(QorDICIAuxiliaryParam)
// clang-format on

#define QOR_DESCRIPTOR(record) \
    QOR_EXPORT void zeltaGet_##record(const void** dataDescriptionBuffer, zelta_size_t* bufferSize);

extern "C" {
QOR_RECORDS_ON_THE_WIRE(QOR_DESCRIPTOR)
}

#undef QOR_DESCRIPTOR
