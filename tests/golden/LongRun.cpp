// SPDX-License-Identifier: Apache-2.0
//
// A camera that runs for long: settings that change at random, packets that get lost or damaged, algorithms
// that come and go. Now and then a recording is played to a new algorithm, and its results must be those of
// an undisturbed process; memory and open files must stay what they were after the first thousand frames, or
// after half of a shorter run.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>

#include "Camera.h"
#include "Plugin.h"
#include "QorPlugin.h"
#include "golden/Digest.h"
#include "golden/Footprint.h"
#include "golden/KeptImages.h"
#include "golden/RandomSettings.h"
#include "golden/Scenes.h"

namespace {

using golden::Answer;
using golden::Bytes;
using golden::Footprint;
using golden::Form;
using golden::Recording;
using golden::Step;
using golden::View;
using host_testing::Camera;
using testing_support::Random;

constexpr std::uint64_t kWarmUp = 1000;         // frames until memory and files must have settled, at most
constexpr std::size_t kBytesToSpare = 4 << 20;  // of the resident memory: pages that the system still adds
constexpr int kPatience = 3;                    // frames without a result until the host starts anew

struct Orders {
    std::uint64_t frames = 1000;
    double seconds = 1e9;
    std::uint32_t seed = 0;
};

/** The counts of the run so far. */
struct Tally {
    std::uint64_t frames = 0;
    std::uint64_t packets = 0;
    std::uint64_t failures = 0;  ///< calls that the plug-in refused with an exception
    std::uint64_t framesSent = 0;
    std::uint64_t algorithms = 0;
    std::uint64_t probes = 0;
    std::uint64_t probedFrames = 0;
    std::map<std::string, std::uint64_t> faults;
    std::map<std::string, std::uint64_t> refusals;  ///< by their words
};

/** Played to a new algorithm at any time, these give the same results. */
struct Probe {
    std::string name;
    std::vector<Step> steps;
    std::vector<std::string> expected;
};

std::vector<std::string> resultsOf(const std::vector<Step>& steps, Tally* tally) {
    golden::Digest digest;
    const auto take = [&](const Answer& answer) {
        digest.add(answer);
        if (tally != nullptr) {
            ++tally->packets;
            tally->frames += answer.finishedFrame ? 1 : 0;
            tally->probedFrames += answer.finishedFrame ? 1 : 0;
        }
    };
    golden::play(steps, take, Form::Short);
    std::vector<std::string> lines = digest.lines();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("3210 "); });
    return lines;
}

std::vector<Probe> makeProbes() {
    const std::vector<std::string> names = {
        "1-exposures-1-frequencies-full-calibration",
        "2-exposures-2-frequencies",
        "temporal-mean",
        "temporal-adaptive-exponential-and-spatial",
        "spatial-median-5",
        "spatial-bilateral-5",
        "noise-2-by-2",
        "drift-compensation",
        "exposure-of-two",
        "spatial-mean-5",
        "scene-holes",
        "layout-reversed-big-endian",
        "straylight-2-by-2",
        "straylight-with-all-products",
        "custom-pin",
    };
    std::vector<Probe> probes;
    for (const Recording& recording : golden::recordings()) {
        if (std::find(names.begin(), names.end(), recording.name) == names.end()) {
            continue;
        }
        Probe probe = {recording.name, recording.make(), {}};
        const Bytes text = host_testing::inNewProcess([&] {
            std::string lines;
            for (const std::string& line : resultsOf(probe.steps, nullptr)) {
                lines += line + "\n";
            }
            return Bytes(lines.begin(), lines.end());
        });
        std::string line;
        for (const std::uint8_t byte : text) {
            if (byte == '\n') {
                probe.expected.push_back(std::exchange(line, {}));
            } else {
                line += static_cast<char>(byte);
            }
        }
        probes.push_back(std::move(probe));
    }
    if (probes.size() != names.size()) {
        throw std::runtime_error("a recording for the probes is missing");
    }
    return probes;
}

/** The camera, the way of its packets to the plug-in, and what happens on that way. */
class Run {
 public:
    explicit Run(const Orders& orders) : m_orders(orders), m_random(orders.seed), m_probes(makeProbes()) {
        host_testing::LayoutChange moved;
        moved.reversed = true;
        moved.added = true;
        moved.version = 0x0200;
        host_testing::LayoutChange bigEndian;
        bigEndian.bigEndian = true;
        for (const host_testing::LayoutChange& change : {host_testing::LayoutChange{}, moved, bigEndian}) {
            m_stands.push_back(std::make_unique<Stand>(change));
        }
    }

    /** Throws if anything is not as it should be. */
    void go() {
        restart();
        while (m_tally.frames < m_orders.frames && elapsed() < m_orders.seconds) {
            oneFrame();
            if (happens(60)) {
                probe();
                restart();
            } else if (m_withoutResult >= kPatience) {
                restart();
            }
            watchFootprint();
        }
        probe();
        watchFootprint();
    }

    const Tally& tally() const { return m_tally; }
    const Footprint& settled() const { return m_settled; }
    std::uint64_t settledAt() const { return m_settledAt; }  ///< frames; 0: not yet
    double elapsed() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

 private:
    /** Once in `times`. */
    bool happens(std::int32_t times) { return m_random.integer(1, times) == 1; }

    void fault(const char* name) { ++m_tally.faults[name]; }

    /** A new algorithm, a camera of any layout, now and then a wrong calibration. */
    void restart() {
        createAlgo();
        ++m_tally.algorithms;
        m_withoutResult = 0;
        m_stand = m_stands[m_random.bits() % m_stands.size()].get();
        Camera& camera = m_stand->camera;
        camera.calib = golden::fullCalibration(m_random.bits() % 16U);
        if (happens(2)) {
            golden::useDriftFrequencies(*camera.calib);
        }
        if (happens(12)) {
            golden::spoilCalibration(*camera.calib, m_random);
            fault("calibrations with wrong values");
        }
        golden::changeParameters(camera, m_random);
        golden::changeCustomization(camera, m_random);
        if (happens(4)) {
            send({camera.customizationPacket(), true});
        }
        send({camera.calibrationPacket()});
    }

    /** After a refusal the host asks for something else. */
    void changeSettings() {
        constexpr View kViews[] = {View::Room,  View::Room,      View::Holes, View::Dark,
                                   View::Zeros, View::Saturated, View::Full,  View::AnyBytes};
        const bool startsAnew = m_withoutResult > 0 || happens(8);
        if (startsAnew) {
            golden::changeParameters(m_stand->camera, m_random);
        }
        if (startsAnew || happens(2)) {
            golden::changeCustomization(m_stand->camera, m_random);
            m_view = kViews[m_random.bits() % std::size(kViews)];
        }
    }

    void oneFrame() {
        changeSettings();
        const std::uint64_t before = m_tally.frames;
        const int images = m_stand->camera.imagesPerFrame();
        for (int image = 0; image < images; ++image) {
            m_stand->camera.nextImage();
            deliver();
        }
        if (m_held) {  // nothing comes after it
            send(*std::exchange(m_held, nullptr));
        }
        ++m_tally.framesSent;
        m_withoutResult = m_tally.frames == before ? m_withoutResult + 1 : 0;
    }

    const host_testing::OwnedChunk& image() const { return m_stand->images.of(m_view, m_stand->camera); }

    /** The packet of the camera's present image, if all goes well. */
    void deliver() {
        Camera& camera = m_stand->camera;
        Step step = {host_testing::packetOf({camera.inputChunk(), image()})};
        if (!happens(60)) {
            pass(std::move(step));
            return;
        }
        switch (m_random.integer(0, 8)) {
            case 0:
                fault("packets lost");
                return;
            case 1:
                fault("packets sent twice");
                pass(step);
                break;
            case 2:
                fault("packets out of order");
                m_held = std::make_unique<Step>(std::move(step));
                return;
            case 3:
                fault("packets with damaged bytes");
                for (std::int32_t i = m_random.integer(1, 8); i > 0; --i) {
                    step.packet[m_random.bits() % step.packet.size()] =
                        static_cast<std::uint8_t>(m_random.bits());
                }
                break;
            case 4:
                fault("packets with damaged headers");
                step.packet[m_random.bits() % 2500U] = static_cast<std::uint8_t>(m_random.bits());
                break;
            case 5:
                fault("packets cut off");
                step.packet.resize(1 + m_random.bits() % step.packet.size());
                break;
            case 6: {
                fault("input records with wrong values");
                const QorDistanceImageIFInput good = camera.input;
                golden::spoilInput(camera.input, m_random);
                const host_testing::OwnedChunk spoiled = camera.inputChunk();
                camera.input = good;
                step.packet = host_testing::packetOf({spoiled, image()});
                break;
            }
            case 7:
                fault("images without input records");
                step.packet = host_testing::packetOf({image()});
                break;
            default:
                fault("input records without images");
                step.packet = camera.inputPacket();
                break;
        }
        pass(std::move(step));
    }

    /** A packet that was held back comes after this one. */
    void pass(Step step) {
        send(step);
        if (m_held) {
            send(*std::exchange(m_held, nullptr));
        }
    }

    /** Debug records come with few packets, as they cost more than all else. */
    void send(const Step& step) {
        const Answer answer = golden::call(step, happens(200) ? Form::Full : Form::Short);
        ++m_tally.packets;
        m_tally.frames += answer.finishedFrame ? 1 : 0;
        if (answer.exceptionOccured) {
            ++m_tally.failures;
            ++m_tally.refusals[golden::withoutNumbers(answer.exception)];
        }
        if (!answer.packet.empty() && host_testing::parsed(answer.packet).empty()) {
            throw std::runtime_error("a result without chunks");
        }
    }

    void probe() {
        const Probe& probe = m_probes[m_random.bits() % m_probes.size()];
        ++m_tally.probes;
        ++m_tally.algorithms;
        const std::vector<std::string> found =
            golden::differences(probe.expected, resultsOf(probe.steps, &m_tally));
        if (!found.empty()) {
            throw std::runtime_error("the recording " + probe.name +
                                     " gives other results than at the start: " + found.front() + " (" +
                                     std::to_string(found.size()) + " differences)");
        }
    }

    void watchFootprint() {
        const bool hasSettled =
            m_tally.frames >= std::min(kWarmUp, m_orders.frames / 2) || elapsed() >= m_orders.seconds / 2.0;
        if (!hasSettled) {
            return;
        }
        Footprint now = golden::footprint();
        if (m_settledAt != 0 && now.resident > m_settled.resident + kBytesToSpare) {
            golden::returnFreeMemory();
            now = golden::footprint();
        }
        if (m_settledAt == 0) {
            m_settled = now;
            m_settledAt = std::max<std::uint64_t>(m_tally.frames, 1);
        }
        if (now.resident > m_settled.resident + kBytesToSpare) {
            throw std::runtime_error("memory grew from " + std::to_string(m_settled.resident) + " to " +
                                     std::to_string(now.resident) + " bytes");
        }
        if (now.files > m_settled.files) {
            throw std::runtime_error("open files: " + std::to_string(now.files) + " after " +
                                     std::to_string(m_settled.files));
        }
    }

    /** A camera, and all that it can see. */
    struct Stand {
        explicit Stand(const host_testing::LayoutChange& change) : camera(change), images(camera) {}
        Camera camera;
        golden::KeptImages images;
    };

    Orders m_orders;
    Random m_random;
    std::vector<Probe> m_probes;
    std::vector<std::unique_ptr<Stand>> m_stands;
    Stand* m_stand = nullptr;
    View m_view = View::Room;
    std::unique_ptr<Step> m_held;
    int m_withoutResult = 0;  // frames in a row
    Tally m_tally;
    Footprint m_settled;
    std::uint64_t m_settledAt = 0;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

Orders ordersOf(const std::vector<std::string>& words) {
    Orders orders;
    orders.seed = std::random_device()();
    for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
        if (words[i] == "--frames") {
            orders.frames = std::stoull(words[i + 1]);
        } else if (words[i] == "--seconds") {
            orders.seconds = std::stod(words[i + 1]);
            orders.frames = std::max<std::uint64_t>(orders.frames, UINT64_MAX / 2);
        } else if (words[i] == "--seed") {
            orders.seed = static_cast<std::uint32_t>(std::stoul(words[i + 1]));
        } else {
            throw std::invalid_argument(words[i]);
        }
    }
    if (words.size() % 2 != 0) {
        throw std::invalid_argument(words.back());
    }
    return orders;
}

double megabytes(std::size_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

void print(std::FILE* out, const Run& run) {
    const Tally& tally = run.tally();
    const auto line = [out](const char* name, std::uint64_t count) {
        std::fprintf(out, "%12llu %s\n", static_cast<unsigned long long>(count), name);
    };
    line("frames with a result", tally.frames);
    line("frames of the probes among them", tally.probedFrames);
    line("frames sent beside the probes", tally.framesSent);
    line("packets", tally.packets);
    line("algorithms", tally.algorithms);
    std::uint64_t faults = 0;
    for (const auto& [name, count] : tally.faults) {
        faults += count;
    }
    line("faults", faults);
    for (const auto& [name, count] : tally.faults) {
        line(("    " + name).c_str(), count);
    }
    line("packets refused with an exception", tally.failures);
    for (const auto& [words, count] : tally.refusals) {
        line(("    " + words).c_str(), count);
    }
    line("probes, all with the results of an undisturbed process", tally.probes);
    const Footprint now = golden::footprint();
    if (run.settledAt() != 0) {
        const Footprint& settled = run.settled();
        std::fprintf(
            out, "memory after the first %llu frames %.1f MB, at the end %.1f MB (heap %.2f and %.2f MB)\n",
            static_cast<unsigned long long>(run.settledAt()), megabytes(settled.resident),
            megabytes(now.resident), megabytes(settled.inUse), megabytes(now.inUse));
        std::fprintf(out, "open files %d and %d\n", settled.files, now.files);
    }
    std::fprintf(out, "%.0f s\n", run.elapsed());
}

}  // namespace

int main(int argc, char** argv) {
    Orders orders;
    try {
        orders = ordersOf({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "usage: long_run [--frames N] [--seconds N] [--seed N], not %s\n", error.what());
        return 2;
    }
    golden::returnLargeBuffers();
    golden::touchStaticMemory();
    // The pipeline prints its reports on standard output; they go nowhere.
    std::FILE* const out = fdopen(dup(STDOUT_FILENO), "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (out == nullptr || nowhere == -1 || dup2(nowhere, STDOUT_FILENO) == -1) {
        std::perror("long_run");
        return 1;
    }
    std::fprintf(out, "seed %u\n", orders.seed);
    std::fflush(out);
    std::unique_ptr<Run> run;
    try {
        run = std::make_unique<Run>(orders);
        run->go();
        print(out, *run);
    } catch (const std::exception& error) {
        if (run != nullptr) {
            print(out, *run);
        }
        std::fprintf(stderr, "long_run, seed %u, frame %llu: %s\n", orders.seed,
                     static_cast<unsigned long long>(run == nullptr ? 0 : run->tally().frames), error.what());
        return 1;
    }
    return 0;
}
