// SPDX-License-Identifier: Apache-2.0

#include "calibrating/NeutralCalibration.h"

#include <cmath>
#include <numbers>
#include <utility>

#include "simulation/Image.h"

namespace calibrating {

simulation::Lens lensOf(double fieldOfView, double width, double height) {
    simulation::Lens lens;
    lens.fx = lens.fy = width / 2.0 / std::tan(fieldOfView * std::numbers::pi / 360.0);
    lens.mx = width / 2.0;
    lens.my = height / 2.0;
    return lens;
}

std::vector<float> unitVectorsOf(const simulation::Lens& lens) {
    std::vector<float> vectors;
    vectors.reserve(3 * simulation::pixelCount);
    for (const simulation::Vector& ray : simulation::pixelRays(lens)) {
        for (const double component : {ray.x, ray.y, ray.z}) {
            vectors.push_back(static_cast<float>(component));
        }
    }
    return vectors;
}

std::vector<simulation::HoppingEntry> hoppingTable(std::size_t frequencyCount) {
    std::vector<simulation::HoppingEntry> table;
    for (std::size_t k = 0; k < frequencyCount; ++k) {
        table.push_back(
            {static_cast<std::uint16_t>(k), static_cast<std::uint16_t>((k + 1) % frequencyCount), 1});
    }
    return table;
}

simulation::Calibration neutralCalibration(const NeutralRequest& request) {
    simulation::Calibration calibration;
    calibration.lens = request.lens;
    calibration.unitVectors = unitVectorsOf(request.lens);
    for (std::size_t k = 0; k < request.frequencies.size(); ++k) {
        simulation::FrequencyCalibration frequency;
        frequency.frequency = static_cast<float>(request.frequencies[k]);
        frequency.phaseWigg[0] = static_cast<float>(request.phaseOffsets.at(k));
        frequency.FPPN.assign(simulation::pixelCount, 0.0F);
        calibration.frequencies.push_back(std::move(frequency));
    }
    calibration.frequencyHoppingTable = hoppingTable(request.frequencies.size());
    calibration.minDiff = leastGoodSample;
    calibration.maxDiff = mostGoodSample;
    calibration.vignetting.assign(simulation::pixelCount, 1.0F);
    calibration.FPN.assign(simulation::pixelCount, 1);  // a table with a 0 in it counts as absent
    return calibration;
}

}  // namespace calibrating
