// SPDX-License-Identifier: Apache-2.0
//
// Writes the golden hashes and compares the images of two builds. scripts/golden runs it.
//
//   golden hashes FOLDER        one file of hashes for each recording
//   golden results FOLDER       the result record of every frame, each as a packet
//   golden compare OLD NEW      which members of two folders of results differ, and by how much
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>

#include "Camera.h"
#include "Plugin.h"
#include "golden/Digest.h"
#include "golden/Files.h"
#include "golden/Members.h"

namespace {

using golden::Bytes;
using golden::Members;
using golden::Recording;
using golden::Run;
using std::filesystem::path;

/** Each recording in a process of its own, where the pipeline is as new. */
template <class Work>
void forEachRecording(const Work& work) {
    for (const Recording& recording : golden::recordings()) {
        const Bytes done = host_testing::inNewProcess([&] {
            work(recording);
            return Bytes{1};
        });
        if (done.empty()) {
            throw std::runtime_error(recording.name + " failed");
        }
    }
}

void writeHashes(const path& folder) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    forEachRecording([&](const Recording& recording) {
        std::vector<std::string> lines = golden::digestOf(recording);
        lines.insert(lines.begin(), "# Hashes for each frame of the recording " + recording.name);
        golden::writeLines(golden::hashFile(folder, recording.name), lines);
    });
}

void writeResults(const path& folder) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    forEachRecording([&](const Recording& recording) {
        int frame = 0;
        golden::play(recording.make(), [&](const golden::Answer& answer) {
            if (!answer.finishedFrame) {
                return;
            }
            Packet chunks = host_testing::parsed(answer.packet);
            std::erase_if(chunks, [](const ZeltaChunk& chunk) {
                return chunk.channelID != host_testing::kResultChannel;
            });
            Bytes packet(static_cast<std::size_t>(packet_get_required_size(chunks)));
            packet_create(packet.data(), static_cast<int>(packet.size()), chunks);
            golden::writeBytes(folder / (recording.name + "." + std::to_string(frame++) + ".zelta"), packet);
        });
    });
}

/** The elements of every leaf of the result record in a file. */
std::map<std::string, std::vector<double>> numbersIn(const path& file) {
    const Bytes packet = golden::readBytes(file);
    const ZeltaChunk chunk = host_testing::parsed(packet).at(0);
    const Members& members = golden::membersOf(chunk);
    std::map<std::string, std::vector<double>> numbers;
    for (const Run& run : members.runs) {
        std::vector<double>& values = numbers[members.leaves[run.member]];
        const auto* const bytes = static_cast<const std::uint8_t*>(chunk.data) + run.offset;
        for (std::size_t i = 0; i < run.count; ++i) {
            if (run.kind == golden::Kind::Float) {
                float value = 0.0F;
                std::memcpy(&value, bytes + i * sizeof value, sizeof value);
                values.push_back(static_cast<double>(value));
            } else {
                std::uint64_t value = 0;
                std::memcpy(&value, bytes + i * run.size, run.size);
                values.push_back(static_cast<double>(value));
            }
        }
    }
    return numbers;
}

struct Change {
    std::size_t moved = 0;
    std::size_t validity = 0;  ///< elements that became 0 or NaN, or ceased to be
    double largest = 0.0;
};

Change changeOf(const std::vector<double>& before, const std::vector<double>& after) {
    Change change;
    for (std::size_t i = 0; i < before.size(); ++i) {
        const double a = before[i];
        const double b = after[i];
        if (a == b || (std::isnan(a) && std::isnan(b))) {
            continue;
        }
        ++change.moved;
        if (a == 0.0 || b == 0.0 || std::isnan(a) || std::isnan(b)) {
            ++change.validity;
        } else {
            change.largest = std::fmax(change.largest, std::fabs(a - b));
        }
    }
    return change;
}

std::set<std::string> filesIn(const path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

void compareFrames(const path& before, const path& after, const std::string& name) {
    const auto old = numbersIn(before / name);
    for (const auto& [member, values] : numbersIn(after / name)) {
        const auto found = old.find(member);
        if (found == old.end() || found->second.size() != values.size()) {
            std::printf("%-50s %-34s new\n", name.c_str(), member.c_str());
            continue;
        }
        const Change change = changeOf(found->second, values);
        if (change.moved > 0) {
            std::printf("%-50s %-34s %7zu of %7zu %7zu %12.6g\n", name.c_str(), member.c_str(), change.moved,
                        values.size(), change.validity, change.largest);
        }
    }
}

void compare(const path& before, const path& after) {
    const std::set<std::string> oldFiles = filesIn(before);
    const std::set<std::string> newFiles = filesIn(after);
    std::printf("%-50s %-34s %18s %7s %12s\n", "frame", "member", "elements moved", "0 or no",
                "largest move");
    for (const std::string& name : newFiles) {
        if (oldFiles.count(name) == 0) {
            std::printf("%-50s new\n", name.c_str());
            continue;
        }
        compareFrames(before, after, name);
    }
    for (const std::string& name : oldFiles) {
        if (newFiles.count(name) == 0) {
            std::printf("%-50s gone\n", name.c_str());
        }
    }
}

int run(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[0] == "hashes") {
        writeHashes(words[1]);
    } else if (words.size() == 2 && words[0] == "results") {
        writeResults(words[1]);
    } else if (words.size() == 3 && words[0] == "compare") {
        compare(words[1], words[2]);
    } else {
        std::fputs("usage: golden hashes FOLDER | golden results FOLDER | golden compare OLD NEW\n", stderr);
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "golden: %s\n", error.what());
        return 1;
    }
}
