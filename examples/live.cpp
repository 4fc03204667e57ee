// SPDX-License-Identifier: Apache-2.0
//
// A live host in C++20: one thread is the camera and writes packets, a queue hands them over, the plug-in
// turns them into points. The camera here is a made-up one that sees a wall and a ball swinging before it; a
// driver of yours takes its place.
//
//   c++ live.cpp $(pkg-config --cflags --libs qor qor-descriptors zelta) -pthread -o live
//   ./live points.ply
//
// Writes the points of the last frame. Exit code 0: all frames came out; 1: something failed; 2: wrong
// arguments.
#include <zelta_packet.h>

#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "QorDefinitions.h"
#include "QorPlugin.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---------------------------------------------------------------------------------------------------------------------
// Packets: records with their definitions

using Definition = void (*)(const void**, zelta_size_t*);

template <typename Record>
zelta::ZeltaChunk chunkOf(const Record& record, Definition definition, int channel) {
    const void* description = nullptr;
    zelta_size_t size = 0;
    definition(&description, &size);
    return {.description = description,
            .descSize = static_cast<int>(size),
            .data = &record,
            .dataSize = static_cast<int>(sizeof record),
            .channelID = channel};
}

Bytes packetOf(const zelta::Packet& chunks) {
    const int size = zelta::packet_get_required_size(chunks);
    Bytes packet(static_cast<std::size_t>(size));
    if (zelta::packet_create(packet.data(), size, chunks) != 0) {
        throw std::runtime_error("A packet cannot be made.");
    }
    return packet;
}

// ---------------------------------------------------------------------------------------------------------------------
// The camera

constexpr float modulation = 60.0e6F;                          // Hz
constexpr double airSpeed = 299'705'518.0;                     // of light, m/s
constexpr double unambiguous = airSpeed / (2.0 * modulation);  // metres that a turn of the phase takes
constexpr double focalLength = 210.0;                          // pixels
constexpr std::int32_t exposure = 400;                         // microseconds
constexpr double swing = 500.0;                                // of the samples, counts
constexpr double middle = 2048.0;                              // a sample without modulated light

struct Ray {
    double x, y, z;
};

Ray rayOf(int row, int column) {
    const double x = (column + 0.5 - 0.5 * QOR_IMAGE_WIDTH) / focalLength;
    const double y = (row + 0.5 - 0.5 * QOR_IMAGE_HEIGHT) / focalLength;
    const double length = std::sqrt(x * x + y * y + 1.0);
    return {x / length, y / length, 1.0 / length};
}

// A wall 2 m away, and a ball of 20 cm that swings before it.
double distanceAlong(const Ray& ray, double seconds) {
    const double wall = 2.0 / ray.z;
    const double centre[] = {0.4 * std::sin(2.0 * seconds), 0.0, 1.5};
    const double along = ray.x * centre[0] + ray.y * centre[1] + ray.z * centre[2];
    const double aside =
        centre[0] * centre[0] + centre[1] * centre[1] + centre[2] * centre[2] - along * along;
    constexpr double radius = 0.2;
    return aside < radius * radius ? along - std::sqrt(radius * radius - aside) : wall;
}

class Camera {
 public:
    // What the camera's memory holds; it goes out once, before the first image.
    Bytes calibrationPacket() const {
        auto calibration = std::make_unique<QorDistanceImageIFCalib>();  // value-initialised: all zero
        calibration->imagerCalib.numberOfFrequencies = 1;
        for (int slot = 0; slot < 4; ++slot) {
            calibration->imagerCalib.frequencies[slot] = modulation;
            calibration->imagerCalib.freqDependent[slot].ampWigg[0] = 1.0F;
        }
        FreqIndependentCalibration& pixels = calibration->imagerCalib.freqIndependent;
        pixels.minDiff = 1;
        pixels.maxDiff = 4094;
        for (int pixel = 0; pixel < QOR_PIXEL_COUNT; ++pixel) {
            pixels.vignetting[pixel] = 1.0F;
            pixels.FPN[pixel] = 1;
            const Ray ray = rayOf(pixel / QOR_IMAGE_WIDTH, pixel % QOR_IMAGE_WIDTH);
            calibration->unitVectors[3 * pixel] = static_cast<float>(ray.x);
            calibration->unitVectors[3 * pixel + 1] = static_cast<float>(ray.y);
            calibration->unitVectors[3 * pixel + 2] = static_cast<float>(ray.z);
        }
        calibration->intrinsicCalibration.fx = static_cast<float>(focalLength);
        calibration->intrinsicCalibration.fy = static_cast<float>(focalLength);
        calibration->intrinsicCalibration.mx = 0.5F * QOR_IMAGE_WIDTH;
        calibration->intrinsicCalibration.my = 0.5F * QOR_IMAGE_HEIGHT;
        const QorDICIAuxiliaryParam auxiliary{};
        return packetOf({chunkOf(*calibration, zeltaGet_QorDistanceImageIFCalib, QOR_CHANNEL_CALIBRATION),
                         chunkOf(auxiliary, zeltaGet_QorDICIAuxiliaryParam, QOR_CHANNEL_AUXILIARY)});
    }

    // The next of the four phase images of a frame, with the settings that hold for it.
    Bytes imagePacket() {
        const int phase = image_ % 4;
        const double seconds = 0.05 * (image_ / 4);  // the scene stands still for a frame
        QorDistanceImageIFInput input{};
        input.phaseInfo.timestamp = static_cast<std::uint32_t>(1000 * image_);
        input.phaseInfo.sequenceCounter = phase;
        input.phaseInfo.exposureTime = exposure;
        input.phaseInfo.frameCounter = static_cast<std::uint16_t>(image_ % 4096);
        input.customization.minAmplitude = 30.0F;
        input.customization.maximumRawSymmetry = 0.5F;
        input.param.numExposures = 1;
        input.param.numFrequencies = 1;
        input.param.maxUniqueRange = -1.0F;  // whatever the frequency can tell
        input.freqHoppingTable.frequencyHoppingTable[0].numlines = 1;
        input.freqHoppingTable.frequencyHoppingTableLength = 1;
        QorRawPhaseData raw{};
        expose(raw, phase, seconds);
        ++image_;
        return packetOf({chunkOf(input, zeltaGet_QorDistanceImageIFInput, QOR_CHANNEL_INPUT),
                         chunkOf(raw, zeltaGet_QorRawPhaseData, QOR_CHANNEL_RAW_IMAGE)});
    }

 private:
    // A sample of the correlation, the reference shifted by a quarter of a turn from phase to phase.
    static std::uint32_t sample(int row, int column, int phase, double seconds) {
        constexpr double turn = 2.0 * std::numbers::pi;
        const double angle = turn * distanceAlong(rayOf(row, column), seconds) / unambiguous;
        return static_cast<std::uint32_t>(std::lround(middle + swing * std::cos(angle - turn / 4.0 * phase)));
    }

    static void expose(QorRawPhaseData& raw, int phase, double seconds) {
        std::uint8_t* at = raw.phaseData + QOR_RAW_ROW_BYTES;  // after the line without image data
        for (int row = 0; row < QOR_IMAGE_HEIGHT; ++row) {
            for (int column = 0; column < QOR_IMAGE_WIDTH; column += 2) {
                const std::uint32_t even = sample(row, column, phase, seconds);
                const std::uint32_t odd = sample(row, column + 1, phase, seconds);
                *at++ = static_cast<std::uint8_t>(even >> 4U);
                *at++ = static_cast<std::uint8_t>(odd >> 4U);
                *at++ = static_cast<std::uint8_t>((even & 15U) | (odd & 15U) << 4U);
            }
        }
    }

    int image_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------
// Between the threads

// Holds a few packets. A camera does not wait: where the host is too slow, `push` says so and the driver
// decides what to drop. This camera waits, so that every frame comes out.
class Queue {
 public:
    void push(Bytes packet) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return packets_.size() < most || stopped_; });
        packets_.push_back(std::move(packet));
        changed_.notify_all();
    }

    // No packet after the last.
    std::optional<Bytes> pop() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !packets_.empty() || ended_; });
        if (packets_.empty()) {
            return std::nullopt;
        }
        Bytes packet = std::move(packets_.front());
        packets_.pop_front();
        changed_.notify_all();
        return packet;
    }

    // The camera has no more packets.
    void end() {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    // The host takes no more; nobody waits for it.
    void stop() {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }

    bool isStopped() const {
        const std::lock_guard lock(mutex_);
        return stopped_;
    }

 private:
    static constexpr std::size_t most = 8;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Bytes> packets_;
    bool ended_ = false;
    bool stopped_ = false;
};

// ---------------------------------------------------------------------------------------------------------------------
// The host: all calls of the plug-in come from one thread

class Algorithm {
 public:
    Algorithm() { createAlgo(); }
    ~Algorithm() { clearAlgo(); }
    Algorithm(const Algorithm&) = delete;
    Algorithm& operator=(const Algorithm&) = delete;

    // True if this packet finished a frame, which is then in `frame`.
    bool process(const Bytes& packet, QorDistanceImageIFOutput& frame) {
        std::int32_t failed = 0;
        processZelta(packet.data(), static_cast<std::int32_t>(packet.size()), 0, &failed);
        if (failed != 0) {
            throw std::runtime_error(std::string("A packet is refused: ") + lastExceptionMessage());
        }
        const std::int32_t size = getRequiredOutputSize(1);
        if (size == 0) {
            return false;
        }
        result_.resize(static_cast<std::size_t>(size));
        if (packResult(result_.data(), size) != 0) {
            throw std::runtime_error("The plug-in does not give its result.");
        }
        return copyFrame(frame);
    }

 private:
    bool copyFrame(QorDistanceImageIFOutput& frame) const {
        zelta::Packet chunks;
        if (zelta::packet_parse(result_.data(), static_cast<int>(result_.size()), chunks) != 0) {
            throw std::runtime_error("The result is no packet.");
        }
        for (const zelta::ZeltaChunk& chunk : chunks) {
            if (chunk.channelID == QOR_CHANNEL_RESULT && chunk.dataSize == static_cast<int>(sizeof frame)) {
                std::memcpy(&frame, chunk.data, sizeof frame);
                return true;
            }
        }
        return false;
    }

    Bytes result_;
};

bool isValid(const QorDistanceImageIFOutput& frame, int pixel) {
    return (frame.confidence[pixel] & QOR_CONFIDENCE_INVALID) == 0;
}

int countValid(const QorDistanceImageIFOutput& frame) {
    int count = 0;
    for (int pixel = 0; pixel < QOR_PIXEL_COUNT; ++pixel) {
        count += isValid(frame, pixel) ? 1 : 0;
    }
    return count;
}

double nearestPoint(const QorDistanceImageIFOutput& frame) {
    double nearest = 0.0;
    for (int pixel = 0; pixel < QOR_PIXEL_COUNT; ++pixel) {
        if (isValid(frame, pixel) && (nearest == 0.0 || frame.Z[pixel] < nearest)) {
            nearest = frame.Z[pixel];
        }
    }
    return nearest;
}

void writePoints(const QorDistanceImageIFOutput& frame, const std::string& path) {
    std::ofstream file(path);
    file << "ply\nformat ascii 1.0\ncomment metres\nelement vertex " << countValid(frame)
         << "\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    for (int pixel = 0; pixel < QOR_PIXEL_COUNT; ++pixel) {
        if (isValid(frame, pixel)) {
            file << frame.X[pixel] << ' ' << frame.Y[pixel] << ' ' << frame.Z[pixel] << '\n';
        }
    }
    file.close();
    if (!file) {
        throw std::runtime_error(path + " cannot be written.");
    }
}

constexpr int frameCount = 20;

void runCamera(Queue& queue) {
    try {
        Camera camera;
        queue.push(camera.calibrationPacket());
        for (int image = 0; image < 4 * frameCount && !queue.isStopped(); ++image) {
            queue.push(camera.imagePacket());
        }
    } catch (const std::exception& error) {
        std::cerr << "The camera failed: " << error.what() << '\n';
    }
    queue.end();
}

// Prints a line for each frame; returns how many came out. `frame` holds the last.
int processAll(Queue& queue, QorDistanceImageIFOutput& frame) {
    Algorithm algorithm;
    int frames = 0;
    while (const std::optional<Bytes> packet = queue.pop()) {
        if (algorithm.process(*packet, frame)) {
            ++frames;
            std::printf("frame %u: %d points, the nearest %.3f m ahead\n", frame.frameCounter,
                        countValid(frame), nearestPoint(frame));
        }
    }
    return frames;
}

int run(const std::string& path) {
    Queue queue;
    std::thread camera(runCamera, std::ref(queue));
    const auto frame = std::make_unique<QorDistanceImageIFOutput>();
    int frames = 0;
    std::string failure;
    try {
        frames = processAll(queue, *frame);
        writePoints(*frame, path);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    queue.stop();
    camera.join();
    if (!failure.empty() || frames != frameCount) {
        std::cerr << (failure.empty() ? "Frames are missing." : failure) << '\n';
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: live POINTS.ply\n";
        return 2;
    }
    return run(argv[1]);
}
