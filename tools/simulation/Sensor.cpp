// SPDX-License-Identifier: Apache-2.0

#include "simulation/Sensor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

#include "simulation/Elementary.h"
#include "simulation/Image.h"
#include "simulation/NoiseModel.h"
#include "simulation/PhaseResponse.h"
#include "simulation/Random.h"

namespace simulation {
namespace {

constexpr double largestSample = 4095.0;
constexpr double leastCounts = 1e-9;   // less is no light: the transform leaves that much everywhere
constexpr double hotElectrons = 40.0;  // dark current of a hot pixel, electrons per microsecond, into one tap

// Along badPixelIdx the defects repeat in this order.
constexpr std::array badPixelDefects{PixelDefect::StuckLow, PixelDefect::StuckHigh, PixelDefect::Hot};

std::uint16_t toSample(double counts) {
    return static_cast<std::uint16_t>(std::floor(std::clamp(counts, 0.0, largestSample) + 0.5));
}

// Phase, radians, that the warmth of the illumination adds.
double temperatureDrift(const FrequencyCalibration& frequency, double temperature) {
    const double rise = temperature - static_cast<double>(frequency.refTemperature);
    const auto factor = [&](std::size_t k) { return static_cast<double>(frequency.temperatureFactor[k]); };
    return (factor(0) + (factor(1) + factor(2) * rise) * rise) * rise;
}

// Scatters the light in the phasors that identical pixels would show: there, light adds up.
void scatter(std::vector<double>& phase, std::vector<double>& amplitude, const PhaseResponse& response,
             const Straylight& straylight) {
    std::vector<std::complex<double>> phasors(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (amplitude[i] > 0.0) {
            const double shown = response.shownPhase(phase[i]);
            const SineCosine direction = sineAndCosine(shown);
            const double length = amplitude[i] / response.amplitudeFactor(shown);
            phasors[i] = {length * direction.cosine, length * direction.sine};
        }
    }
    straylight.addTo(phasors);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const double length =
            std::sqrt(phasors[i].real() * phasors[i].real() + phasors[i].imag() * phasors[i].imag());
        if (length < leastCounts) {
            phase[i] = 0.0;
            amplitude[i] = 0.0;
            continue;
        }
        const double shown = angleOf(phasors[i].imag(), phasors[i].real());
        phase[i] = response.truePhase(shown);
        amplitude[i] = length * response.amplitudeFactor(shown);
    }
}

}  // namespace

Sensor::Sensor(const Calibration& calibration, std::uint64_t seed, bool photonNoise)
    : calibration_(calibration),
      seed_(seed),
      photonNoise_(photonNoise),
      defects_(pixelCount, PixelDefect::None) {
    for (std::size_t k = 0; k < calibration.badPixelIdx.size(); ++k) {
        defects_.at(static_cast<std::size_t>(calibration.badPixelIdx[k])) =
            badPixelDefects[k % badPixelDefects.size()];
    }
}

Sensor::Arrival Sensor::arrivalOf(const ReturnedLight& light, const FrequencyCalibration& frequency,
                                  double exposureTime, double temperature) const {
    const double range = uniqueRange(static_cast<double>(frequency.frequency));
    const double radiansPerMetre = 2.0 * pi / range;
    const double drift = temperatureDrift(frequency, temperature);
    Arrival arrival{std::vector<double>(pixelCount), std::vector<double>(pixelCount)};
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (light.distance[i] > 0.0) {
            const double turns = light.distance[i] / range;
            const double wrapped = light.distance[i] - std::floor(turns) * range;
            arrival.phase[i] = wrapped * radiansPerMetre + drift;
            arrival.amplitude[i] =
                light.amplitude[i] * exposureTime / static_cast<double>(calibration_.vignetting[i]);
        }
    }
    return arrival;
}

PhaseSignal Sensor::expose(const ReturnedLight& light, std::size_t frequencyIndex, double exposureTime,
                           double temperature, const Straylight* straylight) const {
    const FrequencyCalibration& frequency = calibration_.frequencies.at(frequencyIndex);
    const SensorProperties& sensor = calibration_.sensor;
    const PhaseResponse response(frequency.phaseWigg, frequency.ampWigg);
    const double hertz = static_cast<double>(frequency.frequency);
    // The difference of two samples holds the contrast's share of the charge twice.
    const double electronsPerCount = 1.0 / (2.0 * sensor.countsPerElectron * sensor.demodulationContrast);
    const SineCosine driftDirection = sineAndCosine(static_cast<double>(frequency.ambientDriftAngle));
    const double driftPerElectron = static_cast<double>(frequency.ambientDriftFactor) *
                                    sensor.countsPerElectron * sensor.intensityContrast;

    Arrival arrival = arrivalOf(light, frequency, exposureTime, temperature);
    if (straylight != nullptr) {
        scatter(arrival.phase, arrival.amplitude, response, *straylight);
    }

    PhaseSignal signal;
    signal.exposureTime = exposureTime;
    for (std::vector<double>* image :
         {&signal.inPhase, &signal.quadrature, &signal.electrons, &signal.offsetX, &signal.offsetY,
          &signal.rawAmplitude, &signal.distanceDeviation}) {
        image->resize(pixelCount);
    }
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const double ambientElectrons = light.ambient[i] * exposureTime;
        const double ambientDrift = driftPerElectron * ambientElectrons;
        signal.offsetX[i] =
            static_cast<double>(frequency.xyCorrection[0]) + ambientDrift * driftDirection.cosine;
        signal.offsetY[i] =
            static_cast<double>(frequency.xyCorrection[1]) + ambientDrift * driftDirection.sine;
        signal.electrons[i] = ambientElectrons;
        const double atPixel = arrival.amplitude[i];
        if (!(atPixel > 0.0)) {
            continue;
        }
        const double phase = response.shownPhase(arrival.phase[i] + static_cast<double>(frequency.FPPN[i]));
        const double amplitude = atPixel / response.amplitudeFactor(phase);
        const SineCosine direction = sineAndCosine(phase);
        signal.inPhase[i] = amplitude * direction.cosine;
        signal.quadrature[i] = amplitude * direction.sine;
        signal.rawAmplitude[i] = amplitude;
        signal.electrons[i] += atPixel / static_cast<double>(frequency.ampWigg[0]) * electronsPerCount;
        signal.distanceDeviation[i] = distanceDeviation(
            varianceOfX(sensor, signal.electrons[i], photonNoise_), amplitude, response.slope(phase), hertz);
    }
    return signal;
}

std::vector<std::uint16_t> Sensor::samplePhase(const PhaseSignal& signal, int phase,
                                               std::uint32_t imageNumber) const {
    const bool inPhase = phase % 2 == 0;
    const double half = phase < 2 ? 0.5 : -0.5;
    const std::vector<double>& difference = inPhase ? signal.inPhase : signal.quadrature;
    const std::vector<double>& offset = inPhase ? signal.offsetX : signal.offsetY;
    std::vector<std::uint16_t> samples(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        samples[i] = convert(i, {signal.electrons[i], half * difference[i], half * offset[i]},
                             signal.exposureTime, imageNumber);
    }
    return samples;
}

std::vector<std::uint16_t> Sensor::sampleIntensity(const ReturnedLight& light, double exposureTime,
                                                   std::uint32_t imageNumber) const {
    const SensorProperties& sensor = calibration_.sensor;
    std::vector<std::uint16_t> samples(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const double electrons = light.ambient[i] * exposureTime;
        samples[i] =
            convert(i, {electrons, sensor.countsPerElectron * sensor.intensityContrast * electrons, 0.0},
                    exposureTime, imageNumber);
    }
    return samples;
}

std::uint16_t Sensor::convert(std::size_t pixel, const PixelCharge& charge, double exposureTime,
                              std::uint32_t imageNumber) const {
    const PixelDefect defect = defects_[pixel];
    if (defect == PixelDefect::StuckLow) {
        return 0;
    }
    if (defect == PixelDefect::StuckHigh) {
        return static_cast<std::uint16_t>(largestSample);
    }
    const SensorProperties& sensor = calibration_.sensor;
    const double difference = charge.difference / sensor.countsPerElectron;
    double tapA = std::max(0.0, 0.5 * (charge.electrons + difference));
    double tapB = std::max(0.0, 0.5 * (charge.electrons - difference));
    if (defect == PixelDefect::Hot) {
        tapA += hotElectrons * exposureTime;
    }
    if (tapA > sensor.tapCapacity || tapB > sensor.tapCapacity) {
        return tapA >= tapB ? static_cast<std::uint16_t>(largestSample) : 0;
    }
    double readNoise = 0.0;
    if (photonNoise_) {
        RandomStream random(seed_, RandomPurpose::SensorNoise, imageNumber,
                            static_cast<std::uint32_t>(pixel));
        const double shot = 2.0 * sensor.countsPerElectron * sensor.countsPerElectron * (tapA + tapB);
        const double excess = shot > sensor.suppressionKnee ? 0.5 * (shot - sensor.suppressionKnee) : 0.0;
        tapA = random.poisson(tapA);
        tapB = random.poisson(tapB);
        readNoise = std::sqrt(sensor.readNoise * sensor.readNoise + excess) * random.normal();
    }
    const double dark = static_cast<double>(calibration_.FPN[pixel]);
    return toSample(dark + charge.offset + sensor.countsPerElectron * (tapA - tapB) + readNoise);
}

}  // namespace simulation
