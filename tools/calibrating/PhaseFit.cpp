// SPDX-License-Identifier: Apache-2.0

#include "calibrating/PhaseFit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

#include "calibrating/CalibrationError.h"
#include "calibrating/PixelwiseFit.h"
#include "simulation/Image.h"

namespace calibrating {
namespace {

using simulation::pixelCount;

constexpr double turn = 2.0 * std::numbers::pi;
constexpr int rounds = 5;  // the offsets of X and Y act through the phase; each round makes them better
constexpr double outlierLimit = 6.0;       // deviations
constexpr double modelDeviation = 2.0e-4;  // radians, that no noise explains
constexpr double leastCoherence = 0.7;
constexpr double leastAmplitude = 5.0;  // counts; below, a phase says nothing

// The places of the parameters among the regressors.
constexpr int fourth = 0;  // sine and cosine of four times the shown phase
constexpr int second = 2;
constexpr int eighth = 4;
constexpr int offsetX = 6;
constexpr int offsetY = 7;
constexpr int drift = 8;  // of the first, second and third power of the warming

// As large as harmonics of sensors (radians), offsets (counts) and drifts (radians per kelvin and its powers)
// may be.
constexpr std::array prior{0.03, 0.03, 0.03, 0.03, 0.03, 0.03, 50.0, 50.0, 0.05, 0.005, 5.0e-4};

// Temperatures tell so many powers of a drift.
int powersIn(double spread, std::size_t steps) {
    constexpr std::array leastSpread{2.0, 8.0, 20.0};  // kelvin
    int powers = 0;
    while (powers < 3 && spread >= leastSpread[static_cast<std::size_t>(powers)] &&
           steps >= static_cast<std::size_t>(powers) + 2) {
        ++powers;
    }
    return powers;
}

double middleOf(std::vector<double>& values) {
    if (values.empty()) {
        return 0.0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

class Fitter {
 public:
    Fitter(const std::vector<ObservedScene>& scenes, std::size_t frequency,
           const simulation::FrequencyCalibration& given, const NoiseFit& noise)
        : given_(given),
          noise_(noise),
          radiansPerMetre_(turn / simulation::uniqueRange(static_cast<double>(given.frequency))) {
        for (std::size_t k = 0; k < scenes.size(); ++k) {
            for (const Observation& observation : scenes[k].observations) {
                if (observation.frequency == frequency) {
                    entries_.push_back({k, &scenes[k], &observation});
                }
            }
        }
        if (entries_.empty()) {
            throw CalibrationError(fmt::format("No recording has images of frequency {}.", frequency));
        }
        readTemperatures();
        findOffset();
    }

    PhaseFit fit() {
        Regressors parameters = Regressors::Zero();
        SharedParameters solution;
        std::array<double, 2> offsets{};
        const int count = drift + powers_;
        const std::span<const double> priors(prior.data(), static_cast<std::size_t>(count));
        std::vector<PixelRow> rows;
        for (int round = 0; round < rounds; ++round) {
            PixelwiseFit shared(priors);
            for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
                readRows(pixel, offsets, round == 0 ? nullptr : &parameters, rows);
                shared.add(rows);
            }
            solution = shared.solve();
            parameters = solution.values;
            // Values are taken with the new offsets from now on, so nothing is left of these regressors.
            offsets[0] += parameters[offsetX];
            offsets[1] += parameters[offsetY];
            parameters[offsetX] = parameters[offsetY] = 0.0;
        }
        return result(parameters, solution.errors, offsets);
    }

 private:
    struct Entry {
        std::size_t number;
        const ObservedScene* scene;
        const Observation* observation;
    };

    void readTemperatures() {
        std::vector<double> temperatures;
        for (const Entry& entry : entries_) {
            temperatures.push_back(entry.observation->temperature);
        }
        std::ranges::sort(temperatures);
        spread_ = temperatures.back() - temperatures.front();
        std::size_t steps = 1;
        for (std::size_t k = 1; k < temperatures.size(); ++k) {
            steps += temperatures[k] - temperatures[k - 1] > 1.0 ? 1U : 0U;
        }
        powers_ = powersIn(spread_, steps);
        const double mean = std::accumulate(temperatures.begin(), temperatures.end(), 0.0) /
                            static_cast<double>(temperatures.size());
        const bool isDriftGiven =
            std::ranges::any_of(given_.temperatureFactor, [](float f) { return f != 0.0F; });
        reference_ = powers_ == 0 && isDriftGiven ? static_cast<double>(given_.refTemperature)
                                                  : std::round(10.0 * mean) / 10.0;
    }

    // Shown minus true phase that is known beforehand, of one observation.
    double knownDrift(const Observation& observation) const {
        if (powers_ > 0) {
            return 0.0;
        }
        const double warming = observation.temperature - reference_;
        const auto factor = [&](std::size_t k) { return static_cast<double>(given_.temperatureFactor[k]); };
        return (factor(0) + (factor(1) + factor(2) * warming) * warming) * warming;
    }

    bool counts(const Entry& entry, std::size_t pixel) const {
        return entry.observation->isGood[pixel] != 0 && entry.scene->distance[pixel] > 0.0F &&
               std::hypot(entry.observation->X[pixel], entry.observation->Y[pixel]) >
                   static_cast<float>(leastAmplitude);
    }

    double truePhase(const Entry& entry, std::size_t pixel) const {
        return static_cast<double>(entry.scene->distance[pixel]) * radiansPerMetre_ +
               knownDrift(*entry.observation);
    }

    // The mean of shown minus true phases, on the circle.
    void findOffset() {
        std::complex<double> sum;
        std::complex<double> reversed;
        std::size_t count = 0;
        for (const Entry& entry : entries_) {
            for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
                if (counts(entry, pixel)) {
                    const double shown = std::atan2(static_cast<double>(entry.observation->Y[pixel]),
                                                    static_cast<double>(entry.observation->X[pixel]));
                    sum += std::polar(1.0, shown - truePhase(entry, pixel));
                    reversed += std::polar(1.0, -shown - truePhase(entry, pixel));
                    ++count;
                }
            }
        }
        if (count == 0) {
            throw CalibrationError("No pixel has a good phase and a known distance.");
        }
        coherence_ = std::abs(sum) / static_cast<double>(count);
        offset_ = std::arg(sum);
        if (!(coherence_ >= leastCoherence)) {
            throw CalibrationError(
                fmt::format("At {:.2f} MHz the phases do not agree with the distances: coherence {:.3f}, and "
                            "{:.3f} the other way "
                            "round. Check the distances, the frequency and the order of the phases.",
                            static_cast<double>(given_.frequency) / 1.0e6, coherence_,
                            std::abs(reversed) / static_cast<double>(count)));
        }
    }

    // The rows of a pixel, one for each observation; weight 0 where it does not count. With parameters,
    // outliers do not count, either.
    void readRows(std::size_t pixel, const std::array<double, 2>& offsets, const Regressors* parameters,
                  std::vector<PixelRow>& rows) const {
        rows.clear();
        for (const Entry& entry : entries_) {
            rows.push_back(counts(entry, pixel) ? rowOf(entry, pixel, offsets) : PixelRow{});
        }
        if (parameters == nullptr) {
            return;
        }
        const double constant = medianOf(rows, *parameters);
        for (PixelRow& row : rows) {
            const double left = row.value - row.regressors.dot(*parameters) - constant;
            row.weight = left * left * row.weight > outlierLimit * outlierLimit ? 0.0 : row.weight;
        }
    }

    PixelRow rowOf(const Entry& entry, std::size_t pixel, const std::array<double, 2>& offsets) const {
        const Observation& observation = *entry.observation;
        const double x = static_cast<double>(observation.X[pixel]) - offsets[0];
        const double y = static_cast<double>(observation.Y[pixel]) - offsets[1];
        const double amplitude = std::max(std::hypot(x, y), leastAmplitude);
        const double shown = std::atan2(y, x);
        PixelRow row;
        row.value = std::remainder(shown - truePhase(entry, pixel) - offset_, turn);
        const double variance =
            noise_.varianceAt(amplitude) / (amplitude * amplitude * static_cast<double>(observation.frames));
        row.weight = 1.0 / (variance + modelDeviation * modelDeviation);
        const std::complex<double> one(x / amplitude, y / amplitude);
        const std::complex<double> twice = one * one;
        const std::complex<double> four = twice * twice;
        const std::complex<double> eight = four * four;
        row.regressors[fourth] = four.imag();
        row.regressors[fourth + 1] = four.real();
        row.regressors[second] = twice.imag();
        row.regressors[second + 1] = twice.real();
        row.regressors[eighth] = eight.imag();
        row.regressors[eighth + 1] = eight.real();
        row.regressors[offsetX] = -one.imag() / amplitude;
        row.regressors[offsetY] = one.real() / amplitude;
        double power = 1.0;
        for (int k = 0; k < powers_; ++k) {
            power *= observation.temperature - reference_;
            row.regressors[drift + k] = power;
        }
        return row;
    }

    static double medianOf(const std::vector<PixelRow>& rows, const Regressors& parameters) {
        std::vector<double> left;
        for (const PixelRow& row : rows) {
            if (row.weight > 0.0) {
                left.push_back(row.value - row.regressors.dot(parameters));
            }
        }
        return middleOf(left);
    }

    PhaseFit result(const Regressors& parameters, const Regressors& errors,
                    const std::array<double, 2>& offsets) const {
        PhaseFit fit;
        fit.coherence = coherence_;
        fit.temperatureSpread = spread_;
        fit.temperatureFactors = powers_;
        fit.calibration = given_;
        setHarmonic(fit, 1, parameters, errors, fourth);
        setHarmonic(fit, 3, parameters, errors, second);
        setHarmonic(fit, 5, parameters, errors, eighth);
        for (std::size_t k = 0; k < 2; ++k) {
            fit.calibration.xyCorrection[k] = static_cast<float>(offsets[k]);
            fit.offsetErrors[k] = errors[offsetX + static_cast<int>(k)];
        }
        fit.calibration.refTemperature = static_cast<float>(reference_);
        if (powers_ > 0) {
            for (int k = 0; k < 3; ++k) {
                fit.calibration.temperatureFactor[static_cast<std::size_t>(k)] =
                    k < powers_ ? static_cast<float>(parameters[drift + k]) : 0.0F;
            }
        }
        setPattern(fit, parameters, offsets);
        return fit;
    }

    // p sin + q cos is a sine of this length and angle.
    static void setHarmonic(PhaseFit& fit, std::size_t place, const Regressors& parameters,
                            const Regressors& errors, int sine) {
        fit.calibration.phaseWigg[place] =
            static_cast<float>(std::hypot(parameters[sine], parameters[sine + 1]));
        fit.calibration.phaseWigg[place + 1] =
            static_cast<float>(std::atan2(parameters[sine + 1], parameters[sine]));
        fit.phaseErrors[place] = std::max(errors[sine], errors[sine + 1]);
    }

    // Of the constant of each pixel, the median over the image is the phase at distance 0.
    void setPattern(PhaseFit& fit, const Regressors& parameters, const std::array<double, 2>& offsets) const {
        std::vector<double> constants(pixelCount, 0.0);
        std::vector<double> known;
        std::vector<PixelRow> rows;
        fit.squares.assign(pixelCount, 0.0);
        for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
            readRows(pixel, offsets, &parameters, rows);
            constants[pixel] = constantOf(rows, parameters);
            addResiduals(fit, pixel, parameters, constants[pixel], rows);
            if (std::ranges::any_of(rows, [](const PixelRow& row) { return row.weight > 0.0; })) {
                known.push_back(constants[pixel]);
            } else {
                constants[pixel] = std::nan("");
            }
        }
        const double middle = middleOf(known);
        fit.calibration.phaseWigg[0] = static_cast<float>(std::remainder(offset_ + middle, turn));
        fit.calibration.FPPN.assign(pixelCount, 0.0F);
        for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
            if (!std::isnan(constants[pixel])) {
                fit.calibration.FPPN[pixel] = static_cast<float>(constants[pixel] - middle);
            }
        }
        centre(fit.residuals);
    }

    void addResiduals(PhaseFit& fit, std::size_t pixel, const Regressors& parameters, double constant,
                      const std::vector<PixelRow>& rows) const {
        constexpr std::array<double, 2> none{};
        std::vector<double> squares;
        for (std::size_t k = 0; k < entries_.size(); ++k) {
            if (!counts(entries_[k], pixel)) {
                continue;
            }
            const PixelRow raw = rowOf(entries_[k], pixel, none);
            const double after = rows[k].value - rows[k].regressors.dot(parameters) - constant;
            const Observation& observation = *entries_[k].observation;
            const double shown = std::atan2(static_cast<double>(observation.Y[pixel]),
                                            static_cast<double>(observation.X[pixel]));
            fit.residuals.push_back(
                {entries_[k].number, pixel, shown, raw.value, after, 1.0 / std::sqrt(raw.weight)});
            (rows[k].weight > 0.0 ? fit.rows : fit.outliers) += 1;
            squares.push_back(after * after * raw.weight);
        }
        fit.squares[pixel] = middleOf(squares);
    }

    // What an offset alone leaves has no mean.
    static void centre(std::vector<PhaseResidual>& residuals) {
        double mean = 0.0;
        for (const PhaseResidual& residual : residuals) {
            mean += residual.before;
        }
        mean /= static_cast<double>(std::max<std::size_t>(residuals.size(), 1));
        for (PhaseResidual& residual : residuals) {
            residual.before -= mean;
        }
    }

    const simulation::FrequencyCalibration& given_;
    const NoiseFit& noise_;
    double radiansPerMetre_;
    std::vector<Entry> entries_;
    double spread_ = 0.0;     // of the temperatures, kelvin
    double reference_ = 0.0;  // degrees Celsius
    int powers_ = 0;          // of the warming, that are fitted
    double offset_ = 0.0;     // radians, around which values lie
    double coherence_ = 0.0;
};

}  // namespace

PhaseFit fitPhase(const std::vector<ObservedScene>& scenes, std::size_t frequency,
                  const simulation::FrequencyCalibration& given, const NoiseFit& noise) {
    return Fitter(scenes, frequency, given, noise).fit();
}

}  // namespace calibrating
