// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the distance to cartesian stage's loops: what the kernels must equal, and the plain
// form that benchmarks compare with.
#pragma once

#include "CamToWorldTamverKernels.h"

namespace rule {

/** See CamToWorld_RotateVectors. */
void rotateVectors(const float (&rotation)[3][3], const float* vectors, float* rotated, int32_t count);

/** See CamToWorld_ComputePoints. */
void computePoints(const CamToWorldPixels& pixels, const AlgoPoint3D& origin, const ClippingCuboid& clipping,
                   int32_t count);

}  // namespace rule
