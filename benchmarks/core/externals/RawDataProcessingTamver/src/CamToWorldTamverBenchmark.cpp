// SPDX-License-Identifier: Apache-2.0
//
// The loops of the distance to cartesian stage: the points of every frame, and the rotation of the
// rays after a change of the pose.
#include <memory>
#include <vector>

#include "CamToWorldTamver.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/externals/RawDataProcessingTamver/src/CamToWorldTamverRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;
using benchmark_support::repeat;

/**
 * A frame in which one pixel in ten is invalid, in the records of the pipeline. Nothing is clipped, so that
 * every repetition finds the same.
 */
struct Workload {
    Workload()
        : state(std::make_unique<CamToWorldState>()),
          result(std::make_unique<QorDistanceImageIFOutput>()),
          conf(kPixelCount) {
        testing_support::Random random(2);
        for (float& v : state->bouget_vectors) {
            v = random.real(-1.0F, 1.0F);
        }
        for (int32_t i = 0; i < kPixelCount; ++i) {
            conf[static_cast<size_t>(i)] = static_cast<uint16_t>(random.integer(0, 9) == 0 ? 0x0011 : 0x0010);
            result->distance[i] = random.real(0.1F, 8.0F);
        }
        rule::rotateVectors(rotation, state->bouget_vectors, state->unit_vectors, kPixelCount);
    }

    CamToWorldPixels pixels() {
        return {state->unit_vectors, conf.data(), result->distance, result->X, result->Y, result->Z};
    }

    std::unique_ptr<CamToWorldState> state;
    std::unique_ptr<QorDistanceImageIFOutput> result;
    std::vector<uint16_t> conf;
    AlgoPoint3D origin = {0.1F, 0.2F, 0.3F};
    ClippingCuboid clipping = {-1000.0F, 1000.0F, -1000.0F, 1000.0F, -1000.0F, 1000.0F};
    AlgoPoint3D farOrigin = {0.1F, 0.2F, 20.0F};
    ClippingCuboid besideTheOrigin = {-1000.0F, 1000.0F, -1000.0F, 1000.0F, 5.0F, 1000.0F};
    float rotation[3][3] = {{0.8F, -0.6F, 0.0F}, {0.6F, 0.8F, 0.0F}, {0.0F, 0.0F, 1.0F}};
};

Workload& workload() {
    static Workload instance;
    return instance;
}

const bool registered = [] {
    registerOnEveryTarget("cartesianPoints", repeat(workload, [](Workload& w) {
                              CamToWorld_ComputePoints(w.pixels(), w.origin, w.clipping, kPixelCount);
                          }));
    registerScalar("cartesianPoints", repeat(workload, [](Workload& w) {
                       rule::computePoints(w.pixels(), w.origin, w.clipping, kPixelCount);
                   }));
    registerOnEveryTarget("cartesianPointsInACuboidBesideTheOrigin", repeat(workload, [](Workload& w) {
                              CamToWorld_ComputePoints(w.pixels(), w.farOrigin, w.besideTheOrigin,
                                                       kPixelCount);
                          }));
    registerOnEveryTarget("rotateRays", repeat(workload, [](Workload& w) {
                              CamToWorld_RotateVectors(w.rotation, w.state->bouget_vectors,
                                                       w.state->unit_vectors, kPixelCount);
                          }));
    registerScalar("rotateRays", repeat(workload, [](Workload& w) {
                       rule::rotateVectors(w.rotation, w.state->bouget_vectors, w.state->unit_vectors,
                                           kPixelCount);
                   }));
    return true;
}();

}  // namespace
