// SPDX-License-Identifier: Apache-2.0
//
// The description of the simulated camera: what its calibration file says, and the physics of
// its pixels. The calibration's numbers are single precision, as in the file, and the
// simulation uses exactly those.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simulation/Lens.h"

namespace simulation {

// Speed of light in air, metres per second.
inline constexpr double speedOfLightInAir = 299792458.0 / 1.000293;

// Modulation frequencies that there are, Hz. What lies below is a number that was meant in MHz.
inline constexpr double leastFrequency = 1.0e6;
inline constexpr double largestFrequency = 1.0e9;

// What is wrong with a modulation frequency, as a sentence; empty if nothing is.
std::string frequencyFault(double hertz);

// The distance, in metres, after which the phase of one modulation frequency repeats.
constexpr double uniqueRange(double frequency) {
    return 0.5 * speedOfLightInAir / frequency;
}

// The electronics of a pixel. A pixel collects charge in two taps that the modulation opens in turn; the
// converter delivers their difference, so light that is not modulated cancels and leaves only its noise.
struct SensorProperties {
    double countsPerElectron = 0.031;      // gain of the converter, applied to the difference of the taps
    double demodulationContrast = 0.7014;  // share of the modulated light that ends as a difference
    double intensityContrast = 0.8;        // the same for steady gates, as an intensity image uses them
    double readNoise = 2.736;              // standard deviation of one sample, counts
    double tapCapacity = 150000.0;         // electrons; a tap that overflows drives the sample to its limit
    double suppressionKnee = 259.46225;  // counts^2: shot variance of X from which the suppression of steady
                                         // light adds as much noise again as lies above the knee
    double darkLevel = 2048.0;           // mean sample without light, counts
    double darkLevelSpread = 12.0;       // its standard deviation over the pixels, counts
    double illumination = 5.0;      // counts per microsecond of a white surface at 1 m, facing the camera
    double ambientElectrons = 0.6;  // electrons per microsecond and kilolux of a white surface
};

struct FrequencyCalibration {
    float frequency = 0.0F;  // Hz
    std::array<float, 5> ampWigg{1.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    std::array<float, 7> phaseWigg{};
    std::array<float, 2> xyCorrection{};       // offset of X and of Y, counts
    std::vector<float> FPPN;                   // phase offset per pixel, radians
    float refTemperature = 0.0F;               // degrees Celsius
    std::array<float, 3> temperatureFactor{};  // radians per kelvin, kelvin^2 and kelvin^3
    std::array<float, 4> noiseParameter{};
    // Drift by ambient light: counts of X and Y per count of intensity, and its
    // direction in radians. 0: no drift.
    float ambientDriftFactor = 0.0F;
    float ambientDriftAngle = 0.0F;
};

// The defect of a pixel.
enum class PixelDefect : std::uint8_t { None, StuckLow, StuckHigh, Hot };

struct HoppingEntry {
    std::uint16_t fid = 0;
    std::uint16_t nextline = 0;
    std::uint16_t numlines = 0;
};

struct Calibration {
    Lens lens;
    std::vector<float> unitVectors;  // x, y, z of each pixel's ray
    std::vector<FrequencyCalibration> frequencies;
    std::vector<HoppingEntry> frequencyHoppingTable;
    std::int16_t minDiff = 0;  // the range of a sample outside which it counts as saturated
    std::int16_t maxDiff = 4095;
    std::vector<float> vignetting;          // gain that makes the amplitude even over the image, at least 1
    std::vector<std::int32_t> badPixelIdx;  // in turn stuck low, stuck high and hot
    std::vector<std::int16_t> FPN;          // dark level per pixel, counts
    SensorProperties sensor;
};

struct CalibrationRequest {
    std::uint64_t seed = 1;                   // selects the specimen of the camera
    std::vector<double> frequencies{60.0e6};  // Hz, 1 to 4
    bool wiggling = true;                     // harmonics of the correlation function
    bool fixedPattern = true;  // FPPN, spread of the dark level, offsets of X and Y, bad pixels
    bool ambientDrift = false;
    SensorProperties sensor;
};

inline constexpr std::size_t largestFrequencyCount = 4;
inline constexpr std::size_t largestBadPixelCount = 15;

// A realistic calibration. Equal requests give equal calibrations, on every machine.
// Throws std::invalid_argument if the frequencies are not 1 to 4 different positive numbers.
Calibration makeCalibration(const CalibrationRequest& request);

}  // namespace simulation
