// SPDX-License-Identifier: Apache-2.0
//
// The forward model: from the light that returns to the samples that the imager converts.

#pragma once

#include <cstdint>
#include <vector>

#include "simulation/Calibration.h"
#include "simulation/Straylight.h"

namespace simulation {

// The light that reaches each pixel. A distance of 0 means that nothing returns.
struct ReturnedLight {
    std::vector<double> distance;   // radial, metres
    std::vector<double> amplitude;  // counts per microsecond, as an evenly lit image would show it
    std::vector<double> ambient;    // electrons per microsecond, after the lens
};

// What one exposure at one frequency brings to the pixels, before noise and conversion.
struct PhaseSignal {
    std::vector<double> inPhase;     // counts: the difference of the samples at 0 and at 180 degrees
    std::vector<double> quadrature;  // counts: the same for 90 and 270 degrees
    std::vector<double> electrons;   // charge in both taps for one sample
    std::vector<double> offsetX;     // counts that the electronics and the ambient light add to X and Y
    std::vector<double> offsetY;
    std::vector<double> rawAmplitude;       // length of (inPhase, quadrature), counts
    std::vector<double> distanceDeviation;  // predicted standard deviation of the distance, metres
    double exposureTime = 0.0;              // microseconds
};

class Sensor {
 public:
    // `calibration` must outlive the sensor. The seed selects the noise.
    Sensor(const Calibration& calibration, std::uint64_t seed, bool photonNoise);

    // frequencyIndex below the number of calibrated frequencies; temperature of the illumination in degrees
    // Celsius. Without `straylight` the lens scatters nothing.
    PhaseSignal expose(const ReturnedLight& light, std::size_t frequencyIndex, double exposureTime,
                       double temperature, const Straylight* straylight = nullptr) const;

    // Samples of one phase image: phase 0 to 3 for a reference shifted by 0, 90, 180, 270 degrees.
    // `imageNumber` counts all images of the recording and selects the noise.
    std::vector<std::uint16_t> samplePhase(const PhaseSignal& signal, int phase,
                                           std::uint32_t imageNumber) const;

    // Samples of an intensity image: the light source is off, the gates hold still.
    std::vector<std::uint16_t> sampleIntensity(const ReturnedLight& light, double exposureTime,
                                               std::uint32_t imageNumber) const;

 private:
    // Modulated light that arrives at the pixels: its phase in radians, before the pixel's own deviation, and
    // its amplitude in counts, 0 where there is none.
    struct Arrival {
        std::vector<double> phase;
        std::vector<double> amplitude;
    };
    Arrival arrivalOf(const ReturnedLight& light, const FrequencyCalibration& frequency, double exposureTime,
                      double temperature) const;

    struct PixelCharge {
        double electrons = 0.0;   // in both taps
        double difference = 0.0;  // of the taps, counts
        double offset = 0.0;      // counts
    };
    std::uint16_t convert(std::size_t pixel, const PixelCharge& charge, double exposureTime,
                          std::uint32_t imageNumber) const;

    const Calibration& calibration_;
    std::uint64_t seed_;
    bool photonNoise_;
    std::vector<PixelDefect> defects_;  // per pixel
};

}  // namespace simulation
