// SPDX-License-Identifier: Apache-2.0
//
// The algorithm in states that take long to reach, each brought back in no time, on any vector target.
#pragma once

#include <cstdint>

#include "AlgoDistanceImage.h"
#include "Camera.h"

namespace fuzz {

/** What has happened to the algorithm before an input. The next image of a frame that has begun is its last,
 * so that one image enters all stages. */
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

/** Whole frames that the state has behind it. */
int framesBefore(Start start);

/** Images of its frame that the state has behind it. */
int imagesBefore(Start start);

/** Dispatches to one of the vector targets that this machine has. */
void chooseTarget(unsigned int number);

/** Brings the one algorithm into a state. Nothing of what was done to it before is left. */
void startFrom(Start start);

/** What createAlgo does: a new algorithm meets the pipeline as the old one left it. */
void renewAlgorithm();

/** processZelta as the exported function calls it; false if it threw. */
bool process(const host_testing::Bytes& packet, bool fromCustomPin);

/** Fetches the result and checks that it is a packet. */
void fetchResult(bool isPIL);

}  // namespace fuzz
