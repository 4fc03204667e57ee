// SPDX-License-Identifier: Apache-2.0
//
// Proof of the wire layout. The records that leave the process have these sizes and offsets on every target;
// whoever reads a recording relies on them. Compiling this file is the test.
#include "QorData.h"

namespace {

/** Nodes of a record's description: itself and one per member at any depth; a reference has none. */
template <class T>
constexpr std::size_t nodeCount() {
    using Element = std::remove_all_extents_t<T>;
    if constexpr (isReference<Element>) {
        return 0;
    } else if constexpr (describe::Described<Element>) {
        std::size_t count = 1;
        describe::forEachMember<Element>(
            [&count]<class Member>(const Member&) { count += nodeCount<typename Member::Type>(); });
        return count;
    } else {
        static_assert(std::is_arithmetic_v<Element> || std::is_enum_v<Element>,
                      "a record without description");
        return 1;
    }
}

/** The element type of a member, whatever the rank of its array. */
template <class T>
using ElementOf = std::remove_all_extents_t<std::remove_reference_t<T>>;

}  // namespace

#define QOR_RECORD(record, bytes, nodes)                          \
    static_assert(sizeof(record) == (bytes), "size of " #record); \
    static_assert(nodeCount<record>() == (nodes), "nodes of " #record)

#define QOR_MEMBER(record, member, elementBytes, position)                                     \
    static_assert(offsetof(record, member) == (position), "position of " #record "." #member); \
    static_assert(sizeof(ElementOf<decltype(record::member)>) == (elementBytes),               \
                  "size of " #record "." #member)

// A member below the first level; its type follows from the record that declares it.
#define QOR_INNER(record, path, position) \
    static_assert(offsetof(record, path) == (position), "position of " #record "." #path)

// clang-format off
QOR_RECORD(QorDistanceImageProfiling, 312, 79);
QOR_RECORD(QorDistanceImageCalib, 84, 18);
QOR_RECORD(QorDistanceImageState, 15467576, 232);
QOR_RECORD(QorDistanceImageOutput, 115696, 32);
QOR_RECORD(QorDistanceImageParam, 128, 31);
QOR_RECORD(QorDistanceImageInput, 20336, 109);
QOR_RECORD(QorDistanceImageInOut, 108, 16);
QOR_RECORD(QorDistanceImageDebug, 6112, 21);
QOR_RECORD(QorDistanceImageIFInput, 20212, 98);
QOR_RECORD(QorDistanceImageIFCalib, 1310456, 38);
QOR_RECORD(QorDistanceImageCustomization, 20132, 76);
QOR_RECORD(QorDistanceImageIFOutput, 1502660, 30);
QOR_RECORD(QorRawPhaseData, 58128, 2);

// QorRawPhaseData
QOR_MEMBER(QorRawPhaseData, phaseData, 1, 0);

// QorDistanceImageIFInput
QOR_MEMBER(QorDistanceImageIFInput, phaseInfo, 28, 0);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.timestamp, 0);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.sequenceCounter, 4);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.freqIdx, 8);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.exposureTime, 12);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.frameCounter, 16);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.illuTemperature, 20);
QOR_INNER(QorDistanceImageIFInput, phaseInfo.intensityMeasurement, 24);
QOR_MEMBER(QorDistanceImageIFInput, customization, 20132, 28);
QOR_INNER(QorDistanceImageIFInput, customization.disableCalcCartesian, 28);
QOR_INNER(QorDistanceImageIFInput, customization.minAmplitude, 32);
QOR_INNER(QorDistanceImageIFInput, customization.maximumRawSymmetry, 36);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet, 40);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.temporalFilter, 40);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempMeanSettings, 44);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempMeanSettings.numberOfFrames, 44);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempAdexpSettings, 48);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempAdexpSettings.minSmoothDiff, 48);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempAdexpSettings.minSDAlpha, 52);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempAdexpSettings.maxSmoothDiff, 56);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.tempAdexpSettings.maxSDAlpha, 60);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatialFilter, 64);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatMedianSettings, 68);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatMedianSettings.maskSize, 68);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatMeanSettings, 72);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatMeanSettings.maskSize, 72);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatBilateralSettings, 76);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatBilateralSettings.maskSize, 76);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatBilateralSettings.sigmaPixel, 80);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.spatBilateralSettings.sigmaDistance, 84);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.applyDistanceFilter, 88);
QOR_INNER(QorDistanceImageIFInput, customization.filterSet.applyAmplitudeFilter, 92);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera, 96);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.transX, 96);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.transY, 100);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.transZ, 104);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.rotX, 108);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.rotY, 112);
QOR_INNER(QorDistanceImageIFInput, customization.extrinsicCalibrationCamera.rotZ, 116);
QOR_INNER(QorDistanceImageIFInput, customization.twoFreqMaxLineDistPercentage, 120);
QOR_INNER(QorDistanceImageIFInput, customization.filter2FreqAssignment, 124);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet, 128);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.applyAutoExposure, 128);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.continuous, 132);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings, 136);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.referencePoint, 136);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.referencePoint.x, 136);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.referencePoint.y, 140);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois, 144);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs, 144);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].polygon, 144);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].polygon.points2D, 144);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].polygon.points2D[0].x, 144);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].polygon.points2D[0].y, 148);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].polygon.noPoints, 400);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse, 404);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.center, 404);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.center.x, 404);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.center.y, 408);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.lengthMajorAxis, 412);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.lengthMinorAxis, 416);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ellipse.angle, 420);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle, 424);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.center, 424);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.center.x, 424);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.center.y, 428);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.width, 432);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.height, 436);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.angle, 440);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].type, 444);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].ID, 448);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.ROIs[0].anchorBound, 452);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.rois.noROIs, 20112);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.roiSettings.type, 20116);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.minLongShortFactor, 20120);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.maxLongShortFactor, 20124);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.maxNumberOfSaturatedPixels, 20128);
QOR_INNER(QorDistanceImageIFInput, customization.autoExpSet.expTimeLowerLimit, 20132);
QOR_INNER(QorDistanceImageIFInput, customization.enableStraylightCorrection, 20136);
QOR_INNER(QorDistanceImageIFInput, customization.absDistStraylightThreshold, 20140);
QOR_INNER(QorDistanceImageIFInput, customization.relAmpStraylightThreshold, 20144);
QOR_INNER(QorDistanceImageIFInput, customization.enableNoiseEstimation, 20148);
QOR_INNER(QorDistanceImageIFInput, customization.distNoiseThreshold, 20152);
QOR_INNER(QorDistanceImageIFInput, customization.compensateAmbientLightDrift, 20156);
QOR_MEMBER(QorDistanceImageIFInput, param, 24, 20160);
QOR_INNER(QorDistanceImageIFInput, param.numExposures, 20160);
QOR_INNER(QorDistanceImageIFInput, param.numFrequencies, 20164);
QOR_INNER(QorDistanceImageIFInput, param.maxUniqueRange, 20168);
QOR_INNER(QorDistanceImageIFInput, param.verticalAssignment, 20172);
QOR_INNER(QorDistanceImageIFInput, param.maxExposureTime, 20176);
QOR_INNER(QorDistanceImageIFInput, param.maxSumExposureTime, 20180);
QOR_MEMBER(QorDistanceImageIFInput, freqHoppingTable, 28, 20184);
QOR_INNER(QorDistanceImageIFInput, freqHoppingTable.frequencyHoppingTable, 20184);
QOR_INNER(QorDistanceImageIFInput, freqHoppingTable.frequencyHoppingTable[0].fid, 20184);
QOR_INNER(QorDistanceImageIFInput, freqHoppingTable.frequencyHoppingTable[0].nextline, 20186);
QOR_INNER(QorDistanceImageIFInput, freqHoppingTable.frequencyHoppingTable[0].numlines, 20188);
QOR_INNER(QorDistanceImageIFInput, freqHoppingTable.frequencyHoppingTableLength, 20208);

// QorDistanceImageIFOutput
QOR_MEMBER(QorDistanceImageIFOutput, width, 2, 0);
QOR_MEMBER(QorDistanceImageIFOutput, height, 2, 2);
QOR_MEMBER(QorDistanceImageIFOutput, timestamp, 4, 4);
QOR_MEMBER(QorDistanceImageIFOutput, frameCounter, 4, 8);
QOR_MEMBER(QorDistanceImageIFOutput, outputInvalid, 4, 12);
QOR_MEMBER(QorDistanceImageIFOutput, distance, 4, 16);
QOR_MEMBER(QorDistanceImageIFOutput, distanceNoiseInvalid, 4, 154128);
QOR_MEMBER(QorDistanceImageIFOutput, distanceNoise, 4, 154132);
QOR_MEMBER(QorDistanceImageIFOutput, normalizedAmplitude, 4, 308244);
QOR_MEMBER(QorDistanceImageIFOutput, confidence, 1, 462356);
QOR_MEMBER(QorDistanceImageIFOutput, coord3Dinvalid, 4, 500884);
QOR_MEMBER(QorDistanceImageIFOutput, X, 4, 500888);
QOR_MEMBER(QorDistanceImageIFOutput, Y, 4, 655000);
QOR_MEMBER(QorDistanceImageIFOutput, Z, 4, 809112);
QOR_MEMBER(QorDistanceImageIFOutput, unitVectorChangeCounter, 1, 963224);
QOR_MEMBER(QorDistanceImageIFOutput, distToCartesian, 462360, 963228);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration, 963228);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.transX, 963228);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.transY, 963232);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.transZ, 963236);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.rotX, 963240);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.rotY, 963244);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.cameraCalibration.rotZ, 963248);
QOR_INNER(QorDistanceImageIFOutput, distToCartesian.unitVector, 963252);
QOR_MEMBER(QorDistanceImageIFOutput, intensityInvalid, 4, 1425588);
QOR_MEMBER(QorDistanceImageIFOutput, intensity, 2, 1425592);
QOR_MEMBER(QorDistanceImageIFOutput, shortAutoExpTime, 4, 1502648);
QOR_MEMBER(QorDistanceImageIFOutput, longAutoExpTime, 4, 1502652);
QOR_MEMBER(QorDistanceImageIFOutput, autoExpReady, 4, 1502656);

// QorDistanceImageIFCalib
QOR_MEMBER(QorDistanceImageIFCalib, imagerCalib, 848056, 0);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent, 0);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].ampWigg, 0);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].phaseWigg, 20);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].xyCorrection, 48);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].FPPN, 56);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].refTemperature, 154168);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].temperatureFactor, 154172);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqDependent[0].noiseParameter, 154184);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent, 616800);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.minDiff, 616800);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.maxDiff, 616802);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.vignetting, 616804);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.badPixelIdx, 770916);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.numBadPixel, 770976);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.freqIndependent.FPN, 770980);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.frequencies, 848036);
QOR_INNER(QorDistanceImageIFCalib, imagerCalib.numberOfFrequencies, 848052);
QOR_MEMBER(QorDistanceImageIFCalib, intrinsicCalibration, 64, 848056);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.fx, 848056);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.fy, 848060);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.mx, 848064);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.my, 848068);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.alpha, 848072);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.k1, 848076);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.k2, 848080);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.k5, 848084);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.k3, 848088);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.k4, 848092);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot, 848096);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.transX, 848096);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.transY, 848100);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.transZ, 848104);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.rotX, 848108);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.rotY, 848112);
QOR_INNER(QorDistanceImageIFCalib, intrinsicCalibration.internalTransRot.rotZ, 848116);
QOR_MEMBER(QorDistanceImageIFCalib, unitVectors, 4, 848120);

// QorDistanceImageProfiling
QOR_MEMBER(QorDistanceImageProfiling, total_frame, 24, 0);
QOR_MEMBER(QorDistanceImageProfiling, total, 24, 24);
QOR_MEMBER(QorDistanceImageProfiling, rawToDist, 24, 48);
QOR_MEMBER(QorDistanceImageProfiling, wigglingBackward, 24, 72);
QOR_MEMBER(QorDistanceImageProfiling, straylight, 24, 96);
QOR_MEMBER(QorDistanceImageProfiling, wigglingForward, 24, 120);
QOR_MEMBER(QorDistanceImageProfiling, rawToDistRemaining, 24, 144);
QOR_MEMBER(QorDistanceImageProfiling, suspectPT, 24, 168);
QOR_MEMBER(QorDistanceImageProfiling, multiFreq, 24, 192);
QOR_MEMBER(QorDistanceImageProfiling, camToWorld, 24, 216);
QOR_MEMBER(QorDistanceImageProfiling, imageFilter, 24, 240);
QOR_MEMBER(QorDistanceImageProfiling, autoExposure, 24, 264);
QOR_MEMBER(QorDistanceImageProfiling, distNoise, 24, 288);

// QorDistanceImageCalib
QOR_MEMBER(QorDistanceImageCalib, multiFreq, 16, 0);
QOR_MEMBER(QorDistanceImageCalib, camToWorld, 24, 16);
QOR_MEMBER(QorDistanceImageCalib, suspectPT, 20, 40);
QOR_MEMBER(QorDistanceImageCalib, wiggling, 16, 60);
QOR_MEMBER(QorDistanceImageCalib, straylight, 8, 76);

// QorDistanceImageState
QOR_MEMBER(QorDistanceImageState, rawToDistActualBuffer, 4, 0);
QOR_MEMBER(QorDistanceImageState, frameCounter, 4, 4);
QOR_MEMBER(QorDistanceImageState, lastUVChangeCounter, 1, 8);
QOR_MEMBER(QorDistanceImageState, matrices, 847616, 12);
QOR_MEMBER(QorDistanceImageState, histograms, 4, 1695244);
QOR_MEMBER(QorDistanceImageState, lastIntensityPhaseExpTime, 4, 1711636);
QOR_MEMBER(QorDistanceImageState, lastIntensityPhaseValid, 1, 1711640);
QOR_MEMBER(QorDistanceImageState, total_frame_profiling, 24, 1711648);
QOR_MEMBER(QorDistanceImageState, rawToDistOut, 40, 1711672);
QOR_MEMBER(QorDistanceImageState, rawToDistState, 770592, 1711752);
QOR_MEMBER(QorDistanceImageState, multiFreq, 712972, 2482344);
QOR_MEMBER(QorDistanceImageState, camToWorld, 924996, 3195316);
QOR_MEMBER(QorDistanceImageState, suspectPT, 544, 4120312);
QOR_MEMBER(QorDistanceImageState, autoExpState, 24032, 4120856);
QOR_MEMBER(QorDistanceImageState, wigglingState, 628752, 4144888);
QOR_MEMBER(QorDistanceImageState, slcState, 10616872, 4773640);
QOR_MEMBER(QorDistanceImageState, intImg, 77056, 15390512);
QOR_MEMBER(QorDistanceImageState, lastFreqIdx, 4, 15467568);

// QorDistanceImageOutput
QOR_MEMBER(QorDistanceImageOutput, imageFilter, 4, 0);
QOR_MEMBER(QorDistanceImageOutput, camToWorld, 44, 4);
QOR_MEMBER(QorDistanceImageOutput, multiFreq, 20, 48);
QOR_MEMBER(QorDistanceImageOutput, autoExpOutput, 38564, 68);
QOR_MEMBER(QorDistanceImageOutput, distNoise, 8, 38632);
QOR_MEMBER(QorDistanceImageOutput, intImg, 77056, 38640);

// QorDistanceImageParam
QOR_MEMBER(QorDistanceImageParam, rawToDist, 4, 0);
QOR_MEMBER(QorDistanceImageParam, multiFreq, 20, 4);
QOR_MEMBER(QorDistanceImageParam, imageFilter, 4, 24);
QOR_MEMBER(QorDistanceImageParam, camToWorld, 24, 28);
QOR_MEMBER(QorDistanceImageParam, autoExpParam, 76, 52);

// QorDistanceImageInput
QOR_MEMBER(QorDistanceImageInput, rawToDist, 32, 0);
QOR_MEMBER(QorDistanceImageInput, imageFilter, 64, 32);
QOR_MEMBER(QorDistanceImageInput, multiFreq, 44, 96);
QOR_MEMBER(QorDistanceImageInput, camToWorld, 28, 140);
QOR_MEMBER(QorDistanceImageInput, suspectPT, 4, 168);
QOR_MEMBER(QorDistanceImageInput, autoExpInput, 20048, 172);
QOR_MEMBER(QorDistanceImageInput, wigglingBackward, 16, 20220);
QOR_MEMBER(QorDistanceImageInput, wigglingForward, 36, 20236);
QOR_MEMBER(QorDistanceImageInput, distNoise, 60, 20272);
QOR_MEMBER(QorDistanceImageInput, intImg, 4, 20332);

// QorDistanceImageInOut
QOR_MEMBER(QorDistanceImageInOut, rawToDist, 4, 0);
QOR_MEMBER(QorDistanceImageInOut, camToWorld, 8, 4);
QOR_MEMBER(QorDistanceImageInOut, imageFilter, 16, 12);
QOR_MEMBER(QorDistanceImageInOut, suspectPT, 24, 28);
QOR_MEMBER(QorDistanceImageInOut, wigglingBackward, 8, 52);
QOR_MEMBER(QorDistanceImageInOut, slc, 24, 60);
QOR_MEMBER(QorDistanceImageInOut, wigglingForward, 12, 84);
QOR_MEMBER(QorDistanceImageInOut, distNoise, 12, 96);

// QorDistanceImageDebug
QOR_MEMBER(QorDistanceImageDebug, perFrameErrors, 3044, 0);
QOR_MEMBER(QorDistanceImageDebug, errorHistory, 3044, 3044);
QOR_MEMBER(QorDistanceImageDebug, algoVersion, 12, 6088);
QOR_MEMBER(QorDistanceImageDebug, monotonicTimestamp, 4, 6100);
QOR_MEMBER(QorDistanceImageDebug, systemTime, 8, 6104);

// QorDistanceImageCustomization
QOR_MEMBER(QorDistanceImageCustomization, disableCalcCartesian, 4, 0);
QOR_MEMBER(QorDistanceImageCustomization, minAmplitude, 4, 4);
QOR_MEMBER(QorDistanceImageCustomization, maximumRawSymmetry, 4, 8);
QOR_MEMBER(QorDistanceImageCustomization, filterSet, 56, 12);
QOR_MEMBER(QorDistanceImageCustomization, extrinsicCalibrationCamera, 24, 68);
QOR_MEMBER(QorDistanceImageCustomization, twoFreqMaxLineDistPercentage, 4, 92);
QOR_MEMBER(QorDistanceImageCustomization, filter2FreqAssignment, 4, 96);
QOR_MEMBER(QorDistanceImageCustomization, autoExpSet, 20008, 100);
QOR_MEMBER(QorDistanceImageCustomization, enableStraylightCorrection, 1, 20108);
QOR_MEMBER(QorDistanceImageCustomization, absDistStraylightThreshold, 4, 20112);
QOR_MEMBER(QorDistanceImageCustomization, relAmpStraylightThreshold, 4, 20116);
QOR_MEMBER(QorDistanceImageCustomization, enableNoiseEstimation, 1, 20120);
QOR_MEMBER(QorDistanceImageCustomization, distNoiseThreshold, 4, 20124);
QOR_MEMBER(QorDistanceImageCustomization, compensateAmbientLightDrift, 1, 20128);

// clang-format on

#undef QOR_RECORD
#undef QOR_MEMBER
#undef QOR_INNER
