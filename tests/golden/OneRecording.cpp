// SPDX-License-Identifier: Apache-2.0
//
// Compares what one recording gives with the stored hashes, where a process cannot start another one:
//
//   one_recording FOLDER NAME
#include <cstdio>
#include <exception>

#include "golden/Digest.h"
#include "golden/Files.h"

namespace {

/** The number of differences; below 0 if there is no such recording. */
int compare(const std::string& folder, const std::string& name) {
    for (const golden::Recording& recording : golden::recordings()) {
        if (recording.name != name) {
            continue;
        }
        const auto stored = golden::readLines(golden::hashFile(folder, name));
        const auto found = golden::differences(stored, golden::digestOf(recording));
        for (const std::string& sentence : found) {
            std::printf("%s\n", sentence.c_str());
        }
        std::printf("%s: %zu differences from the stored hashes\n", name.c_str(), found.size());
        return static_cast<int>(found.size());
    }
    std::fprintf(stderr, "no recording is called %s\n", name.c_str());
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: one_recording FOLDER NAME\n", stderr);
        return 2;
    }
    try {
        return compare(argv[1], argv[2]) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "one_recording: %s\n", error.what());
        return 1;
    }
}
