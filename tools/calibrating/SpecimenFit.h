// SPDX-License-Identifier: Apache-2.0
//
// The calibration of one camera, from recordings of scenes whose distances are known.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibrating/AmplitudeFit.h"
#include "calibrating/BadPixels.h"
#include "calibrating/NoiseFit.h"
#include "calibrating/Observations.h"
#include "calibrating/PhaseFit.h"

namespace calibrating {

struct SpecimenRequest {
    std::vector<SceneRequest> scenes;
    // Where lens, limits, vignetting and dark levels come from, and a drift that these recordings do not
    // tell; none: from the first recording, without its drift.
    std::optional<CameraDescription> camera;
};

// Sizes of residuals, millimetres.
struct ResidualFigures {
    double median = 0.0;
    double percentile99 = 0.0;
};

struct FrequencyResult {
    PhaseFit phase;
    AmplitudeFit amplitude;
    NoiseFit noise;
    double coverage = 0.0;   // share of a turn that shown phases cover
    ResidualFigures before;  // with an offset alone
    ResidualFigures after;
};

struct Specimen {
    CameraDescription camera;
    std::vector<FrequencyResult> frequencies;
    std::vector<BadPixel> badPixels;  // all; the camera has room for the worst
    std::vector<std::string> scenes;
    std::vector<std::string> findings;  // sentences: what these recordings do not tell
};

// Throws as observe and fitPhase.
Specimen calibrate(const SpecimenRequest& request);

// Metres that a radian of phase makes.
double metresPerRadian(const simulation::FrequencyCalibration& frequency);

}  // namespace calibrating
