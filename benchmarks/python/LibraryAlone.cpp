// SPDX-License-Identifier: Apache-2.0
//
// What the library alone takes for a recording: every packet read, processed, its result packed. Prints the
// seconds of each of several runs: library_alone PLUGIN RECORDING RUNS. benchmarks/python/iteration.py
// compares.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>

#include "plugin/HostSettings.h"
#include "plugin/Plugin.h"
#include "recording/RecordingReader.h"

namespace {

double secondsOfRun(const char* path, const char* file) {
    plugin::Plugin algorithm(path);
    const std::clock_t start = std::clock();
    recording::RecordingReader reader(file);
    while (const recording::RecordedPacket* const packet = reader.next()) {
        algorithm.process(packet->bytes);
        algorithm.result(true);
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("library_alone PLUGIN RECORDING RUNS\n", stderr);
        return 2;
    }
    try {
        plugin::keepStandardOutput();
        for (int run = std::atoi(argv[3]); run > 0; --run) {
            std::printf("%.6f\n", secondsOfRun(argv[1], argv[2]));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
    return 0;
}
