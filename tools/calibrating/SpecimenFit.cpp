// SPDX-License-Identifier: Apache-2.0

#include "calibrating/SpecimenFit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include "calibrating/CalibrationChecks.h"
#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "calibrating/NeutralCalibration.h"
#include "simulation/Image.h"

namespace calibrating {
namespace {

constexpr double turn = 2.0 * std::numbers::pi;
constexpr double fullCoverage = 0.9;  // of a turn, from which harmonics are known everywhere
constexpr double largeError = 0.002;  // radians, of a harmonic
constexpr double largeSpread = 2.0;   // kelvin, from which a drift is fitted

// What the recordings are to tell is neutral; what they do not tell is kept.
CameraDescription baseOf(const SpecimenRequest& request) {
    CameraDescription camera =
        request.camera ? *request.camera : cameraOfRecording(request.scenes.at(0).recording);
    for (simulation::FrequencyCalibration& frequency : camera.calibration.frequencies) {
        simulation::FrequencyCalibration base;
        base.frequency = frequency.frequency;
        base.ampWigg[0] = frequency.ampWigg[0];
        base.FPPN.assign(simulation::pixelCount, 0.0F);
        if (request.camera) {
            base.refTemperature = frequency.refTemperature;
            base.temperatureFactor = frequency.temperatureFactor;
        }
        frequency = std::move(base);
    }
    camera.calibration.badPixelIdx.clear();
    camera.unusedBadPixelIdx.clear();
    if (const std::vector<Fault> faults = faultsOf(camera); !faults.empty()) {
        throw CalibrationError(textOf(faults));
    }
    return camera;
}

double coverageOf(const std::vector<PhaseResidual>& residuals) {
    constexpr std::size_t bins = 64;
    constexpr std::size_t fewest = 100;  // pixels in a bin that is covered
    std::array<std::size_t, bins> counts{};
    for (const PhaseResidual& residual : residuals) {
        const double share = residual.shown / turn + 0.5;
        ++counts[std::min(static_cast<std::size_t>(share * bins), bins - 1)];
    }
    const auto covered = std::ranges::count_if(counts, [](std::size_t count) { return count >= fewest; });
    return static_cast<double>(covered) / static_cast<double>(bins);
}

template <typename Value>
ResidualFigures figuresOf(const std::vector<PhaseResidual>& residuals, double millimetres, Value value) {
    std::vector<double> sizes;
    sizes.reserve(residuals.size());
    for (const PhaseResidual& residual : residuals) {
        sizes.push_back(millimetres * std::abs(value(residual)));
    }
    std::ranges::sort(sizes);
    return sizes.empty() ? ResidualFigures{}
                         : ResidualFigures{sizes[sizes.size() / 2], sizes[sizes.size() * 99 / 100]};
}

FrequencyResult fitFrequency(const std::vector<ObservedScene>& scenes, std::size_t slot,
                             const simulation::FrequencyCalibration& base) {
    FrequencyResult result;
    result.noise = fitNoise(scenes, slot);
    result.phase = fitPhase(scenes, slot, base, result.noise);
    result.amplitude = fitAmplitude(scenes, slot, result.phase.calibration, result.noise);
    result.phase.calibration.ampWigg = result.amplitude.ampWigg;
    if (result.noise.isMeasured) {
        result.phase.calibration.noiseParameter = {static_cast<float>(result.noise.shot),
                                                   static_cast<float>(result.noise.read), 0.0F, 0.0F};
    }
    const double millimetres = 1000.0 * metresPerRadian(base);
    const std::vector<PhaseResidual>& residuals = result.phase.residuals;
    result.coverage = coverageOf(residuals);
    result.before = figuresOf(residuals, millimetres, [](const PhaseResidual& r) { return r.before; });
    result.after = figuresOf(residuals, millimetres, [](const PhaseResidual& r) { return r.after; });
    return result;
}

void tell(const FrequencyResult& result, std::vector<std::string>& findings) {
    const std::string name =
        fmt::format("{:g} MHz", static_cast<double>(result.phase.calibration.frequency) / 1.0e6);
    if (result.coverage < fullCoverage) {
        findings.push_back(
            fmt::format("At {} the recordings show {:.0f} % of a turn of the phase; what lies between is "
                        "not known. Take more distances.",
                        name, 100.0 * result.coverage));
    }
    const double worst =
        std::max({result.phase.phaseErrors[1], result.phase.phaseErrors[3], result.phase.phaseErrors[5]});
    if (worst > largeError) {
        findings.push_back(
            fmt::format("At {} the harmonics are known to {:.1f} mrad only. Take more distances or "
                        "frames.",
                        name, 1000.0 * worst));
    }
    if (!result.amplitude.isMeasured) {
        findings.push_back(
            fmt::format("At {} the amplitudes are not those of one wall, so their harmonics stay 0.", name));
    }
    if (!result.noise.isMeasured) {
        findings.push_back(
            fmt::format("At {} the noise is not known: it takes recordings of 4 frames or more.", name));
    }
    const std::size_t rows = result.phase.rows + result.phase.outliers;
    if (20 * result.phase.outliers > rows) {
        findings.push_back(
            fmt::format("At {} {} of {} phases do not fit with the others; the distances may be wrong.", name,
                        result.phase.outliers, rows));
    }
}

void setBadPixels(Specimen& specimen) {
    for (const BadPixel& bad : specimen.badPixels) {
        if (specimen.camera.calibration.badPixelIdx.size() < simulation::largestBadPixelCount) {
            specimen.camera.calibration.badPixelIdx.push_back(bad.index);
        }
    }
    if (specimen.badPixels.size() > simulation::largestBadPixelCount) {
        specimen.findings.push_back(
            fmt::format("{} pixels are bad, and a calibration has room for {}: the worst are in it.",
                        specimen.badPixels.size(), simulation::largestBadPixelCount));
    }
}

// No calibration that would be refused leaves this room.
void check(const CameraDescription& camera) {
    if (const std::vector<Fault> faults = faultsOf(camera); !faults.empty()) {
        throw CalibrationError("What these recordings tell makes no calibration; take more distances.\n" +
                               textOf(faults));
    }
}

}  // namespace

double metresPerRadian(const simulation::FrequencyCalibration& frequency) {
    return simulation::uniqueRange(static_cast<double>(frequency.frequency)) / turn;
}

Specimen calibrate(const SpecimenRequest& request) {
    Specimen specimen;
    specimen.camera = baseOf(request);
    std::vector<ObservedScene> scenes;
    for (const SceneRequest& scene : request.scenes) {
        scenes.push_back(observe(scene, specimen.camera));
        specimen.scenes.push_back(scenes.back().name);
    }
    std::vector<NoiseFit> noise;
    std::vector<std::vector<double>> squares;
    auto& frequencies = specimen.camera.calibration.frequencies;
    for (std::size_t slot = 0; slot < frequencies.size(); ++slot) {
        FrequencyResult result = fitFrequency(scenes, slot, frequencies[slot]);
        frequencies[slot] = result.phase.calibration;
        noise.push_back(result.noise);
        squares.push_back(result.phase.squares);
        tell(result, specimen.findings);
        specimen.frequencies.push_back(std::move(result));
    }
    const PhaseFit& first = specimen.frequencies.at(0).phase;
    if (first.temperatureFactors == 0) {
        specimen.findings.push_back(fmt::format(
            "The temperatures differ by {:.1f} K, less than {:.0f} K: {}.", first.temperatureSpread,
            largeSpread,
            request.camera
                ? "the drift of the given camera is kept"
                : fmt::format("the drift is not known, and distances hold at {:.1f} degrees Celsius",
                              static_cast<double>(first.calibration.refTemperature))));
    }
    specimen.badPixels = findBadPixels(scenes, noise, squares);
    setBadPixels(specimen);
    check(specimen.camera);
    return specimen;
}

}  // namespace calibrating
