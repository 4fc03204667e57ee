// SPDX-License-Identifier: Apache-2.0
//
// Vocabulary of the pipeline: scalar types, the fixed geometry, service functions of the host and the small
// records that several rooms share.
#pragma once

#include <cstdint>

#include "ALDescribe.h"

/** Marks what the shared library shows; everything else is hidden. */
#if defined(_WIN32)
#define QOR_EXPORT __declspec(dllexport)
#else
#define QOR_EXPORT __attribute__((visibility("default")))
#endif

// Scalar types of the interface records, and the same types under the names that the stages use.
using alif_int16_t = std::int16_t;
using alif_int32_t = std::int32_t;
using alif_uint8_t = std::uint8_t;
using alif_uint16_t = std::uint16_t;
using alif_uint32_t = std::uint32_t;
using alif_uint64_t = std::uint64_t;
using alif_char_t = char;
using alif_float32_t = float;
using alif_float64_t = double;

using char_t = char;
using float32_t = float;
using float64_t = double;

static_assert(sizeof(float32_t) == 4 && sizeof(float64_t) == 8,
              "records carry IEEE single and double values");

using Timestamp_t = alif_uint32_t;    ///< microseconds; wraps after 71 minutes
using Timestamp64_t = alif_uint64_t;  ///< nanoseconds

// Fixed geometry and array limits. An array of such a length is always present in full, whether used or not.
inline constexpr std::int32_t kImageWidth = 224;
inline constexpr std::int32_t kImageHeight = 172;
inline constexpr std::int32_t kPixelCount = kImageWidth * kImageHeight;
inline constexpr std::int32_t kUnitVectorFloats = 3 * kPixelCount;
inline constexpr std::int32_t kRawRowBytes = kImageWidth * 3 / 2;  ///< two 12-bit samples in three bytes
inline constexpr std::int32_t kRawPhaseBytes =
    (kImageHeight + 1) * kRawRowBytes;  ///< a line without image data comes first
inline constexpr std::int32_t kFrequencySlots = 4;
inline constexpr std::int32_t kMaxExposures = 2;
inline constexpr std::int32_t kPhasesPerExposure = 4;
inline constexpr std::int32_t kHistogramBins = 2049;
inline constexpr std::int32_t kMaxBadPixels = 15;
inline constexpr std::int32_t kMaxHoppingEntries = 4;
inline constexpr std::int32_t kMaxRegions = 64;
inline constexpr std::int32_t kMaxPolygonPoints = 32;
inline constexpr std::int32_t kMaxTemporalFrames = 25;
inline constexpr std::int32_t kMaxThreads = 10;
inline constexpr std::int32_t kMeasBufferCount = 22;  ///< entries that QorDistanceImage_Apply asks for

static_assert(kPixelCount == 38528 && kRawRowBytes == 336 && kRawPhaseBytes == 58128);

/** Wall clock time of the host. */
struct AlgoSystemTime {
    alif_uint32_t seconds;
    alif_uint32_t nanoSeconds;
};
AL_DESCRIBE(AlgoSystemTime, seconds, nanoSeconds)

// Services of the host. A null entry means that the service is not there.
using FctGetTime = Timestamp_t (*)();           ///< time in microseconds, best monotonic
using FctGetSystemTime = AlgoSystemTime (*)();  ///< wall clock
using FctThreadFunc = void* (*)(void*);         ///< body of a worker
using FctCreateThread = alif_int32_t (*)(FctThreadFunc fn, void* arg,
                                         alif_int32_t* handle);  ///< 0 on success
using FctJoinThread = alif_int32_t (*)(alif_int32_t handle);
using FctMutexCreate = alif_int32_t (*)(alif_int32_t* handle);
using FctMutexDestroy = alif_int32_t (*)(alif_int32_t handle);
using FctMutexLock = alif_int32_t (*)(alif_int32_t handle);
using FctMutexUnlock = alif_int32_t (*)(alif_int32_t handle);

/** Version of the algorithm. */
struct AlgoVersion {
    alif_uint32_t major;
    alif_uint32_t minor;
    alif_uint32_t patch;
};
AL_DESCRIBE(AlgoVersion, major, minor, patch)

/**
 * One channel offered to the host, debug data or a result. The pipeline owns what `buffer` points to; an
 * entry is valid until the next call of QorDistanceImage_Apply. It never leaves the process, so its pointer
 * has the size of the target.
 */
struct AlgoMeasBuffer {
    const void* buffer;
    alif_uint32_t sizeTotal;  ///< bytes
    alif_uint32_t sizeReady;  ///< not written by the pipeline
    alif_int32_t channelID;
};

/** A point of the image plane, pixels. */
struct AlgoPoint2D {
    alif_float32_t x;
    alif_float32_t y;
};
AL_DESCRIBE(AlgoPoint2D, x, y)

/** A point or a direction in space, metres. */
struct AlgoPoint3D {
    alif_float32_t x;
    alif_float32_t y;
    alif_float32_t z;
};
AL_DESCRIBE(AlgoPoint3D, x, y, z)

/** A box along the axes, metres. Points outside are marked invalid. */
struct ClippingCuboid {
    alif_float32_t xMin;
    alif_float32_t xMax;
    alif_float32_t yMin;
    alif_float32_t yMax;
    alif_float32_t zMin;
    alif_float32_t zMax;
};

/** A pose: translation in metres and three angles in radians. */
struct AlgoExtrinsicCalibration {
    alif_float32_t transX;
    alif_float32_t transY;
    alif_float32_t transZ;
    alif_float32_t rotX;
    alif_float32_t rotY;
    alif_float32_t rotZ;
};
AL_DESCRIBE(AlgoExtrinsicCalibration, transX, transY, transZ, rotX, rotY, rotZ)

/**
 * The lens. Focal lengths and principal point in pixels, the centre of pixel (0, 0) lying at (0.5, 0.5). k1,
 * k2 and k5 are the radial coefficients of r squared, to the fourth and to the sixth power, k3 and k4 the
 * tangential ones; the order below is the one of the record.
 */
struct AlgoIntrinsicCalibration {
    alif_float32_t fx;
    alif_float32_t fy;
    alif_float32_t mx;
    alif_float32_t my;
    alif_float32_t alpha;  ///< skew between the image axes
    alif_float32_t k1;
    alif_float32_t k2;
    alif_float32_t k5;
    alif_float32_t k3;
    alif_float32_t k4;
    AlgoExtrinsicCalibration internalTransRot;  ///< optical system relative to the camera's reference
};
AL_DESCRIBE(AlgoIntrinsicCalibration, fx, fy, mx, my, alpha, k1, k2, k5, k3, k4, internalTransRot)
