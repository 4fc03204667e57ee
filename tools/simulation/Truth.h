// SPDX-License-Identifier: Apache-2.0
//
// The truth about a simulated frame.

#pragma once

#include <cstdint>
#include <vector>

#include "simulation/Scene.h"
#include "simulation/Sensor.h"

namespace simulation {

struct ExposureTruth {
    std::vector<double> rawAmplitude;       // length of the phasor (X, Y) without offsets, counts
    std::vector<double> distanceDeviation;  // predicted standard deviation of the distance, metres
};

struct FrequencyTruth {
    std::vector<std::int32_t> wraps;       // whole unique ranges in the distance
    std::vector<ExposureTruth> exposures;  // in the order of the recording
};

struct Truth {
    std::vector<double> distance;  // radial, metres; 0 where nothing returns
    std::vector<double> X;         // camera frame, metres
    std::vector<double> Y;
    std::vector<double> Z;
    std::vector<double> amplitude;       // counts per microsecond, vignetting undone
    std::vector<std::uint8_t> edge;      // 1: within one pixel of a step in depth
    std::vector<std::uint8_t> badPixel;  // 1: has a defect
    std::vector<FrequencyTruth> frequencies;
};

// One cast of the scene through all pixel centres: geometry, light, edges. The frequencies are left empty.
struct View {
    Truth truth;
    ReturnedLight light;
};

// `ambient` is the illuminance of the scene in kilolux.
View viewScene(const Scene& scene, const Calibration& calibration, double ambient);

}  // namespace simulation
