// SPDX-License-Identifier: Apache-2.0
//
// Processor time that a frame of two exposures and two frequencies with every product costs, on each vector
// target that this machine runs:
//
//   frame_cost [FRAMES]
#include <hwy/targets.h>
#ifdef __EMSCRIPTEN__
#include <emscripten.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "Camera.h"
#include "QorPlugin.h"
#include "golden/PlainHost.h"

#ifdef __EMSCRIPTEN__
// The clock of the library there is that of the wall.
EM_JS(double, processorMilliseconds, (), {
    const usage = process.cpuUsage();
    return (usage.user + usage.system) / 1000;
});
#endif

namespace {

using golden::Form;
using golden::Step;

#ifdef __EMSCRIPTEN__
// There is one target, without a table of them.
std::vector<std::int64_t> targetsHere() {
    return {HWY_STATIC_TARGET};
}
void choose(std::int64_t) {}
#else
double processorMilliseconds() {
    return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

std::vector<std::int64_t> targetsHere() {
    return hwy::SupportedAndGeneratedTargets();
}
void choose(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}
#endif

/** The packets of a session: a calibration, then frames. */
std::vector<Step> sessionOf(host_testing::Camera& camera, int frames) {
    std::vector<Step> steps{{camera.calibrationPacket()}};
    for (int image = 0; image < frames * camera.imagesPerFrame(); ++image) {
        steps.push_back({camera.imagePacket()});
    }
    return steps;
}

/** Milliseconds of each frame. */
std::vector<double> costsOf(const std::vector<Step>& steps) {
    std::vector<double> costs;
    golden::restartClocks();
    createAlgo();
    golden::call(steps.front(), Form::Short);
    double begin = processorMilliseconds();
    for (std::size_t k = 1; k < steps.size(); ++k) {
        if (golden::call(steps[k], Form::Short).finishedFrame) {
            const double end = processorMilliseconds();
            costs.push_back(end - begin);
            begin = end;
        }
    }
    clearAlgo();
    return costs;
}

}  // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::atoi(argv[1]) : 40;
    if (frames < 2) {
        std::fputs("usage: frame_cost [FRAMES], at least 2\n", stderr);
        return 2;
    }
    host_testing::Camera camera;
    camera.input = host_testing::richInput();
    camera.intensityImage = true;
    const std::vector<Step> steps = sessionOf(camera, frames);
    for (const std::int64_t target : targetsHere()) {
        choose(target);
        std::vector<double> costs = costsOf(steps);
        if (costs.empty()) {
            std::fputs("frame_cost: no frame was finished\n", stderr);
            return 1;
        }
        std::sort(costs.begin(), costs.end());
        std::printf("%-9s %8.3f ms a frame, %8.3f at least, of %zu frames\n", hwy::TargetName(target),
                    costs[costs.size() / 2], costs.front(), costs.size());
    }
    return 0;
}
