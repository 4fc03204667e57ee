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

/** What all slices of a call share. */
struct CamToWorldApplyArgs {
    CamToWorldState* state;
    CamToWorldInput* input;
    CamToWorldOutput* output;
    CamToWorldInOut* inout;
    int32_t numThreads;  ///< number of slices, 1 to 10
};

/** One slice of a call. */
struct CamToWorldThreadData {
    CamToWorldApplyArgs* applyArg;
    int threadIdx;  ///< 0 to 9
};

// All functions return 0, or 1 after a reported failure.

/**
 * Prepares the rays, from `unitVectors` if given, else from the camera model with distortion, and rotates
 * them into the world of `param`. Fails for a null argument or `intrinsicCalib`, a size beyond 1 x 1 to 224 x
 * 172 or odd with binning, an internal pose beyond 0.3 m or ten degrees, or an intrinsic value out of its
 * range. Afterwards the state's `changeCounter` is 1 and that of the output 0.
 */
int32_t CamToWorld_Init(CamToWorldState* state, const CamToWorldCalib* calib, const CamToWorldParam* param,
                        CamToWorldOutput* output) noexcept;

/**
 * Computes the points of a distance image. The rays are rebuilt only if `applyDistortion` or the extrinsic
 * calibration changed, and each rebuild advances `changeCounter`. A pixel whose point lies outside the
 * cuboid, its faces excluded, gets confidence 0x0401 unless its distance is 0; an invalid pixel leaves with
 * distance, X, Y and Z of 0. With `disableCalcCartesian` no image is touched.
 *
 * `numThreads` 0 computes on the caller's thread, 1 to 10 start that many workers through `services`, which
 * may otherwise be null. An image, and with workers each slice of it, must have a multiple of 4 pixels.
 *
 * Fails for a null argument, a cuboid with a lower bound above its upper one, a size other than at the start,
 * a change of distortion where rays were given from outside, more than 10 threads, and where a worker fails.
 * Not reentrant.
 */
int32_t CamToWorld_Apply(CamToWorldState* state, CamToWorldInput* input, CamToWorldInOut* inout,
                         CamToWorldOutput* output, CamToWorldServices* services) noexcept;

/**
 * Fills `bouget_vectors` from the camera model, with distortion or as a pinhole. Fails for a null state or an
 * intrinsic value out of its range; even then `distortionApplied` takes the new value,
 * but the rays stay the old ones.
 */
int32_t create_bouguet_vectors(int applyDistortion, CamToWorldState* state) noexcept;

/**
 * The pose of the optical system in the world: `world2ref`, then `ref2optsys`. `world2optsys` may be one of
 * them.
 */
int32_t merge_calibrations(AlgoExtrinsicCalibration* world2optsys, const AlgoExtrinsicCalibration* world2ref,
                           const AlgoExtrinsicCalibration* ref2optsys) noexcept;

/** The pixels of one slice. */
int32_t CamToWorld_ApplyMultiThread(CamToWorldThreadData* arg) noexcept;

/** Body of a worker; `arg` is its CamToWorldThreadData. A failure shows only in the error history. */
void* Call_CamToWorld_Apply(void* arg) noexcept;
