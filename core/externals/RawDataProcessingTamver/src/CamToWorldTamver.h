// SPDX-License-Identifier: Apache-2.0
//
// Distance to cartesian: each distance along its pixel's viewing ray gives a point in the user's world.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

enum CamToWorld_BinningMode : int32_t {
    CamToWorld_BinningOff = 0,
    CamToWorld_Binning2x2 = 1,
    CamToWorld_BinningMAX = 2,
};

/** Points outside are marked invalid, metres. */
struct ClippingCuboid {
    alif_float32_t xMin;
    alif_float32_t xMax;
    alif_float32_t yMin;
    alif_float32_t yMax;
    alif_float32_t zMin;
    alif_float32_t zMax;
};

/** The camera models that the stage keeps. */
struct IntrinsicCalibrationVariants {
    AlgoIntrinsicCalibration intrinsicCalib;         ///< halved for binning
    AlgoIntrinsicCalibration intrinsicCalibPinhole;  ///< the same without distortion
    AlgoIntrinsicCalibration inverseIntrinsicCalib;  ///< zero if none was given
    AlgoIntrinsicCalibration inverseIntrinsicCalibPinhole;
    int32_t width;   ///< after binning
    int32_t height;  ///< after binning
};
AL_DESCRIBE(IntrinsicCalibrationVariants, intrinsicCalib, intrinsicCalibPinhole, inverseIntrinsicCalib,
            inverseIntrinsicCalibPinhole, width, height)

struct CamToWorldCalib {
    int32_t width;   ///< before binning
    int32_t height;  ///< before binning
    Ref<const AlgoIntrinsicCalibration> intrinsicCalib;
    Ref<const AlgoIntrinsicCalibration> inverseIntrinsicCalib;  ///< may be null
    CamToWorld_BinningMode binningMode;
    Ref<const alif_float32_t> unitVectors;  ///< x, y, z per pixel, may be null: rays given from outside
};
AL_DESCRIBE(CamToWorldCalib, width, height, intrinsicCalib, inverseIntrinsicCalib, binningMode, unitVectors)

struct CamToWorldParam {
    AlgoExtrinsicCalibration extrinsicCalib;  ///< the world pose at start
};
AL_DESCRIBE(CamToWorldParam, extrinsicCalib)

struct CamToWorldInput {
    int32_t width;
    int32_t height;
    Ref<const AlgoExtrinsicCalibration> extrinsicCalib;
    int32_t applyDistortion;
    Ref<const ClippingCuboid> clipping;
    int32_t disableCalcCartesian;
    int32_t numThreads;
};
AL_DESCRIBE(CamToWorldInput, width, height, extrinsicCalib, applyDistortion, clipping, disableCalcCartesian,
            numThreads)

struct CamToWorldInOut {
    Ref<uint16_t> conf;
    Ref<float32_t> distance;
};
AL_DESCRIBE(CamToWorldInOut, conf, distance)

struct CamToWorldOutput {
    Ref<float32_t> X;
    Ref<float32_t> Y;
    Ref<float32_t> Z;
    AlgoExtrinsicCalibration currentCalib;  ///< world to optical system
    uint8_t changeCounter;
    Ref<IntrinsicCalibrationVariants> calibVariants;
};
AL_DESCRIBE(CamToWorldOutput, X, Y, Z, currentCalib, changeCounter, calibVariants)

struct CamToWorldServices {
    FctCreateThread fctCreateThread;
    FctJoinThread fctJoinThread;
};

struct CamToWorldState {
    float32_t unit_vectors[kUnitVectorFloats];    ///< rays in the world system, x, y, z per pixel
    float32_t bouget_vectors[kUnitVectorFloats];  ///< rays in the optical system
    AlgoExtrinsicCalibration currentCalib;        ///< world to optical system
    AlgoExtrinsicCalibration lastExtIFCalib;      ///< last seen at the interface
    int32_t distortionApplied;
    uint8_t changeCounter;  ///< rebuilds of unit_vectors, wraps
    IntrinsicCalibrationVariants calibVariants;
    int32_t useBouguet;  ///< 1: rays from the camera model, 0: given from outside
};
AL_DESCRIBE(CamToWorldState, unit_vectors, bouget_vectors, currentCalib, lastExtIFCalib, distortionApplied,
            changeCounter, calibVariants, useBouguet)
