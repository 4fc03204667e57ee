// SPDX-License-Identifier: Apache-2.0
//
// Records of the calibration interpreter: its answer to the host, and the camera's auxiliary parameters.
#pragma once

#include "ALTypes.h"

struct QorDICIError {
    alif_int32_t errorOccured;
    signed char ErrorMsg[512];  ///< not necessarily terminated
};
AL_DESCRIBE(QorDICIError, errorOccured, ErrorMsg)
static_assert(sizeof(QorDICIError) == 516 && offsetof(QorDICIError, ErrorMsg) == 4);

struct QorDICISolaRegister {
    alif_uint16_t address;  ///< imager register
    alif_uint16_t value;
};
AL_DESCRIBE(QorDICISolaRegister, address, value)

struct QorDICIAuxiliaryParam {
    AlgoVersion version;
    alif_uint8_t MAC[6];
    QorDICISolaRegister solaRegisters[29];
    alif_uint8_t PWMdutyCycle;
    alif_float32_t refClock;
    alif_int32_t illuWarmUpTime;
    alif_int32_t expTimeStep;
    alif_int32_t expTimeGray;
    alif_float32_t maxDutyCycleThresh;
    alif_int32_t maxExpDurationThresh;
};
AL_DESCRIBE(QorDICIAuxiliaryParam, version, MAC, solaRegisters, PWMdutyCycle, refClock, illuWarmUpTime,
            expTimeStep, expTimeGray, maxDutyCycleThresh, maxExpDurationThresh)
static_assert(sizeof(QorDICIAuxiliaryParam) == 160 && offsetof(QorDICIAuxiliaryParam, MAC) == 12 &&
              offsetof(QorDICIAuxiliaryParam, solaRegisters) == 18 && sizeof(QorDICISolaRegister) == 4 &&
              offsetof(QorDICIAuxiliaryParam, PWMdutyCycle) == 134 &&
              offsetof(QorDICIAuxiliaryParam, refClock) == 136 &&
              offsetof(QorDICIAuxiliaryParam, illuWarmUpTime) == 140 &&
              offsetof(QorDICIAuxiliaryParam, expTimeStep) == 144 &&
              offsetof(QorDICIAuxiliaryParam, expTimeGray) == 148 &&
              offsetof(QorDICIAuxiliaryParam, maxDutyCycleThresh) == 152 &&
              offsetof(QorDICIAuxiliaryParam, maxExpDurationThresh) == 156);
