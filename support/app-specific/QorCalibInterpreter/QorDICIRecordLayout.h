// SPDX-License-Identifier: Apache-2.0
//
// The layouts of the records of the calibration interpreter, like those of QorRecordLayout.h. Row by
// row: level of nesting, name, dimensions, kind, bytes of one element, offset in the record.
// `generate_descriptors --rows` prints the rows of the records as they are declared.
#pragma once

#include "QorRecordLayout.h"

namespace layout_tables {

// clang-format off

inline constexpr Row kQorDICIError[] = {
    {0, "QorDICIError", {}, R, 516, 0},
    {1, "errorOccured", {}, S, 4, 0},
    {1, "ErrorMsg", {512}, S, 1, 4},
};

inline constexpr Row kQorDICIAuxiliaryParam[] = {
    {0, "QorDICIAuxiliaryParam", {}, R, 160, 0},
    {1, "version", {}, R, 12, 0},
    {2, "major", {}, U, 4, 0},
    {2, "minor", {}, U, 4, 4},
    {2, "patch", {}, U, 4, 8},
    {1, "MAC", {6}, U, 1, 12},
    {1, "solaRegisters", {29}, R, 4, 18},
    {2, "address", {}, U, 2, 18},
    {2, "value", {}, U, 2, 20},
    {1, "PWMdutyCycle", {}, U, 1, 134},
    {1, "refClock", {}, F, 4, 136},
    {1, "illuWarmUpTime", {}, S, 4, 140},
    {1, "expTimeStep", {}, S, 4, 144},
    {1, "expTimeGray", {}, S, 4, 148},
    {1, "maxDutyCycleThresh", {}, F, 4, 152},
    {1, "maxExpDurationThresh", {}, S, 4, 156},
};

// clang-format on

}  // namespace layout_tables
