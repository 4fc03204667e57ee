// SPDX-License-Identifier: Apache-2.0

#include "calibrating/AmplitudeFit.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "calibrating/PixelwiseFit.h"
#include "simulation/Image.h"

namespace calibrating {
namespace {

using simulation::pixelCount;

constexpr int fourth = 0;  // sine and cosine of four times the shown phase
constexpr int second = 2;
constexpr std::array prior{0.2, 0.2, 0.2, 0.2};
constexpr int rounds = 3;                  // for the logarithm of one plus the harmonics
constexpr double leastAmplitude = 20.0;    // counts
constexpr double mostSpread = 0.05;        // that may be left of a wall of one brightness
constexpr double modelDeviation = 1.0e-3;  // of the amplitude, that no noise explains

// The logarithm of what the harmonics, first the fourth, make of an amplitude of 1; less what is linear in
// them.
double curvature(const Regressors& harmonics, const Regressors& parameters) {
    const double linear = std::max(harmonics.dot(parameters), -0.9);
    return std::log1p(linear) - linear;
}

class Fitter {
 public:
    Fitter(const std::vector<ObservedScene>& scenes, std::size_t frequency,
           const simulation::FrequencyCalibration& calibration, const NoiseFit& noise)
        : scenes_(scenes), frequency_(frequency), calibration_(calibration), noise_(noise) {}

    AmplitudeFit fit() const {
        Regressors parameters = Regressors::Zero();
        SharedParameters solution;
        std::vector<PixelRow> rows;
        for (int round = 0; round < rounds; ++round) {
            PixelwiseFit shared(prior);
            for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
                readRows(pixel, parameters, rows, nullptr);
                shared.add(rows);
            }
            solution = shared.solve();
            parameters = solution.values;
        }
        AmplitudeFit fit;
        addResiduals(parameters, fit);
        fit.ampWigg[0] = calibration_.ampWigg[0];
        fit.isMeasured = spreadOf(fit.residuals) < mostSpread && fit.residuals.size() > pixelCount;
        if (fit.isMeasured) {
            setHarmonic(fit, 1, parameters, solution.errors, fourth);
            setHarmonic(fit, 3, parameters, solution.errors, second);
        }
        return fit;
    }

 private:
    void readRows(std::size_t pixel, const Regressors& parameters, std::vector<PixelRow>& rows,
                  std::vector<double>* shown) const {
        rows.clear();
        for (const ObservedScene& scene : scenes_) {
            for (const Observation& observation : scene.observations) {
                if (observation.frequency != frequency_ || observation.isGood[pixel] == 0 ||
                    !(scene.distance[pixel] > 0.0F)) {
                    continue;
                }
                const double x = static_cast<double>(observation.X[pixel] - calibration_.xyCorrection[0]);
                const double y = static_cast<double>(observation.Y[pixel] - calibration_.xyCorrection[1]);
                const double amplitude = std::hypot(x, y);
                if (amplitude < leastAmplitude || !(observation.exposureTime > 0.0)) {
                    continue;
                }
                rows.push_back(rowOf({x / amplitude, y / amplitude}, amplitude, observation,
                                     static_cast<double>(scene.distance[pixel]), parameters));
                if (shown != nullptr) {
                    shown->push_back(std::atan2(y, x));
                }
            }
        }
    }

    // Amplitude times harmonics is the light of the wall: its logarithm is a constant of the pixel.
    PixelRow rowOf(const std::complex<double>& one, double amplitude, const Observation& observation,
                   double distance, const Regressors& parameters) const {
        const std::complex<double> twice = one * one;
        const std::complex<double> four = twice * twice;
        PixelRow row;
        row.regressors[fourth] = four.imag();
        row.regressors[fourth + 1] = four.real();
        row.regressors[second] = twice.imag();
        row.regressors[second + 1] = twice.real();
        row.value = -std::log(amplitude * distance * distance / observation.exposureTime) -
                    curvature(row.regressors, parameters);
        const double variance =
            noise_.varianceAt(amplitude) / (amplitude * amplitude * static_cast<double>(observation.frames));
        row.weight = 1.0 / (variance + modelDeviation * modelDeviation);
        return row;
    }

    void addResiduals(const Regressors& parameters, AmplitudeFit& fit) const {
        const Regressors none = Regressors::Zero();
        std::vector<PixelRow> rows;
        for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
            readRows(pixel, parameters, rows, nullptr);
            std::vector<double> after;
            after.reserve(rows.size());
            const double constant = constantOf(rows, parameters);
            for (const PixelRow& row : rows) {
                after.push_back(row.value - row.regressors.dot(parameters) - constant);
            }
            std::vector<double> shown;
            readRows(pixel, none, rows, &shown);
            const double plain = constantOf(rows, none);
            for (std::size_t k = 0; k < rows.size(); ++k) {
                fit.residuals.push_back({shown[k], rows[k].value - plain, after[k]});
            }
        }
    }

    // Of what noise alone would leave, outliers are the most; so the median tells.
    static double spreadOf(const std::vector<AmplitudeResidual>& residuals) {
        std::vector<double> sizes;
        sizes.reserve(residuals.size());
        for (const AmplitudeResidual& residual : residuals) {
            sizes.push_back(std::abs(residual.after));
        }
        if (sizes.empty()) {
            return 1.0;
        }
        const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
        std::ranges::nth_element(sizes, middle);
        return 1.4826 * *middle;
    }

    void setHarmonic(AmplitudeFit& fit, std::size_t place, const Regressors& parameters,
                     const Regressors& errors, int sine) const {
        const double gain = static_cast<double>(calibration_.ampWigg[0]);
        fit.ampWigg[place] = static_cast<float>(gain * std::hypot(parameters[sine], parameters[sine + 1]));
        fit.ampWigg[place + 1] = static_cast<float>(std::atan2(parameters[sine + 1], parameters[sine]));
        fit.errors[place] = gain * std::max(errors[sine], errors[sine + 1]);
    }

    const std::vector<ObservedScene>& scenes_;
    std::size_t frequency_;
    const simulation::FrequencyCalibration& calibration_;
    const NoiseFit& noise_;
};

}  // namespace

AmplitudeFit fitAmplitude(const std::vector<ObservedScene>& scenes, std::size_t frequency,
                          const simulation::FrequencyCalibration& calibration, const NoiseFit& noise) {
    return Fitter(scenes, frequency, calibration, noise).fit();
}

}  // namespace calibrating
