// SPDX-License-Identifier: Apache-2.0
//
// The algorithm in states that take long to reach. Each is restored at once, on any vector target.
#pragma once

#include <cstdint>
#include <span>

#include "AlgoDistanceImage.h"
#include "Camera.h"

namespace fuzz {

/** What has happened to the algorithm before an input. If a frame has begun, its next image is its last, so
 * that one image enters all stages. */
enum Start : std::uint8_t {
    StartNew = 0,    ///< it was created
    StartPlain = 1,  ///< one exposure, one frequency
    StartRich = 2,   ///< two exposures, two frequencies, an intensity image, every product; second frame
    StartDrift = 3,  ///< one exposure, one frequency, compensation of ambient light, spatial median
    StartRays = 4,   ///< the calibration brings unit vectors; temporal and spatial mean; second frame
    StartTwoFrequencies = 5,  ///< one exposure, no filter of the assignment
    StartCalibrated = 6,      ///< no image yet
    kStarts = 7,
};

/** The camera of a state, before it sends its next image. */
host_testing::Camera cameraOf(Start start, const host_testing::LayoutChange& change = {});

/** Whole frames that the state has had. */
int framesBefore(Start start);

/** Images of its frame that the state has had. */
int imagesBefore(Start start);

/** Dispatches to one of the vector targets that this machine has. */
void chooseTarget(unsigned int number);

/** Brings the one algorithm into a state. Nothing that was done to it before remains. */
void startFrom(Start start);

/** Does what createAlgo does: a new algorithm meets the pipeline as the old one left it. */
void renewAlgorithm();

/** processZelta as the exported function calls it; false if it threw. */
bool process(std::span<const std::uint8_t> packet, bool fromCustomPin);

/** Fetches the result and checks that it is a packet. */
void fetchResult(bool isPIL);

}  // namespace fuzz
