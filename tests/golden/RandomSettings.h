// SPDX-License-Identifier: Apache-2.0
//
// Random settings: everything that a host may ask for, and now and then something that it may not.
#pragma once

#include "Camera.h"
#include "support/Random.h"

namespace golden {

/** Every member of the customization anew, within its range. */
void changeCustomization(host_testing::Camera& camera, testing_support::Random& random);

/** Every parameter anew, within its range: the pipeline starts anew, and so does the camera's frame. */
void changeParameters(host_testing::Camera& camera, testing_support::Random& random);

/** A few members of the input record become any numbers. */
void spoilInput(QorDistanceImageIFInput& input, testing_support::Random& random);

/** A few members of the calibration become any numbers. */
void spoilCalibration(QorDistanceImageIFCalib& calib, testing_support::Random& random);

}  // namespace golden
