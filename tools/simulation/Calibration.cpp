// SPDX-License-Identifier: Apache-2.0

#include "simulation/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "simulation/Image.h"
#include "simulation/Random.h"

namespace simulation {
namespace {

constexpr double referenceTemperature = 40.0;

// Drift by ambient light, known for these frequencies in these slots only.
struct AmbientDrift {
    double frequency;
    float factor;
    float angle;
};
constexpr std::array<AmbientDrift, largestFrequencyCount> ambientDrifts{{
    {47987700.0, 0.0036295F, 0.3512F},
    {56926000.0, 0.00435F, 0.538F},
    {74932600.0, 0.00128F, 1.337F},
    {4869800.0, 0.000184F, 3.109F},
}};

float toFloat(double value) {
    return static_cast<float>(value);
}

// The lens in numbers that single precision holds.
Lens makeLens() {
    const auto stored = [](double value) { return static_cast<double>(toFloat(value)); };
    return {stored(160.25), stored(160.5), stored(111.4), stored(86.7), stored(2.0e-4),
            stored(-0.06),  stored(0.012), stored(-1e-3), stored(4e-4), stored(-3e-4)};
}

std::vector<float> makeUnitVectors(const std::vector<Vector>& rays) {
    std::vector<float> unitVectors;
    unitVectors.reserve(3 * pixelCount);
    for (const Vector& ray : rays) {
        unitVectors.insert(unitVectors.end(), {toFloat(ray.x), toFloat(ray.y), toFloat(ray.z)});
    }
    return unitVectors;
}

// Light falls off towards the corners with the fourth power of the cosine, times a little clipping by the
// lens mount.
std::vector<float> makeVignetting(const std::vector<Vector>& rays) {
    std::vector<float> gain;
    gain.reserve(pixelCount);
    for (const Vector& ray : rays) {
        const double cosineSquare = ray.z * ray.z;
        const double sineSquare = 1.0 - cosineSquare;
        gain.push_back(toFloat(1.0 / (cosineSquare * cosineSquare * (1.0 - 0.15 * sineSquare))));
    }
    return gain;
}

// A gradual slope over the image from the length of the clock lines, alternating columns, and a grain.
std::vector<float> makeFixedPatternPhase(std::uint64_t seed, std::uint32_t slot) {
    RandomStream shape(seed, RandomPurpose::FixedPatternPhase, slot, 0);
    const double slopeX = 0.04 * shape.normal();
    const double slopeY = 0.03 * shape.normal();
    const double bend = 0.03 * shape.normal();
    const double alternation = 0.004 * shape.normal();
    RandomStream grain(seed, RandomPurpose::FixedPatternPhase, slot, 1);
    std::vector<float> pattern;
    pattern.reserve(pixelCount);
    for (int row = 0; row < imageHeight; ++row) {
        for (int column = 0; column < imageWidth; ++column) {
            const double x = (column + 0.5) / imageWidth - 0.5;
            const double y = (row + 0.5) / imageHeight - 0.5;
            const double smooth = slopeX * x + slopeY * y + bend * (x * x + y * y);
            pattern.push_back(
                toFloat(smooth + (column % 2 == 0 ? alternation : -alternation) + 0.004 * grain.normal()));
        }
    }
    return pattern;
}

std::vector<std::int16_t> makeDarkLevels(const CalibrationRequest& request) {
    RandomStream random(request.seed, RandomPurpose::DarkLevel);
    std::vector<std::int16_t> levels(pixelCount);
    for (std::int16_t& level : levels) {
        const double spread = request.fixedPattern ? request.sensor.darkLevelSpread * random.normal() : 0.0;
        level = static_cast<std::int16_t>(std::floor(request.sensor.darkLevel + spread + 0.5));
    }
    return levels;
}

// Pixels with defects, none at the border and no two side by side.
std::vector<std::int32_t> makeBadPixels(std::uint64_t seed) {
    constexpr std::size_t badPixelCount = 9;
    constexpr int spacing = 4;
    RandomStream random(seed, RandomPurpose::BadPixels);
    std::vector<std::int32_t> pixels;
    while (pixels.size() < badPixelCount) {
        const int column = 1 + static_cast<int>(random.uniform() * (imageWidth - 2));
        const int row = 1 + static_cast<int>(random.uniform() * (imageHeight - 2));
        const bool crowded = std::any_of(pixels.begin(), pixels.end(), [&](std::int32_t other) {
            return std::abs(other % imageWidth - column) < spacing &&
                   std::abs(other / imageWidth - row) < spacing;
        });
        if (!crowded) {
            pixels.push_back(row * imageWidth + column);
        }
    }
    return pixels;
}

// Every frequency wiggles in its own way. The coefficients keep the measured phase growing with the true one:
// four times the first, twice the second and eight times the third stay far below 1 together.
void addWiggling(FrequencyCalibration& frequency, RandomStream& random) {
    const auto around = [&random](double value) { return value * (0.8 + 0.4 * random.uniform()); };
    const auto anyAngle = [&random] { return 6.0 * random.uniform() - 3.0; };
    frequency.phaseWigg = {toFloat(around(0.35)),  toFloat(around(0.018)), toFloat(anyAngle()),
                           toFloat(around(0.009)), toFloat(anyAngle()),    toFloat(around(0.0015)),
                           toFloat(anyAngle())};
    frequency.ampWigg = {toFloat(around(1.05)), toFloat(around(0.012)), toFloat(anyAngle()),
                         toFloat(around(0.02)), toFloat(anyAngle())};
}

// The parameters of the noise model that belong to these pixels: see docs/simulated-camera.md.
std::array<float, 4> makeNoiseParameter(const SensorProperties& sensor) {
    constexpr double roundingVariance = 1.0 / 12.0;
    return {toFloat(sensor.countsPerElectron / sensor.demodulationContrast),
            toFloat(2.0 * (sensor.readNoise * sensor.readNoise + roundingVariance)),
            toFloat(2.0 * sensor.countsPerElectron / sensor.intensityContrast),
            toFloat(sensor.suppressionKnee)};
}

FrequencyCalibration makeFrequency(const CalibrationRequest& request, std::uint32_t slot) {
    FrequencyCalibration frequency;
    frequency.frequency = toFloat(request.frequencies[slot]);
    RandomStream random(request.seed, RandomPurpose::Calibration, slot);
    if (request.wiggling) {
        addWiggling(frequency, random);
    }
    if (request.fixedPattern) {
        frequency.FPPN = makeFixedPatternPhase(request.seed, slot);
        frequency.xyCorrection = {toFloat(3.0 * random.normal()), toFloat(3.0 * random.normal())};
    } else {
        frequency.FPPN.assign(pixelCount, 0.0F);
    }
    frequency.refTemperature = toFloat(referenceTemperature);
    frequency.temperatureFactor = {2.1e-3F, -1.2e-5F, 1.5e-7F};
    frequency.noiseParameter = makeNoiseParameter(request.sensor);
    if (request.ambientDrift && slot < ambientDrifts.size() &&
        std::abs(request.frequencies[slot] / ambientDrifts[slot].frequency - 1.0) < 0.01) {
        frequency.ambientDriftFactor = ambientDrifts[slot].factor;
        frequency.ambientDriftAngle = ambientDrifts[slot].angle;
    }
    return frequency;
}

// Every frequency is followed by the next, the last by the first.
std::vector<HoppingEntry> makeHoppingTable(std::size_t frequencyCount) {
    std::vector<HoppingEntry> table;
    for (std::size_t k = 0; k < frequencyCount; ++k) {
        table.push_back(
            {static_cast<std::uint16_t>(k), static_cast<std::uint16_t>((k + 1) % frequencyCount), 1});
    }
    return table;
}

void check(const std::vector<double>& frequencies) {
    if (frequencies.empty() || frequencies.size() > largestFrequencyCount) {
        throw std::invalid_argument("A calibration holds one to four modulation frequencies.");
    }
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
        if (const std::string fault = frequencyFault(frequencies[k]); !fault.empty()) {
            throw std::invalid_argument(fault);
        }
        if (std::count(frequencies.begin(), frequencies.end(), frequencies[k]) != 1) {
            throw std::invalid_argument("The modulation frequencies must differ.");
        }
    }
}

}  // namespace

std::string frequencyFault(double hertz) {
    if (hertz >= leastFrequency && hertz <= largestFrequency) {
        return "";
    }
    std::ostringstream text;
    text << "A modulation frequency is from 1 MHz to 1 GHz, not " << hertz << " Hz";
    if (hertz > 0.0 && hertz < leastFrequency) {
        text << "; a unit may be missing, as in 60MHz";
    }
    text << ".";
    return text.str();
}

Calibration makeCalibration(const CalibrationRequest& request) {
    check(request.frequencies);
    Calibration calibration;
    calibration.lens = makeLens();
    const std::vector<Vector> rays = pixelRays(calibration.lens);
    calibration.unitVectors = makeUnitVectors(rays);
    calibration.vignetting = makeVignetting(rays);
    for (std::uint32_t slot = 0; slot < request.frequencies.size(); ++slot) {
        calibration.frequencies.push_back(makeFrequency(request, slot));
    }
    calibration.frequencyHoppingTable = makeHoppingTable(request.frequencies.size());
    calibration.minDiff = 100;
    calibration.maxDiff = 3995;
    calibration.FPN = makeDarkLevels(request);
    if (request.fixedPattern) {
        calibration.badPixelIdx = makeBadPixels(request.seed);
    }
    calibration.sensor = request.sensor;
    return calibration;
}

}  // namespace simulation
