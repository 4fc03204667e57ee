// SPDX-License-Identifier: Apache-2.0
//
// Descriptors of the records that leave the process: for each its data definition, made at build time from
// the record's own description. A getter stores the definition's address and its size in bytes; it cannot
// fail.
#pragma once

#include "ALTypes.h"

using zelta_size_t = unsigned int;

#define QOR_DESCRIPTOR(record) \
    QOR_EXPORT void zeltaGet_##record(const void** dataDescriptionBuffer, zelta_size_t* bufferSize)

extern "C" {

QOR_DESCRIPTOR(QorDistanceImageProfiling);
QOR_DESCRIPTOR(QorDistanceImageCalib);
QOR_DESCRIPTOR(QorDistanceImageState);
QOR_DESCRIPTOR(QorDistanceImageOutput);
QOR_DESCRIPTOR(QorDistanceImageParam);
QOR_DESCRIPTOR(QorDistanceImageInput);
QOR_DESCRIPTOR(QorDistanceImageInOut);
QOR_DESCRIPTOR(QorDistanceImageDebug);
QOR_DESCRIPTOR(QorDistanceImageIFInput);
QOR_DESCRIPTOR(QorDistanceImageIFCalib);
QOR_DESCRIPTOR(QorDistanceImageCustomization);
QOR_DESCRIPTOR(QorDistanceImageIFOutput);
QOR_DESCRIPTOR(QorRawPhaseData);

// Of the calibration interpreter.
QOR_DESCRIPTOR(QorDICIError);
QOR_DESCRIPTOR(QorDICIAuxiliaryParam);

}  // extern "C"

#undef QOR_DESCRIPTOR
