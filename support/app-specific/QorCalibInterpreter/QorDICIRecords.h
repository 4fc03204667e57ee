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
