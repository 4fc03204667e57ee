// SPDX-License-Identifier: Apache-2.0

#include "calibrating/NoiseFit.h"

#include <Eigen/Core>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <utility>

namespace calibrating {
namespace {

constexpr std::size_t fewestFrames = 4;  // of an observation whose variance counts
constexpr std::size_t binCount = 24;     // with equally many pixels

// Amplitude and variance of good pixels, by rising amplitude.
std::vector<std::pair<float, float>> pixelsOf(const std::vector<ObservedScene>& scenes,
                                              std::size_t frequency) {
    std::vector<std::pair<float, float>> pixels;
    for (const ObservedScene& scene : scenes) {
        for (const Observation& observation : scene.observations) {
            if (observation.frequency != frequency || observation.frames < fewestFrames) {
                continue;
            }
            for (std::size_t i = 0; i < observation.X.size(); ++i) {
                if (observation.isGood[i] != 0 && observation.variance[i] > 0.0F) {
                    pixels.emplace_back(std::hypot(observation.X[i], observation.Y[i]),
                                        observation.variance[i]);
                }
            }
        }
    }
    std::ranges::sort(pixels);
    return pixels;
}

}  // namespace

double NoiseFit::readNoise() const {
    return std::sqrt(std::max(read, 0.0) / 2.0);  // X and Y are differences of two samples
}

NoiseFit fitNoise(const std::vector<ObservedScene>& scenes, std::size_t frequency) {
    NoiseFit fit;
    const std::vector<std::pair<float, float>> pixels = pixelsOf(scenes, frequency);
    const std::size_t perBin = pixels.size() / binCount;
    if (perBin < 100) {
        return fit;
    }
    for (std::size_t bin = 0; bin < binCount; ++bin) {
        NoiseBin mean;
        for (std::size_t k = bin * perBin; k < (bin + 1) * perBin; ++k) {
            mean.amplitude += static_cast<double>(pixels[k].first);
            mean.variance += static_cast<double>(pixels[k].second);
        }
        fit.bins.push_back(
            {mean.amplitude / static_cast<double>(perBin), mean.variance / static_cast<double>(perBin)});
    }
    // The variance of a variance grows with its square, so each bin counts by its share.
    Eigen::MatrixXd rows(binCount, 2);
    Eigen::VectorXd values(binCount);
    for (std::size_t bin = 0; bin < binCount; ++bin) {
        const auto row = static_cast<Eigen::Index>(bin);
        const double weight = 1.0 / fit.bins[bin].variance;
        rows(row, 0) = weight;
        rows(row, 1) = weight * fit.bins[bin].amplitude;
        values(row) = 1.0;
    }
    const Eigen::Vector2d line = rows.colPivHouseholderQr().solve(values);
    if (line.allFinite() && line[0] >= 0.0 && line[1] >= 0.0) {
        fit.read = line[0];
        fit.shot = line[1];
        fit.isMeasured = true;
    }
    return fit;
}

}  // namespace calibrating
