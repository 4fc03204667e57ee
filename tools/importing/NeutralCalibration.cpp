// SPDX-License-Identifier: Apache-2.0

#include "importing/NeutralCalibration.h"

#include "importing/FrameMaker.h"
#include "simulation/Image.h"

namespace importing {

simulation::Calibration neutralCalibration(const NeutralRequest& request) {
    simulation::Calibration calibration;
    calibration.lens = request.lens;
    for (const simulation::Vector& ray : simulation::pixelRays(request.lens)) {
        for (const double component : {ray.x, ray.y, ray.z}) {
            calibration.unitVectors.push_back(static_cast<float>(component));
        }
    }
    const std::size_t count = request.frequencies.size();
    for (std::size_t k = 0; k < count; ++k) {
        simulation::FrequencyCalibration frequency;
        frequency.frequency = static_cast<float>(request.frequencies[k]);
        frequency.phaseWigg[0] = static_cast<float>(request.phaseOffsets.at(k));
        frequency.FPPN.assign(simulation::pixelCount, 0.0F);
        calibration.frequencies.push_back(std::move(frequency));
        calibration.frequencyHoppingTable.push_back(
            {static_cast<std::uint16_t>(k), static_cast<std::uint16_t>((k + 1) % count), 1});
    }
    calibration.minDiff = leastGoodSample;
    calibration.maxDiff = mostGoodSample;
    calibration.vignetting.assign(simulation::pixelCount, 1.0F);
    calibration.FPN.assign(simulation::pixelCount, 1);  // a table with a 0 in it counts as absent
    return calibration;
}

}  // namespace importing
