// SPDX-License-Identifier: Apache-2.0
//
// A camera for tests of the plug-in: a calibration that corrects little, images of a slanted wall, and the
// packets that carry them.
#pragma once

#include <functional>
#include <memory>

#include "Layouts.h"
#include "QorDICIRecords.h"
#include "QorRecords.h"

namespace host_testing {

inline constexpr int kRawDataChannel = 3200;
inline constexpr int kInputChannel = 3208;
inline constexpr int kResultChannel = 3210;
inline constexpr int kCalibrationChannel = 3212;
inline constexpr int kStateChannel = 3214;
inline constexpr int kStageInputChannel = 3216;
inline constexpr int kStageOutputChannel = 3218;
inline constexpr int kDebugChannel = 3220;
inline constexpr int kProfilingChannel = 3222;
inline constexpr int kErrorChannel = 3224;
inline constexpr int kAuxiliaryChannel = 3226;
inline constexpr int kCustomizationChannel = 3228;

/** A frequency slot that no calibration has: the pipeline refuses its group at the fourth image. */
inline constexpr int kNoFrequencySlot = 9;

std::unique_ptr<QorDistanceImageIFCalib> plainCalibration();

/** One exposure, one frequency, nothing filtered. */
QorDistanceImageIFInput plainInput();

/** Two exposures, two frequencies, and every product and filter that a customization can ask for. */
QorDistanceImageIFInput richInput();

/**
 * Takes the image that `info` describes. `phaseOfGroup` modulo 4 is its place among the four phases; it is -1
 * for an intensity image.
 */
using Scene = std::function<void(const QorRawdataPhaseInfo& info, int phaseOfGroup, QorRawPhaseData& raw)>;

/** Sends packets; its settings may be changed between them. */
class Camera {
 public:
    explicit Camera(const LayoutChange& change = {});

    /** Calibration and auxiliary parameters. */
    Bytes calibrationPacket() const;

    /** The next image and its input record. */
    Bytes imagePacket();

    /** The input record as it stands, without an image. */
    Bytes inputPacket() const;

    /** The image that belongs to the input record, alone. */
    Bytes rawPacket() const;

    /** `input.customization`, for the custom pin. */
    Bytes customizationPacket() const;

    OwnedChunk calibrationChunk() const {
        return m_calibrationLayout.chunk(kCalibrationChannel, calib.get());
    }
    OwnedChunk auxiliaryChunk() const { return m_auxiliaryLayout.chunk(kAuxiliaryChannel, &auxiliary); }
    OwnedChunk inputChunk() const { return m_inputLayout.chunk(kInputChannel, &input); }
    OwnedChunk rawChunk() const;

    /** Makes `input.phaseInfo` that of the next image. imagePacket does so by itself. */
    void nextImage();

    /** The frame's first image comes next. */
    void restartFrame() { m_imageOfFrame = -1; }

    /** How many images a frame has with the present settings. */
    int imagesPerFrame() const;

    std::unique_ptr<QorDistanceImageIFCalib> calib = plainCalibration();
    QorDICIAuxiliaryParam auxiliary;
    QorDistanceImageIFInput input = plainInput();
    bool intensityImage = false;  ///< each frame begins with one
    Scene scene;                  ///< none: a wall that leans away, with noise
    unsigned int noiseLevel = 4;  ///< the largest difference of samples from the scene's

 private:
    Layout m_calibrationLayout;
    Layout m_auxiliaryLayout;
    Layout m_inputLayout;
    Layout m_rawLayout;
    Layout m_customizationLayout;
    int m_imageOfFrame = -1;
    int m_frames = 0;
};

}  // namespace host_testing
