// SPDX-License-Identifier: Apache-2.0
//
// The simulated camera: frames of packed raw images of a scene, in the order in which an imager delivers
// them, each frame with its truth.
//
// A frame is an intensity image, if asked for, then for each frequency the four phases of each exposure,
// shortest exposure first. Every raw image advances the imager's 12-bit counter; the sequence counter starts
// at 0 in a frame.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "simulation/Calibration.h"
#include "simulation/Scene.h"
#include "simulation/Sensor.h"
#include "simulation/Truth.h"

namespace simulation {

// From this frame on, the scene returns `factor` times its own light: all surfaces become brighter or darker
// at once, both in the camera's light and in ambient light.
struct BrightnessStep {
    std::uint32_t frame = 0;
    double factor = 1.0;
};

struct CameraSettings {
    Scene scene;
    std::vector<double> frequencies{60.0e6};        // Hz, one or two
    std::vector<std::int32_t> exposureTimes{1000};  // microseconds, one or two, not falling
    std::uint64_t seed = 1;                         // selects the camera and its noise
    std::optional<std::uint64_t> noiseSeed;         // selects another noise of the same camera
    bool photonNoise = true;
    bool wiggling = true;
    bool fixedPattern = true;
    bool ambientDrift = false;
    double ambient = 0.0;                          // kilolux
    double temperature = 42.5;                     // of the illumination, degrees Celsius
    std::shared_ptr<const Straylight> straylight;  // none: the lens scatters nothing
    bool intensityImage = false;
    std::int32_t intensityExposureTime = 200;  // microseconds
    double frameRate = 10.0;                   // frames per second; lower if the exposures take longer
    std::uint16_t firstFrameCounter = 0;
    std::vector<BrightnessStep> brightnessSteps;  // by rising frame
    SensorProperties sensor;
};

struct RawImage {
    std::uint32_t timestamp = 0;  // microseconds
    std::int32_t sequenceCounter = 0;
    std::int32_t freqIdx = 0;
    std::int32_t exposureTime = 0;   // microseconds
    std::uint16_t frameCounter = 0;  // modulo 4096
    float illuTemperature = 0.0F;
    bool intensityMeasurement = false;
    std::vector<std::uint8_t> phaseData;  // 58128 bytes
};

struct Frame {
    std::vector<RawImage> images;
    // The scene stands still, so successive frames of the same brightness and exposure times share it.
    std::shared_ptr<const Truth> truth;
};

class Camera {
 public:
    // Throws std::invalid_argument, with a sentence, for settings that no camera could follow.
    explicit Camera(CameraSettings settings);
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    const CameraSettings& settings() const { return settings_; }
    const Calibration& calibration() const { return calibration_; }

    // The exposure times of the frames to come, as many as the settings have. Throws
    // std::invalid_argument, as the constructor does.
    void setExposureTimes(const std::vector<std::int32_t>& times);

    // The brightness of the scene in the next frame, as a share of its own brightness.
    double brightness() const;

    Frame nextFrame();

 private:
    void expose();
    RawImage nextImage(std::int32_t sequenceCounter, std::size_t freqIdx, std::int32_t exposureTime);

    CameraSettings settings_;
    Calibration calibration_;
    Sensor sensor_;
    View view_;                // the scene at its own brightness, and its truth without the frequencies
    double brightness_ = 1.0;  // of what follows
    ReturnedLight light_;
    std::shared_ptr<const Truth> truth_;
    std::vector<std::vector<PhaseSignal>> signals_;  // by frequency and exposure
    std::uint32_t frameNumber_ = 0;
    std::uint32_t imageNumber_ = 0;
    std::uint64_t time_ = 0;  // microseconds since the start
};

}  // namespace simulation
