// SPDX-License-Identifier: Apache-2.0

#include "calibrating/BadPixels.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "simulation/Image.h"

namespace calibrating {
namespace {

using simulation::pixelCount;

constexpr double usableShare = 0.9;        // of the pixels, in an observation that tells of the others
constexpr double dimShare = 0.1;           // of the median amplitude
constexpr double levelLimit = 12.0;        // deviations of the mean sample over the image
constexpr double leastLevelLimit = 100.0;  // counts
constexpr double mostVarianceRatio = 1.8;
constexpr double mostResidualRatio = 16.0;
constexpr double noSignal = 1.0e9;  // severity

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return values.empty() ? 0.0 : *middle;
}

// What the observations say of each pixel.
struct Figures {
    std::vector<std::size_t> outside = std::vector<std::size_t>(pixelCount, 0);  // observations
    std::vector<std::size_t> dim = std::vector<std::size_t>(pixelCount, 0);
    std::size_t observations = 0;
    std::vector<double> variance = std::vector<double>(pixelCount, 0.0);  // over the expected one, sum
    std::vector<double> freedom = std::vector<double>(pixelCount, 0.0);   // degrees of it
    std::vector<double> level = std::vector<double>(pixelCount, 0.0);
};

void addAmplitudes(const Observation& observation, Figures& figures) {
    std::vector<double> amplitudes;
    for (std::size_t i = 0; i < pixelCount; ++i) {
        amplitudes.push_back(
            std::hypot(static_cast<double>(observation.X[i]), static_cast<double>(observation.Y[i])));
    }
    const double least = dimShare * medianOf(amplitudes);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        figures.outside[i] += observation.isGood[i] == 0 ? 1U : 0U;
        figures.dim[i] += amplitudes[i] < least ? 1U : 0U;
    }
}

void addVariances(const Observation& observation, const NoiseFit& noise, Figures& figures) {
    if (!noise.isMeasured || observation.frames < 2) {
        return;
    }
    const double freedom = 2.0 * static_cast<double>(observation.frames - 1);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (observation.isGood[i] != 0) {
            const double amplitude =
                std::hypot(static_cast<double>(observation.X[i]), static_cast<double>(observation.Y[i]));
            figures.variance[i] +=
                freedom * static_cast<double>(observation.variance[i]) / noise.varianceAt(amplitude);
            figures.freedom[i] += freedom;
        }
    }
}

Figures figuresOf(const std::vector<ObservedScene>& scenes, const std::vector<NoiseFit>& noise) {
    Figures figures;
    for (const ObservedScene& scene : scenes) {
        for (const Observation& observation : scene.observations) {
            const auto good = std::ranges::count(observation.isGood, std::uint8_t{1});
            if (static_cast<double>(good) < usableShare * static_cast<double>(pixelCount)) {
                continue;
            }
            ++figures.observations;
            addAmplitudes(observation, figures);
            addVariances(observation, noise.at(observation.frequency), figures);
            for (std::size_t i = 0; i < pixelCount; ++i) {
                figures.level[i] += static_cast<double>(observation.level[i]);
            }
        }
    }
    return figures;
}

class Judge {
 public:
    explicit Judge(const Figures& figures) : figures_(figures) {
        middle_ = medianOf(figures.level);
        std::vector<double> deviations;
        for (const double level : figures.level) {
            deviations.push_back(std::abs(level - middle_));
        }
        levelDeviation_ = 1.4826 * medianOf(deviations);
    }

    // Severity 0 for a good pixel.
    BadPixel judge(std::size_t pixel, double residualRatio) const {
        BadPixel bad{static_cast<std::int32_t>(pixel), "", 0.0};
        const double count = static_cast<double>(figures_.observations);
        if (2 * figures_.outside[pixel] > figures_.observations) {
            bad.reason = fmt::format("samples at a limit in {} of {} observations", figures_.outside[pixel],
                                     figures_.observations);
            bad.severity = noSignal;
        } else if (2 * figures_.dim[pixel] > figures_.observations) {
            bad.reason = "hardly a signal where the others have one";
            bad.severity = noSignal;
        }
        if (residualRatio > mostResidualRatio && residualRatio > bad.severity) {
            bad.reason = fmt::format("distances off by {:.1f} times their noise", std::sqrt(residualRatio));
            bad.severity = residualRatio;
        }
        if (figures_.freedom[pixel] > 0.0) {
            const double ratio = figures_.variance[pixel] / figures_.freedom[pixel];
            const double limit =
                1.0 + std::max(mostVarianceRatio - 1.0, 8.0 * std::sqrt(2.0 / figures_.freedom[pixel]));
            if (ratio > limit && ratio > bad.severity) {
                bad.reason = fmt::format("{:.1f} times the noise of the others", std::sqrt(ratio));
                bad.severity = ratio;
            }
        }
        const double off = std::abs(figures_.level[pixel] - middle_);
        if (off > std::max(levelLimit * levelDeviation_, leastLevelLimit * count) && bad.severity == 0.0) {
            bad.reason = fmt::format("samples {:.0f} counts from those of the others", off / count);
            bad.severity = 1.0;
        }
        return bad;
    }

 private:
    const Figures& figures_;
    double middle_ = 0.0;
    double levelDeviation_ = 0.0;
};

}  // namespace

std::vector<BadPixel> findBadPixels(const std::vector<ObservedScene>& scenes,
                                    const std::vector<NoiseFit>& noise,
                                    const std::vector<std::vector<double>>& squares) {
    const Figures figures = figuresOf(scenes, noise);
    std::vector<BadPixel> all;
    if (figures.observations == 0) {
        return all;
    }
    const Judge judge(figures);
    std::vector<double> usual;
    usual.reserve(squares.size());
    for (const std::vector<double>& one : squares) {
        usual.push_back(std::max(medianOf(one), 1.0e-12));
    }
    for (std::size_t i = 0; i < pixelCount; ++i) {
        double ratio = 0.0;
        for (std::size_t f = 0; f < squares.size(); ++f) {
            ratio = std::max(ratio, squares[f][i] / usual[f]);
        }
        if (BadPixel bad = judge.judge(i, ratio); bad.severity > 0.0) {
            all.push_back(std::move(bad));
        }
    }
    std::ranges::stable_sort(all,
                             [](const BadPixel& a, const BadPixel& b) { return a.severity > b.severity; });
    return all;
}

}  // namespace calibrating
