// SPDX-License-Identifier: Apache-2.0
//
// The loops of the distance to cartesian stage: points of every frame, and the turn of the rays after a
// change of the pose.
#include <vector>

#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/externals/RawDataProcessingTamver/src/CamToWorldTamverRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;

/** A frame in which one pixel in ten is invalid; nothing is clipped, so that every repetition finds the same.
 */
struct Workload {
    Workload()
        : rays(kUnitVectorFloats),
          rotated(kUnitVectorFloats),
          conf(kPixelCount),
          distance(kPixelCount),
          x(kPixelCount),
          y(kPixelCount),
          z(kPixelCount) {
        testing_support::Random random(2);
        for (float& v : rays) {
            v = random.real(-1.0F, 1.0F);
        }
        for (size_t i = 0; i < conf.size(); ++i) {
            conf[i] = static_cast<uint16_t>(random.integer(0, 9) == 0 ? 0x0011 : 0x0010);
            distance[i] = random.real(0.1F, 8.0F);
        }
    }

    CamToWorldPixels pixels() {
        return {rays.data(), conf.data(), distance.data(), x.data(), y.data(), z.data()};
    }

    std::vector<float> rays, rotated;
    std::vector<uint16_t> conf;
    std::vector<float> distance, x, y, z;
    AlgoPoint3D origin = {0.1F, 0.2F, 0.3F};
    ClippingCuboid clipping = {-1000.0F, 1000.0F, -1000.0F, 1000.0F, -1000.0F, 1000.0F};
    float rotation[3][3] = {{0.8F, -0.6F, 0.0F}, {0.6F, 0.8F, 0.0F}, {0.0F, 0.0F, 1.0F}};
};

Workload& workload() {
    static Workload instance;
    return instance;
}

/** Repeats `work(workload)` as long as the benchmark asks for. */
template <class Work>
auto repeat(Work work) {
    return [work](benchmark::State& state) {
        Workload& w = workload();
        for (auto _ : state) {
            work(w);
            benchmark::ClobberMemory();
        }
    };
}

const bool registered = [] {
    registerOnEveryTarget("cartesianPoints", repeat([](Workload& w) {
                              CamToWorld_ComputePoints(w.pixels(), w.origin, w.clipping, kPixelCount);
                          }));
    registerScalar("cartesianPoints", repeat([](Workload& w) {
                       rule::computePoints(w.pixels(), w.origin, w.clipping, kPixelCount);
                   }));
    registerOnEveryTarget("rotateRays", repeat([](Workload& w) {
                              CamToWorld_RotateVectors(w.rotation, w.rays.data(), w.rotated.data(),
                                                       kPixelCount);
                          }));
    registerScalar("rotateRays", repeat([](Workload& w) {
                       rule::rotateVectors(w.rotation, w.rays.data(), w.rotated.data(), kPixelCount);
                   }));
    return true;
}();

}  // namespace
