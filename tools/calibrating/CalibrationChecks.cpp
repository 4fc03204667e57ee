// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CalibrationChecks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>
#include <span>
#include <utility>

#include "simulation/Image.h"
#include "simulation/PhaseResponse.h"

namespace calibrating {
namespace {

constexpr double shortestRay = 0.5;        // a unit vector has length 1
constexpr double lengthTolerance = 0.01;   // of a ray, beyond which distances would be scaled
constexpr double mostTemperature = 200.0;  // degrees Celsius, of an illumination
constexpr double leastTemperature = -100.0;
constexpr std::size_t mostLines = 50;  // more help nobody
constexpr double turn = 2.0 * std::numbers::pi;

class Findings {
 public:
    void add(std::string key, std::string sentence) {
        faults_.push_back({std::move(key), std::move(sentence)});
    }

    // Whether all of them are numbers.
    bool areFinite(const std::string& key, std::span<const float> values) {
        const auto bad = std::ranges::count_if(values, [](float value) { return !std::isfinite(value); });
        if (bad > 0) {
            add(key, values.size() == 1
                         ? "The value is no finite number."
                         : fmt::format("{} of {} values are no finite numbers.", bad, values.size()));
        }
        return bad == 0;
    }
    bool isFinite(const std::string& key, double value) {
        const auto single = static_cast<float>(value);
        return areFinite(key, std::span<const float>(&single, 1));
    }

    std::vector<Fault> take() { return std::move(faults_); }

 private:
    std::vector<Fault> faults_;
};

std::string pixels(std::size_t count) {
    return fmt::format("{} pixel{}", count, count == 1 ? "" : "s");
}

void lookAtVignetting(const std::vector<float>& vignetting, Findings& findings) {
    const auto dark =
        std::ranges::count_if(vignetting, [](float factor) { return !(factor > 0.0F); });  // also NaN
    if (dark > 0) {
        findings.add("vignetting", fmt::format("The vignetting of {} is not above 0: they have no amplitude.",
                                               pixels(static_cast<std::size_t>(dark))));
        return;
    }
    findings.areFinite("vignetting", vignetting);
}

double lengthOfRay(const std::vector<float>& rays, std::size_t pixel) {
    const auto component = [&](std::size_t k) { return static_cast<double>(rays[3 * pixel + k]); };
    return std::sqrt(component(0) * component(0) + component(1) * component(1) + component(2) * component(2));
}

void lookAtRays(const std::vector<float>& rays, Findings& findings) {
    std::size_t bad = 0;
    for (std::size_t i = 0; i < rays.size() / 3; ++i) {
        bad += lengthOfRay(rays, i) > shortestRay ? 0U : 1U;  // also for NaN
    }
    if (bad > 0) {
        findings.add(
            "unitVectors",
            fmt::format("The rays of {} have no length: their points lie in the camera.", pixels(bad)));
        return;
    }
    findings.areFinite("unitVectors", rays);
}

// With the harmonics of the phase too large, two distances have the same phase; with those of the amplitude,
// it becomes 0 or negative.
void lookAtHarmonics(const simulation::FrequencyCalibration& frequency, const std::string& key,
                     std::size_t number, Findings& findings) {
    constexpr int steps = 1024;
    const simulation::PhaseResponse response(frequency.phaseWigg, frequency.ampWigg);
    double leastSlope = 1.0;
    double leastFactor = static_cast<double>(frequency.ampWigg[0]);
    for (int k = 0; k < steps; ++k) {
        const double phase = turn * k / steps;
        leastSlope = std::min(leastSlope, response.slope(phase));
        leastFactor = std::min(leastFactor, response.amplitudeFactor(phase));
    }
    if (!(leastSlope > 0.0)) {
        findings.add(
            key + ".phaseWigg",
            fmt::format("With the harmonics of frequency {} the phase does not grow with the distance "
                        "everywhere: two distances would look the same.",
                        number));
    }
    if (!(leastFactor > 0.0)) {
        findings.add(
            key + ".ampWigg",
            fmt::format("With the harmonics of frequency {} amplitudes would be 0 or negative.", number));
    }
}

// The pipeline brings a phase back into one turn by at most two turns.
void lookAtPhases(const simulation::FrequencyCalibration& frequency, const std::string& key,
                  std::size_t number, Findings& findings) {
    const auto [least, most] = std::ranges::minmax(frequency.FPPN);
    const double offset = static_cast<double>(frequency.phaseWigg[0]);
    const double furthest =
        std::max(std::abs(offset + static_cast<double>(least)), std::abs(offset + static_cast<double>(most)));
    if (furthest > 3.0 * std::numbers::pi - 1.0) {
        findings.add(key + ".FPPN",
                     fmt::format("phaseWigg[0] and FPPN of frequency {} are up to {:.1f} radians together, "
                                 "where at most one turn is of use.",
                                 number, furthest));
    }
}

void lookAtFrequency(const simulation::FrequencyCalibration& frequency, std::size_t number,
                     Findings& findings) {
    const std::string key = fmt::format("frequencies[{}]", number);
    const double hertz = static_cast<double>(frequency.frequency);
    if (const std::string fault = simulation::frequencyFault(hertz); !fault.empty()) {
        findings.add(key + ".frequency",
                     fmt::format("The calibration has {} as frequency {}, where hertz are due, such as 2e7.",
                                 hertz, number));
    }
    const bool hasAmplitude = findings.areFinite(key + ".ampWigg", frequency.ampWigg);
    const bool hasPhase = findings.areFinite(key + ".phaseWigg", frequency.phaseWigg);
    if (hasAmplitude && !(std::abs(frequency.ampWigg[0]) > 0.0F)) {
        findings.add(
            key + ".ampWigg",
            fmt::format("The amplitude factor of frequency {} is 0: no pixel has an amplitude.", number));
    } else if (hasAmplitude && hasPhase) {
        lookAtHarmonics(frequency, key, number, findings);
    }
    findings.areFinite(key + ".xyCorrection", frequency.xyCorrection);
    if (findings.areFinite(key + ".FPPN", frequency.FPPN) && hasPhase) {
        lookAtPhases(frequency, key, number, findings);
    }
    const double reference = static_cast<double>(frequency.refTemperature);
    if (!(reference >= leastTemperature && reference <= mostTemperature)) {
        findings.add(
            key + ".refTemperature",
            fmt::format("The reference temperature of frequency {} is {}, where degrees Celsius from "
                        "{} to {} are due.",
                        number, reference, leastTemperature, mostTemperature));
    }
    findings.areFinite(key + ".temperatureFactor", frequency.temperatureFactor);
    findings.areFinite(key + ".noiseParameter", frequency.noiseParameter);
}

void lookAtFrequencies(const CameraDescription& camera, Findings& findings) {
    const std::vector<simulation::FrequencyCalibration>& frequencies = camera.calibration.frequencies;
    std::set<float> seen;
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
        lookAtFrequency(frequencies[k], k, findings);
        if (frequencies[k].frequency > 0.0F && !seen.insert(frequencies[k].frequency).second) {
            findings.add(fmt::format("frequencies[{}].frequency", k),
                         fmt::format("The calibration has the frequency of {} Hz twice: two frequencies that "
                                     "are the same cannot tell distances apart.",
                                     frequencies[k].frequency));
        }
    }
}

void lookAtBadPixels(const std::vector<std::int32_t>& indices, Findings& findings) {
    std::set<std::int32_t> seen;
    for (const std::int32_t index : indices) {
        if (index < 0 || index >= static_cast<std::int32_t>(simulation::pixelCount)) {
            findings.add("badPixelIdx",
                         fmt::format("There is no pixel {}; they are from 0 to {}: row * {} + column.", index,
                                     simulation::pixelCount - 1, simulation::imageWidth));
        } else if (!seen.insert(index).second) {
            findings.add("badPixelIdx", fmt::format("Pixel {} is among the bad ones twice.", index));
        }
    }
}

void lookAtSamples(const CameraDescription& camera, Findings& findings) {
    const int least = camera.calibration.minDiff;
    const int most = camera.calibration.maxDiff;
    if (least >= most) {
        findings.add("minDiff", fmt::format("The least good sample, {}, is not below the greatest, {}: every "
                                            "pixel would be saturated.",
                                            least, most));
    }
    constexpr double largestSample = 4095.0;
    if (least > static_cast<int>(largestSample) || most < 0) {
        findings.add("maxDiff", fmt::format("The good samples are from {} to {}, and samples from 0 to 4095: "
                                            "every pixel would be saturated.",
                                            least, most));
    }
    if (!(std::abs(camera.mid) <= 1.0e10)) {
        findings.add("mid", "The sample without modulated light is no finite number up to 1e10.");
    }
}

void lookAtSettings(const CameraDescription& camera, Findings& findings) {
    const double count = static_cast<double>(camera.calibration.frequencies.size());
    if (findings.isFinite("maxUniqueRange", static_cast<double>(camera.maxUniqueRange))) {
        if (const std::string fault = rangeFault(static_cast<double>(camera.maxUniqueRange), count);
            !fault.empty()) {
            findings.add("maxUniqueRange", fault);
        }
    }
    findings.isFinite("straylight.absDistStraylightThreshold",
                      static_cast<double>(camera.straylight.distanceThreshold));
    findings.isFinite("straylight.relAmpStraylightThreshold",
                      static_cast<double>(camera.straylight.amplitudeThreshold));
}

void lookAtLens(const CameraDescription& camera, Findings& findings) {
    const simulation::Lens& lens = camera.calibration.lens;
    for (const auto& [name, value] :
         {std::pair{"fx", lens.fx}, std::pair{"fy", lens.fy}, std::pair{"mx", lens.mx},
          std::pair{"my", lens.my}, std::pair{"alpha", lens.alpha}, std::pair{"k1", lens.k1},
          std::pair{"k2", lens.k2}, std::pair{"k5", lens.k5}, std::pair{"k3", lens.k3},
          std::pair{"k4", lens.k4}}) {
        findings.isFinite(std::string("intrinsicCalibration.") + name, value);
    }
    findings.areFinite("intrinsicCalibration.internalTransRot", camera.internalTransRot);
}

}  // namespace

std::string rangeFault(double maxUniqueRange, double frequencyCount) {
    return frequencyCount == 2.0 && (maxUniqueRange == 0.0 || std::isnan(maxUniqueRange))
               ? fmt::format("maxUniqueRange is {} with two frequencies: they leave no distance.",
                             maxUniqueRange)
               : "";
}

std::vector<Fault> faultsOf(const CameraDescription& camera) {
    Findings findings;
    lookAtVignetting(camera.calibration.vignetting, findings);
    lookAtRays(camera.calibration.unitVectors, findings);
    lookAtFrequencies(camera, findings);
    lookAtBadPixels(camera.calibration.badPixelIdx, findings);
    lookAtSamples(camera, findings);
    lookAtLens(camera, findings);
    lookAtSettings(camera, findings);
    return findings.take();
}

std::vector<Fault> doubtsOf(const CameraDescription& camera) {
    Findings findings;
    const std::vector<std::int16_t>& dark = camera.calibration.FPN;
    const auto zeros = std::ranges::count(dark, std::int16_t{0});
    if (zeros > 0 && zeros < static_cast<std::ptrdiff_t>(dark.size())) {
        findings.add("FPN", fmt::format("The dark level of {} is 0: the whole table counts as absent.",
                                        pixels(static_cast<std::size_t>(zeros))));
    }
    std::size_t scaled = 0;
    for (std::size_t i = 0; i < camera.calibration.unitVectors.size() / 3; ++i) {
        const double length = lengthOfRay(camera.calibration.unitVectors, i);
        scaled += length > shortestRay && std::abs(length - 1.0) > lengthTolerance ? 1U : 0U;
    }
    if (scaled > 0) {
        findings.add(
            "unitVectors",
            fmt::format("The rays of {} are not of length 1: their points are scaled.", pixels(scaled)));
    }
    return findings.take();
}

std::string textOf(const std::vector<Fault>& faults) {
    std::string text;
    for (std::size_t k = 0; k < std::min(faults.size(), mostLines); ++k) {
        text += (k == 0 ? "" : "\n") + faults[k].key + ": " + faults[k].sentence;
    }
    return faults.size() > mostLines ? text + fmt::format("\n... and {} more.", faults.size() - mostLines)
                                     : text;
}

}  // namespace calibrating
