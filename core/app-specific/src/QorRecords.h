// SPDX-License-Identifier: Apache-2.0
//
// The records that travel between the host and the pipeline, and those that more than one stage reads:
// settings, calibration, raw images and the result of a frame. Their layout is a wire format, the same on
// every target. A stage's own records stand in the stage's header, the static block that holds them all in
// QorData.h.
#pragma once

#include "ALTypes.h"

/** The clocks that the host lends to the pipeline. */
struct QorDistanceImageServices {
    FctGetTime fctGetTime;              ///< required
    FctGetSystemTime fctGetSystemTime;  ///< needed from the first image on
};

// Bits of the confidence image. Bit 0x0001 alone decides whether a pixel is valid; the others tell why. The
// pipeline uses sixteen bits; the result delivers the low eight.
inline constexpr alif_uint16_t kConfidenceInvalid = 0x0001;
inline constexpr alif_uint16_t kConfidenceSaturated = 0x0002;     ///< a raw sample outside minDiff..maxDiff
inline constexpr alif_uint16_t kConfidenceAsymmetric = 0x0004;    ///< the four samples do not fit one sine
inline constexpr alif_uint16_t kConfidenceLowAmplitude = 0x0008;  ///< or a distance noise above its threshold
inline constexpr alif_uint16_t kConfidenceLastExposure =
    0x0010;                                                  ///< no fault: from the frame's last exposure
inline constexpr alif_uint16_t kConfidenceNoLine = 0x0020;   ///< the frequencies have no common distance
inline constexpr alif_uint16_t kConfidenceChanged = 0x0200;  ///< a filter or the noise changed the validity
inline constexpr alif_uint16_t kConfidenceOutside =
    0x0400;  ///< outside the cuboid; three frequencies disagree

// ---------------------------------------------------------------------------------------------------------------------
// Image filter settings

enum TemporalFilter : alif_int32_t {
    TempFilter_None = 0,
    TempFilter_Mean = 1,
    TempFilter_AdaptiveExponential = 2,
    TempFilter_MAX = 3,
};

enum SpatialFilter : alif_int32_t {
    SpatialFilter_None = 0,
    SpatialFilter_Median = 1,
    SpatialFilter_Mean = 2,
    SpatialFilter_Bilateral = 3,
    SpatialFilter_MAX = 4,
};

enum FilterMaskSize : alif_int32_t {
    FilterMaskSize_3x3 = 0,
    FilterMaskSize_5x5 = 1,
    FilterMaskSize_MAX = 2,
};

struct TempFilterMeanSettings {
    alif_uint32_t numberOfFrames;
};
AL_DESCRIBE(TempFilterMeanSettings, numberOfFrames)

struct TempFilterAdaptExpSettings {
    alif_float32_t minSmoothDiff;
    alif_float32_t minSDAlpha;
    alif_float32_t maxSmoothDiff;
    alif_float32_t maxSDAlpha;
};
AL_DESCRIBE(TempFilterAdaptExpSettings, minSmoothDiff, minSDAlpha, maxSmoothDiff, maxSDAlpha)

struct SpatialFilterMedianSettings {
    FilterMaskSize maskSize;
};
AL_DESCRIBE(SpatialFilterMedianSettings, maskSize)

struct SpatialFilterMeanSettings {
    FilterMaskSize maskSize;
};
AL_DESCRIBE(SpatialFilterMeanSettings, maskSize)

struct SpatialFilterBilateralSettings {
    FilterMaskSize maskSize;
    alif_float32_t sigmaPixel;
    alif_float32_t sigmaDistance;
};
AL_DESCRIBE(SpatialFilterBilateralSettings, maskSize, sigmaPixel, sigmaDistance)

struct ImageFilterSettings {
    TemporalFilter temporalFilter;
    TempFilterMeanSettings tempMeanSettings;
    TempFilterAdaptExpSettings tempAdexpSettings;
    SpatialFilter spatialFilter;
    SpatialFilterMedianSettings spatMedianSettings;
    SpatialFilterMeanSettings spatMeanSettings;
    SpatialFilterBilateralSettings spatBilateralSettings;
    alif_int32_t applyDistanceFilter;
    alif_int32_t applyAmplitudeFilter;
};
AL_DESCRIBE(ImageFilterSettings, temporalFilter, tempMeanSettings, tempAdexpSettings, spatialFilter,
            spatMedianSettings, spatMeanSettings, spatBilateralSettings, applyDistanceFilter,
            applyAmplitudeFilter)

// ---------------------------------------------------------------------------------------------------------------------
// Raw images

/** Description of one raw image. */
struct QorRawdataPhaseInfo {
    alif_uint32_t timestamp;       ///< passed through to the result
    alif_int32_t sequenceCounter;  ///< position in the acquisition sequence of a frame, 0 for its first image
    alif_int32_t freqIdx;          ///< frequency slot of the calibration
    alif_int32_t exposureTime;     ///< in the host's unit; only compared and divided
    alif_uint16_t frameCounter;    ///< the imager's 12-bit counter
    alif_float32_t illuTemperature;
    alif_int32_t intensityMeasurement;  ///< non-zero: an intensity image, not one of the four phases
};
AL_DESCRIBE(QorRawdataPhaseInfo, timestamp, sequenceCounter, freqIdx, exposureTime, frameCounter,
            illuTemperature, intensityMeasurement)

/**
 * One image as the imager delivers it: a line without image data, then 172 image rows of 336 bytes. Three
 * bytes hold two neighbouring 12-bit samples: upper eight bits of the even pixel, upper eight bits of the odd
 * pixel, then the lower nibbles, that of the even pixel in the low nibble.
 */
struct QorRawPhaseData {
    alif_uint8_t phaseData[kRawPhaseBytes];
};
AL_DESCRIBE(QorRawPhaseData, phaseData)

/** A raw image as the host hands it over. */
struct QorRawdataPhase {
    QorRawdataPhaseInfo info;
    alif_uint8_t* phaseData;  ///< a QorRawPhaseData
};

// ---------------------------------------------------------------------------------------------------------------------
// Calibration

/** What depends on the modulation frequency; one record per frequency slot. */
struct FreqDependentCalibration {
    alif_float32_t ampWigg[5];    ///< amplitude wiggling: offset, then factor and phase of the harmonics
    alif_float32_t phaseWigg[7];  ///< phase wiggling: offset, then factor and phase of the harmonics, radians
    alif_float32_t xyCorrection[2];       ///< offset of X and of Y, raw counts
    alif_float32_t FPPN[kPixelCount];     ///< fixed phase offset per pixel, radians
    alif_float32_t refTemperature;        ///< illumination temperature at calibration
    alif_float32_t temperatureFactor[3];  ///< phase drift by temperature difference: linear, square, cubic
    alif_float32_t noiseParameter[4];
};
AL_DESCRIBE(FreqDependentCalibration, ampWigg, phaseWigg, xyCorrection, FPPN, refTemperature,
            temperatureFactor, noiseParameter)

struct FreqIndependentCalibration {
    alif_int16_t minDiff;                    ///< a raw sample below it is saturated
    alif_int16_t maxDiff;                    ///< a raw sample above it is saturated
    alif_float32_t vignetting[kPixelCount];  ///< gain per pixel
    alif_int32_t badPixelIdx[kMaxBadPixels];
    alif_int32_t numBadPixel;
    alif_int16_t FPN[kPixelCount];  ///< fixed pattern of the intensity image
};
AL_DESCRIBE(FreqIndependentCalibration, minDiff, maxDiff, vignetting, badPixelIdx, numBadPixel, FPN)

struct QorRawToDistCalib {
    FreqDependentCalibration freqDependent[kFrequencySlots];
    FreqIndependentCalibration freqIndependent;
    alif_float32_t frequencies[kFrequencySlots];  ///< modulation frequency per slot, Hz
    alif_int32_t numberOfFrequencies;
};
AL_DESCRIBE(QorRawToDistCalib, freqDependent, freqIndependent, frequencies, numberOfFrequencies)

struct HoppingTableEntry {
    alif_uint16_t fid;       ///< frequency id
    alif_uint16_t nextline;  ///< table position of the first possible successor
    alif_uint16_t numlines;  ///< possible successors, in consecutive positions
};
AL_DESCRIBE(HoppingTableEntry, fid, nextline, numlines)

/** Which frequency may follow which. */
struct RuvoFrequencyHoppingTable {
    HoppingTableEntry frequencyHoppingTable[kMaxHoppingEntries];
    alif_int32_t frequencyHoppingTableLength;
};
AL_DESCRIBE(RuvoFrequencyHoppingTable, frequencyHoppingTable, frequencyHoppingTableLength)

struct QorDistanceImageIFCalib {
    QorRawToDistCalib imagerCalib;
    AlgoIntrinsicCalibration intrinsicCalibration;
    alif_float32_t unitVectors[kUnitVectorFloats];  ///< x, y, z of each pixel's viewing ray
};
AL_DESCRIBE(QorDistanceImageIFCalib, imagerCalib, intrinsicCalibration, unitVectors)

// ---------------------------------------------------------------------------------------------------------------------
// Regions of interest and exposure control

struct ROIPolygon {
    AlgoPoint2D points2D[kMaxPolygonPoints];
    alif_uint32_t noPoints;
};
AL_DESCRIBE(ROIPolygon, points2D, noPoints)

struct ROIEllipse {
    AlgoPoint2D center;
    alif_float32_t lengthMajorAxis;
    alif_float32_t lengthMinorAxis;
    alif_float32_t angle;
};
AL_DESCRIBE(ROIEllipse, center, lengthMajorAxis, lengthMinorAxis, angle)

struct ROIRectangle {
    AlgoPoint2D center;
    alif_float32_t width;
    alif_float32_t height;
    alif_float32_t angle;
};
AL_DESCRIBE(ROIRectangle, center, width, height, angle)

enum ROIType : alif_int32_t {
    ROITypeInvalid = 0,
    ROITypeEllipse = 1,
    ROITypeRectangle = 2,
    ROITypePolygon = 3,
    ROITypeMax = 4,
};

struct ROIItem {
    ROIPolygon polygon;
    ROIEllipse ellipse;
    ROIRectangle rectangle;
    ROIType type;
    alif_int32_t ID;
    alif_int32_t anchorBound;
};
AL_DESCRIBE(ROIItem, polygon, ellipse, rectangle, type, ID, anchorBound)

struct RegionsOfInterest {
    ROIItem ROIs[kMaxRegions];
    alif_uint32_t noROIs;
};
AL_DESCRIBE(RegionsOfInterest, ROIs, noROIs)

enum AutoExposureROIType : alif_int32_t {
    AutoExposureROIType_ROIs = 0,
    AutoExposureROIType_ReferencePoint = 1,
    AutoExposureROIType_Max = 2,
};

struct AutoExpROISetting {
    AlgoPoint2D referencePoint;
    RegionsOfInterest rois;
    AutoExposureROIType type;
};
AL_DESCRIBE(AutoExpROISetting, referencePoint, rois, type)

enum AutoExposureApplyMode : alif_int32_t {
    AutoExposureApplyMode_Off = 0,
    AutoExposureApplyMode_Normal = 1,
    AutoExposureApplyMode_ROIExpansion = 2,
    AutoExposureApplyMode_MAX = 3,
};

struct AutoExpSettings {
    AutoExposureApplyMode applyAutoExposure;
    alif_uint32_t continuous;
    AutoExpROISetting roiSettings;
    alif_int32_t minLongShortFactor;
    alif_int32_t maxLongShortFactor;
    alif_int32_t maxNumberOfSaturatedPixels;
    alif_uint32_t expTimeLowerLimit;
};
AL_DESCRIBE(AutoExpSettings, applyAutoExposure, continuous, roiSettings, minLongShortFactor,
            maxLongShortFactor, maxNumberOfSaturatedPixels, expTimeLowerLimit)

// ---------------------------------------------------------------------------------------------------------------------
// The interface records

/** Settings that may change with every image. */
struct QorDistanceImageCustomization {
    alif_int32_t disableCalcCartesian;  ///< non-zero: X, Y, Z are not computed
    alif_float32_t minAmplitude;        ///< raw counts; a pixel below it is invalid
    alif_float32_t maximumRawSymmetry;  ///< largest accepted ratio of the symmetry value S to the amplitude
    ImageFilterSettings filterSet;
    AlgoExtrinsicCalibration extrinsicCalibrationCamera;  ///< pose of the camera given by the user
    alif_float32_t twoFreqMaxLineDistPercentage;
    alif_int32_t filter2FreqAssignment;
    AutoExpSettings autoExpSet;
    alif_uint8_t enableStraylightCorrection;
    alif_float32_t absDistStraylightThreshold;  ///< metres
    alif_float32_t relAmpStraylightThreshold;   ///< fraction of the amplitude
    alif_uint8_t enableNoiseEstimation;
    alif_float32_t distNoiseThreshold;  ///< metres
    alif_uint8_t compensateAmbientLightDrift;
};
AL_DESCRIBE(QorDistanceImageCustomization, disableCalcCartesian, minAmplitude, maximumRawSymmetry, filterSet,
            extrinsicCalibrationCamera, twoFreqMaxLineDistPercentage, filter2FreqAssignment, autoExpSet,
            enableStraylightCorrection, absDistStraylightThreshold, relAmpStraylightThreshold,
            enableNoiseEstimation, distNoiseThreshold, compensateAmbientLightDrift)

/** Settings whose change asks for a new initialisation. */
struct QorDistanceImageIFParam {
    alif_int32_t numExposures;      ///< 1 or 2
    alif_int32_t numFrequencies;    ///< 1 or 2
    alif_float32_t maxUniqueRange;  ///< metres
    alif_int32_t verticalAssignment;
    alif_int32_t maxExposureTime;
    alif_int32_t maxSumExposureTime;
};
AL_DESCRIBE(QorDistanceImageIFParam, numExposures, numFrequencies, maxUniqueRange, verticalAssignment,
            maxExposureTime, maxSumExposureTime)

/** Everything that comes with one raw image, except the image. */
struct QorDistanceImageIFInput {
    QorRawdataPhaseInfo phaseInfo;
    QorDistanceImageCustomization customization;
    QorDistanceImageIFParam param;
    RuvoFrequencyHoppingTable freqHoppingTable;
};
AL_DESCRIBE(QorDistanceImageIFInput, phaseInfo, customization, param, freqHoppingTable)

/** What a client needs to turn distances into points itself. */
struct QorDistToCartesian {
    AlgoExtrinsicCalibration cameraCalibration;
    alif_float32_t unitVector[kUnitVectorFloats];
};
AL_DESCRIBE(QorDistToCartesian, cameraCalibration, unitVector)

/** The result of a frame, owned by the caller of QorDistanceImage_Apply. Images are row by row, 224 x 172. */
struct QorDistanceImageIFOutput {
    alif_uint16_t width;
    alif_uint16_t height;
    alif_uint32_t timestamp;               ///< of the latest raw image
    alif_uint32_t frameCounter;            ///< finished frames before this one
    alif_int32_t outputInvalid;            ///< non-zero: nothing here is a finished frame yet
    alif_float32_t distance[kPixelCount];  ///< metres, 0 for an invalid pixel
    alif_int32_t distanceNoiseInvalid;
    alif_float32_t distanceNoise[kPixelCount];        ///< standard deviation of the distance, metres
    alif_float32_t normalizedAmplitude[kPixelCount];  ///< per unit of exposure, vignetting removed
    alif_uint8_t confidence[kPixelCount];             ///< low eight bits of the confidence image
    alif_int32_t coord3Dinvalid;
    alif_float32_t X[kPixelCount];
    alif_float32_t Y[kPixelCount];
    alif_float32_t Z[kPixelCount];
    alif_uint8_t unitVectorChangeCounter;  ///< changes when distToCartesian changes
    QorDistToCartesian distToCartesian;
    alif_int32_t intensityInvalid;
    alif_uint16_t intensity[kPixelCount];
    alif_uint32_t shortAutoExpTime;  ///< proposal for the next frame's first of two exposures
    alif_uint32_t longAutoExpTime;   ///< proposal for the next frame's last exposure
    alif_int32_t autoExpReady;
};
AL_DESCRIBE(QorDistanceImageIFOutput, width, height, timestamp, frameCounter, outputInvalid, distance,
            distanceNoiseInvalid, distanceNoise, normalizedAmplitude, confidence, coord3Dinvalid, X, Y, Z,
            unitVectorChangeCounter, distToCartesian, intensityInvalid, intensity, shortAutoExpTime,
            longAutoExpTime, autoExpReady)
