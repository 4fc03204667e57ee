// SPDX-License-Identifier: Apache-2.0
//
// Times whole frames of every kind on every vector target, and probes the machine in between. Prints JSON;
// ./bench makes tables and charts of it. frame_benchmarks [FRAMES of each kind]
#include <hwy/targets.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "FrameSession.h"
#include "MachineProbe.h"
#include "QorData.h"

namespace {

using frame_benchmark::Kind;
using frame_benchmark::PacketSession;
using frame_benchmark::RecordSession;

constexpr int kFirstFrames = 5;  // until tables and caches are warm

struct Times {
    double median = 0.0;  // microseconds, as the others
    double quarter = 0.0;
    double threeQuarters = 0.0;
};

double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

template <class Session>
Times timesOf(const Kind& kind, int frames) {
    Session session(kind);
    std::vector<double> times;
    for (int frame = 0; frame < kFirstFrames + frames; ++frame) {
        const auto start = std::chrono::steady_clock::now();
        session.takeFrame();
        const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
        if (frame >= kFirstFrames) {
            times.push_back(time.count());
        }
    }
    return {quantile(times, 0.5), quantile(times, 0.25), quantile(times, 0.75)};
}

struct Stage {
    const char* name;
    ALProfilingItem QorDistanceImageProfiling::*item;
};

constexpr Stage kStages[] = {{"rawToDist", &QorDistanceImageProfiling::rawToDist},
                             {"wigglingBackward", &QorDistanceImageProfiling::wigglingBackward},
                             {"straylight", &QorDistanceImageProfiling::straylight},
                             {"wigglingForward", &QorDistanceImageProfiling::wigglingForward},
                             {"rawToDistRemaining", &QorDistanceImageProfiling::rawToDistRemaining},
                             {"suspectPT", &QorDistanceImageProfiling::suspectPT},
                             {"multiFreq", &QorDistanceImageProfiling::multiFreq},
                             {"camToWorld", &QorDistanceImageProfiling::camToWorld},
                             {"imageFilter", &QorDistanceImageProfiling::imageFilter},
                             {"autoExposure", &QorDistanceImageProfiling::autoExposure},
                             {"distNoise", &QorDistanceImageProfiling::distNoise}};

/** Microseconds of each stage in a frame, by the pipeline's own clock: the median over the frames. */
std::string stagesOf(const Kind& kind, int frames) {
    RecordSession session(kind);
    std::vector<std::vector<double>> times(std::size(kStages));
    for (int frame = 0; frame < kFirstFrames + frames; ++frame) {
        const QorDistanceImageProfiling before = QorData_Get()->profiling;
        session.takeFrame();
        const QorDistanceImageProfiling& after = QorData_Get()->profiling;
        for (std::size_t stage = 0; stage < times.size() && frame >= kFirstFrames; ++stage) {
            const auto item = kStages[stage].item;
            times[stage].push_back(((after.*item).cumRuntimeMsecs - (before.*item).cumRuntimeMsecs) * 1000.0);
        }
    }
    std::string text;
    for (std::size_t stage = 0; stage < times.size(); ++stage) {
        char item[96];
        std::snprintf(item, sizeof item, "%s\"%s\": %.1f", stage == 0 ? "" : ", ", kStages[stage].name,
                      quantile(times[stage], 0.5));
        text += item;
    }
    return text;
}

void printMachine(const std::vector<std::int64_t>& targets) {
    std::printf("  \"copyGigabytes\": {\"L1\": %.1f, \"L2\": %.1f, \"L3\": %.1f, \"memory\": %.1f},\n",
                frame_benchmark::copyRate(16U << 10U), frame_benchmark::copyRate(256U << 10U),
                frame_benchmark::copyRate(8U << 20U), frame_benchmark::copyRate(256U << 20U));
    std::printf("  \"lookupNanoseconds\": %.3f,\n  \"histogramNanoseconds\": %.3f,\n  \"gigaflops\": {",
                frame_benchmark::lookupTime(), frame_benchmark::histogramTime());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        std::printf("%s\"%s\": %.1f", i == 0 ? "" : ", ", hwy::TargetName(targets[i]),
                    frame_benchmark::arithmeticRate(targets[i]));
    }
    std::printf("},\n");
}

void printKind(const Kind& kind, std::int64_t target, int frames, bool last) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    const Times packets = timesOf<PacketSession>(kind, frames);
    const Times records = timesOf<RecordSession>(kind, frames);
    const std::string stages = stagesOf(kind, frames);
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
    std::printf(
        "    {\"exposures\": %d, \"frequencies\": %d, \"settings\": \"%s\", \"target\": \"%s\",\n"
        "     \"packets\": [%.1f, %.1f, %.1f], \"records\": [%.1f, %.1f, %.1f],\n     \"stages\": {%s}}%s\n",
        kind.exposures, kind.frequencies, kind.everything ? "everything" : "plain", hwy::TargetName(target),
        packets.quarter, packets.median, packets.threeQuarters, records.quarter, records.median,
        records.threeQuarters, stages.c_str(), last ? "" : ",");
    std::fflush(stdout);
}

std::vector<Kind> kinds() {
    std::vector<Kind> all;
    for (const bool everything : {false, true}) {
        for (const int frequencies : {1, 2}) {
            for (const int exposures : {1, 2}) {
                all.push_back({exposures, frequencies, everything});
            }
        }
    }
    return all;
}

void run(int frames) {
    const std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
    std::printf("{\n");
    printMachine(targets);
    std::printf("  \"frames\": [\n");
    const std::vector<Kind> all = kinds();
    for (const Kind& kind : all) {
        for (const std::int64_t target : targets) {
            printKind(kind, target, frames, &kind == &all.back() && target == targets.back());
        }
    }
    std::printf("  ]\n}\n");
}

}  // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::atoi(argv[1]) : 100;
    if (frames < 1) {
        std::fputs("usage: frame_benchmarks [FRAMES]\n", stderr);
        return 2;
    }
    try {
        run(frames);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
