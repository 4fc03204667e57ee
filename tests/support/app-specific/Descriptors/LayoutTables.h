// SPDX-License-Identifier: Apache-2.0
//
// The layout of the records on the wire, written down row by row: level of nesting, name, dimensions, kind,
// bytes of one element, offset in the record.
#pragma once

#include <initializer_list>
#include <vector>

#include "zelta_type.h"

namespace layout_tables {

struct Row {
    unsigned int level;
    const char* name;
    std::vector<unsigned int> dimensions;
    zelta::TypeIdentifier kind;
    unsigned int size;
    int offset;
};

inline constexpr zelta::TypeIdentifier S = zelta::TypeSigned;
inline constexpr zelta::TypeIdentifier U = zelta::TypeUnsigned;
inline constexpr zelta::TypeIdentifier F = zelta::TypeFloat;
inline constexpr zelta::TypeIdentifier R = zelta::TypeStruct;

// clang-format off

inline const std::vector<Row> kQorRawPhaseData = {
    {0, "QorRawPhaseData", {}, R, 58128, 0},
    {1, "phaseData", {58128}, U, 1, 0},
};

inline const std::vector<Row> kQorDICIError = {
    {0, "QorDICIError", {}, R, 516, 0},
    {1, "errorOccured", {}, S, 4, 0},
    {1, "ErrorMsg", {512}, S, 1, 4},
};

inline const std::vector<Row> kQorDICIAuxiliaryParam = {
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

inline const std::vector<Row> kQorDistanceImageIFInput = {
    {0, "QorDistanceImageIFInput", {}, R, 20212, 0},
    {1, "phaseInfo", {}, R, 28, 0},
    {2, "timestamp", {}, U, 4, 0},
    {2, "sequenceCounter", {}, S, 4, 4},
    {2, "freqIdx", {}, S, 4, 8},
    {2, "exposureTime", {}, S, 4, 12},
    {2, "frameCounter", {}, U, 2, 16},
    {2, "illuTemperature", {}, F, 4, 20},
    {2, "intensityMeasurement", {}, S, 4, 24},
    {1, "customization", {}, R, 20132, 28},
    {2, "disableCalcCartesian", {}, S, 4, 28},
    {2, "minAmplitude", {}, F, 4, 32},
    {2, "maximumRawSymmetry", {}, F, 4, 36},
    {2, "filterSet", {}, R, 56, 40},
    {3, "temporalFilter", {}, S, 4, 40},
    {3, "tempMeanSettings", {}, R, 4, 44},
    {4, "numberOfFrames", {}, U, 4, 44},
    {3, "tempAdexpSettings", {}, R, 16, 48},
    {4, "minSmoothDiff", {}, F, 4, 48},
    {4, "minSDAlpha", {}, F, 4, 52},
    {4, "maxSmoothDiff", {}, F, 4, 56},
    {4, "maxSDAlpha", {}, F, 4, 60},
    {3, "spatialFilter", {}, S, 4, 64},
    {3, "spatMedianSettings", {}, R, 4, 68},
    {4, "maskSize", {}, S, 4, 68},
    {3, "spatMeanSettings", {}, R, 4, 72},
    {4, "maskSize", {}, S, 4, 72},
    {3, "spatBilateralSettings", {}, R, 12, 76},
    {4, "maskSize", {}, S, 4, 76},
    {4, "sigmaPixel", {}, F, 4, 80},
    {4, "sigmaDistance", {}, F, 4, 84},
    {3, "applyDistanceFilter", {}, S, 4, 88},
    {3, "applyAmplitudeFilter", {}, S, 4, 92},
    {2, "extrinsicCalibrationCamera", {}, R, 24, 96},
    {3, "transX", {}, F, 4, 96},
    {3, "transY", {}, F, 4, 100},
    {3, "transZ", {}, F, 4, 104},
    {3, "rotX", {}, F, 4, 108},
    {3, "rotY", {}, F, 4, 112},
    {3, "rotZ", {}, F, 4, 116},
    {2, "twoFreqMaxLineDistPercentage", {}, F, 4, 120},
    {2, "filter2FreqAssignment", {}, S, 4, 124},
    {2, "autoExpSet", {}, R, 20008, 128},
    {3, "applyAutoExposure", {}, S, 4, 128},
    {3, "continuous", {}, U, 4, 132},
    {3, "roiSettings", {}, R, 19984, 136},
    {4, "referencePoint", {}, R, 8, 136},
    {5, "x", {}, F, 4, 136},
    {5, "y", {}, F, 4, 140},
    {4, "rois", {}, R, 19972, 144},
    {5, "ROIs", {64}, R, 312, 144},
    {6, "polygon", {}, R, 260, 144},
    {7, "points2D", {32}, R, 8, 144},
    {8, "x", {}, F, 4, 144},
    {8, "y", {}, F, 4, 148},
    {7, "noPoints", {}, U, 4, 400},
    {6, "ellipse", {}, R, 20, 404},
    {7, "center", {}, R, 8, 404},
    {8, "x", {}, F, 4, 404},
    {8, "y", {}, F, 4, 408},
    {7, "lengthMajorAxis", {}, F, 4, 412},
    {7, "lengthMinorAxis", {}, F, 4, 416},
    {7, "angle", {}, F, 4, 420},
    {6, "rectangle", {}, R, 20, 424},
    {7, "center", {}, R, 8, 424},
    {8, "x", {}, F, 4, 424},
    {8, "y", {}, F, 4, 428},
    {7, "width", {}, F, 4, 432},
    {7, "height", {}, F, 4, 436},
    {7, "angle", {}, F, 4, 440},
    {6, "type", {}, S, 4, 444},
    {6, "ID", {}, S, 4, 448},
    {6, "anchorBound", {}, S, 4, 452},
    {5, "noROIs", {}, U, 4, 20112},
    {4, "type", {}, S, 4, 20116},
    {3, "minLongShortFactor", {}, S, 4, 20120},
    {3, "maxLongShortFactor", {}, S, 4, 20124},
    {3, "maxNumberOfSaturatedPixels", {}, S, 4, 20128},
    {3, "expTimeLowerLimit", {}, U, 4, 20132},
    {2, "enableStraylightCorrection", {}, U, 1, 20136},
    {2, "absDistStraylightThreshold", {}, F, 4, 20140},
    {2, "relAmpStraylightThreshold", {}, F, 4, 20144},
    {2, "enableNoiseEstimation", {}, U, 1, 20148},
    {2, "distNoiseThreshold", {}, F, 4, 20152},
    {2, "compensateAmbientLightDrift", {}, U, 1, 20156},
    {1, "param", {}, R, 24, 20160},
    {2, "numExposures", {}, S, 4, 20160},
    {2, "numFrequencies", {}, S, 4, 20164},
    {2, "maxUniqueRange", {}, F, 4, 20168},
    {2, "verticalAssignment", {}, S, 4, 20172},
    {2, "maxExposureTime", {}, S, 4, 20176},
    {2, "maxSumExposureTime", {}, S, 4, 20180},
    {1, "freqHoppingTable", {}, R, 28, 20184},
    {2, "frequencyHoppingTable", {4}, R, 6, 20184},
    {3, "fid", {}, U, 2, 20184},
    {3, "nextline", {}, U, 2, 20186},
    {3, "numlines", {}, U, 2, 20188},
    {2, "frequencyHoppingTableLength", {}, S, 4, 20208},
};

inline const std::vector<Row> kQorDistanceImageIFOutput = {
    {0, "QorDistanceImageIFOutput", {}, R, 1502660, 0},
    {1, "width", {}, U, 2, 0},
    {1, "height", {}, U, 2, 2},
    {1, "timestamp", {}, U, 4, 4},
    {1, "frameCounter", {}, U, 4, 8},
    {1, "outputInvalid", {}, S, 4, 12},
    {1, "distance", {38528}, F, 4, 16},
    {1, "distanceNoiseInvalid", {}, S, 4, 154128},
    {1, "distanceNoise", {38528}, F, 4, 154132},
    {1, "normalizedAmplitude", {38528}, F, 4, 308244},
    {1, "confidence", {38528}, U, 1, 462356},
    {1, "coord3Dinvalid", {}, S, 4, 500884},
    {1, "X", {38528}, F, 4, 500888},
    {1, "Y", {38528}, F, 4, 655000},
    {1, "Z", {38528}, F, 4, 809112},
    {1, "unitVectorChangeCounter", {}, U, 1, 963224},
    {1, "distToCartesian", {}, R, 462360, 963228},
    {2, "cameraCalibration", {}, R, 24, 963228},
    {3, "transX", {}, F, 4, 963228},
    {3, "transY", {}, F, 4, 963232},
    {3, "transZ", {}, F, 4, 963236},
    {3, "rotX", {}, F, 4, 963240},
    {3, "rotY", {}, F, 4, 963244},
    {3, "rotZ", {}, F, 4, 963248},
    {2, "unitVector", {115584}, F, 4, 963252},
    {1, "intensityInvalid", {}, S, 4, 1425588},
    {1, "intensity", {38528}, U, 2, 1425592},
    {1, "shortAutoExpTime", {}, U, 4, 1502648},
    {1, "longAutoExpTime", {}, U, 4, 1502652},
    {1, "autoExpReady", {}, S, 4, 1502656},
};

inline const std::vector<Row> kQorDistanceImageIFCalib = {
    {0, "QorDistanceImageIFCalib", {}, R, 1310456, 0},
    {1, "imagerCalib", {}, R, 848056, 0},
    {2, "freqDependent", {4}, R, 154200, 0},
    {3, "ampWigg", {5}, F, 4, 0},
    {3, "phaseWigg", {7}, F, 4, 20},
    {3, "xyCorrection", {2}, F, 4, 48},
    {3, "FPPN", {38528}, F, 4, 56},
    {3, "refTemperature", {}, F, 4, 154168},
    {3, "temperatureFactor", {3}, F, 4, 154172},
    {3, "noiseParameter", {4}, F, 4, 154184},
    {2, "freqIndependent", {}, R, 231236, 616800},
    {3, "minDiff", {}, S, 2, 616800},
    {3, "maxDiff", {}, S, 2, 616802},
    {3, "vignetting", {38528}, F, 4, 616804},
    {3, "badPixelIdx", {15}, S, 4, 770916},
    {3, "numBadPixel", {}, S, 4, 770976},
    {3, "FPN", {38528}, S, 2, 770980},
    {2, "frequencies", {4}, F, 4, 848036},
    {2, "numberOfFrequencies", {}, S, 4, 848052},
    {1, "intrinsicCalibration", {}, R, 64, 848056},
    {2, "fx", {}, F, 4, 848056},
    {2, "fy", {}, F, 4, 848060},
    {2, "mx", {}, F, 4, 848064},
    {2, "my", {}, F, 4, 848068},
    {2, "alpha", {}, F, 4, 848072},
    {2, "k1", {}, F, 4, 848076},
    {2, "k2", {}, F, 4, 848080},
    {2, "k5", {}, F, 4, 848084},
    {2, "k3", {}, F, 4, 848088},
    {2, "k4", {}, F, 4, 848092},
    {2, "internalTransRot", {}, R, 24, 848096},
    {3, "transX", {}, F, 4, 848096},
    {3, "transY", {}, F, 4, 848100},
    {3, "transZ", {}, F, 4, 848104},
    {3, "rotX", {}, F, 4, 848108},
    {3, "rotY", {}, F, 4, 848112},
    {3, "rotZ", {}, F, 4, 848116},
    {1, "unitVectors", {115584}, F, 4, 848120},
};

// Of the other records, the members of the first level.

inline const std::vector<Row> kQorDistanceImageProfilingMembers = {
    {1, "total_frame", {}, R, 24, 0},
    {1, "total", {}, R, 24, 24},
    {1, "rawToDist", {}, R, 24, 48},
    {1, "wigglingBackward", {}, R, 24, 72},
    {1, "straylight", {}, R, 24, 96},
    {1, "wigglingForward", {}, R, 24, 120},
    {1, "rawToDistRemaining", {}, R, 24, 144},
    {1, "suspectPT", {}, R, 24, 168},
    {1, "multiFreq", {}, R, 24, 192},
    {1, "camToWorld", {}, R, 24, 216},
    {1, "imageFilter", {}, R, 24, 240},
    {1, "autoExposure", {}, R, 24, 264},
    {1, "distNoise", {}, R, 24, 288},
};

inline const std::vector<Row> kQorDistanceImageCalibMembers = {
    {1, "multiFreq", {}, R, 16, 0},
    {1, "camToWorld", {}, R, 24, 16},
    {1, "suspectPT", {}, R, 20, 40},
    {1, "wiggling", {}, R, 16, 60},
    {1, "straylight", {}, R, 8, 76},
};

inline const std::vector<Row> kQorDistanceImageStateMembers = {
    {1, "rawToDistActualBuffer", {}, S, 4, 0},
    {1, "frameCounter", {}, U, 4, 4},
    {1, "lastUVChangeCounter", {}, U, 1, 8},
    {1, "matrices", {2}, R, 847616, 12},
    {1, "histograms", {2, 2049}, U, 4, 1695244},
    {1, "lastIntensityPhaseExpTime", {}, U, 4, 1711636},
    {1, "lastIntensityPhaseValid", {}, U, 1, 1711640},
    {1, "total_frame_profiling", {}, R, 24, 1711648},
    {1, "rawToDistOut", {2}, R, 40, 1711672},
    {1, "rawToDistState", {}, R, 770592, 1711752},
    {1, "multiFreq", {}, R, 712972, 2482344},
    {1, "camToWorld", {}, R, 924996, 3195316},
    {1, "suspectPT", {}, R, 544, 4120312},
    {1, "autoExpState", {}, R, 24032, 4120856},
    {1, "wigglingState", {}, R, 628752, 4144888},
    {1, "slcState", {}, R, 10616872, 4773640},
    {1, "intImg", {}, R, 77056, 15390512},
    {1, "lastFreqIdx", {}, S, 4, 15467568},
};

inline const std::vector<Row> kQorDistanceImageOutputMembers = {
    {1, "imageFilter", {}, R, 4, 0},
    {1, "camToWorld", {}, R, 44, 4},
    {1, "multiFreq", {}, R, 20, 48},
    {1, "autoExpOutput", {}, R, 38564, 68},
    {1, "distNoise", {}, R, 8, 38632},
    {1, "intImg", {}, R, 77056, 38640},
};

inline const std::vector<Row> kQorDistanceImageParamMembers = {
    {1, "rawToDist", {}, R, 4, 0},
    {1, "multiFreq", {}, R, 20, 4},
    {1, "imageFilter", {}, R, 4, 24},
    {1, "camToWorld", {}, R, 24, 28},
    {1, "autoExpParam", {}, R, 76, 52},
};

inline const std::vector<Row> kQorDistanceImageInputMembers = {
    {1, "rawToDist", {}, R, 32, 0},
    {1, "imageFilter", {}, R, 64, 32},
    {1, "multiFreq", {}, R, 44, 96},
    {1, "camToWorld", {}, R, 28, 140},
    {1, "suspectPT", {}, R, 4, 168},
    {1, "autoExpInput", {}, R, 20048, 172},
    {1, "wigglingBackward", {}, R, 16, 20220},
    {1, "wigglingForward", {}, R, 36, 20236},
    {1, "distNoise", {}, R, 60, 20272},
    {1, "intImg", {}, R, 4, 20332},
};

inline const std::vector<Row> kQorDistanceImageInOutMembers = {
    {1, "rawToDist", {}, R, 4, 0},
    {1, "camToWorld", {}, R, 8, 4},
    {1, "imageFilter", {}, R, 16, 12},
    {1, "suspectPT", {}, R, 24, 28},
    {1, "wigglingBackward", {}, R, 8, 52},
    {1, "slc", {}, R, 24, 60},
    {1, "wigglingForward", {}, R, 12, 84},
    {1, "distNoise", {}, R, 12, 96},
};

inline const std::vector<Row> kQorDistanceImageDebugMembers = {
    {1, "perFrameErrors", {}, R, 3044, 0},
    {1, "errorHistory", {}, R, 3044, 3044},
    {1, "algoVersion", {}, R, 12, 6088},
    {1, "monotonicTimestamp", {}, U, 4, 6100},
    {1, "systemTime", {}, R, 8, 6104},
};

inline const std::vector<Row> kQorDistanceImageCustomizationMembers = {
    {1, "disableCalcCartesian", {}, S, 4, 0},
    {1, "minAmplitude", {}, F, 4, 4},
    {1, "maximumRawSymmetry", {}, F, 4, 8},
    {1, "filterSet", {}, R, 56, 12},
    {1, "extrinsicCalibrationCamera", {}, R, 24, 68},
    {1, "twoFreqMaxLineDistPercentage", {}, F, 4, 92},
    {1, "filter2FreqAssignment", {}, S, 4, 96},
    {1, "autoExpSet", {}, R, 20008, 100},
    {1, "enableStraylightCorrection", {}, U, 1, 20108},
    {1, "absDistStraylightThreshold", {}, F, 4, 20112},
    {1, "relAmpStraylightThreshold", {}, F, 4, 20116},
    {1, "enableNoiseEstimation", {}, U, 1, 20120},
    {1, "distNoiseThreshold", {}, F, 4, 20124},
    {1, "compensateAmbientLightDrift", {}, U, 1, 20128},
};

// clang-format on

}  // namespace layout_tables
