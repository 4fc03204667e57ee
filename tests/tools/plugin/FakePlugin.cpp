// SPDX-License-Identifier: Apache-2.0
//
// A plug-in for tests. It records how its host calls it, fails when told to, and finishes a frame with the
// image whose sequenceCounter is 3: every distance is then the recorded minAmplitude, in metres. Its
// orders stand in the environment:
//     FAKE_PLUGIN_LOG          file that takes a line for each call
//     FAKE_PLUGIN_FAIL         numbers of packets that it refuses, as ",3,7,"
//     FAKE_PLUGIN_BAD_RESULT   throws when it is asked for a result
//     FAKE_PLUGIN_SILENT       never has a result
//     FAKE_PLUGIN_DISTANCE     the distance of the first pixel, as strtof reads it
//     FAKE_PLUGIN_COORDINATES  coordinates are valid: X = column, Y = row, Z = distance

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "QorPlugin.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace {

using recording::float32;
using recording::int32;
using recording::uint16;
using recording::uint32;
using recording::uint8;

constexpr unsigned int columns = 224;
constexpr unsigned int rows = 172;
constexpr unsigned int pixels = columns * rows;

void note(const std::string& line) {
    if (const char* path = std::getenv("FAKE_PLUGIN_LOG")) {
        std::ofstream(path, std::ios::app) << line << "\n";
    }
}

recording::Member resultDescription() {
    return recording::structure(
        "QorDistanceImageIFOutput",
        {uint16("width"), uint16("height"), uint32("timestamp"), uint32("frameCounter"),
         int32("outputInvalid"), float32("distance", {pixels}), float32("normalizedAmplitude", {pixels}),
         uint8("confidence", {pixels}), int32("coord3Dinvalid"), float32("X", {pixels}),
         float32("Y", {pixels}), float32("Z", {pixels}), int32("distanceNoiseInvalid"),
         float32("distanceNoise", {pixels}), int32("intensityInvalid"), uint16("intensity", {pixels})});
}

class Algorithm {
 public:
    void process(const void* bytes, std::int32_t size) {
        const std::size_t number = packets_++;
        own_.clear();
        std::vector<std::uint8_t>& copy = own_;
        copy.assign(static_cast<const std::uint8_t*>(bytes), static_cast<const std::uint8_t*>(bytes) + size);
        frame_.reset();
        received_.clear();
        const char* const failing = std::getenv("FAKE_PLUGIN_FAIL");
        std::string listed = ",";
        listed += std::to_string(number);
        listed += ',';
        if (failing != nullptr && std::string(failing).find(listed) != std::string::npos) {
            throw std::runtime_error("told to fail at packet " + std::to_string(number));
        }
        if (zelta::packet_parse(copy.data(), size, received_) != 0) {
            throw std::runtime_error("Unable to parse zelta packet");
        }
        const zelta::ZeltaChunk* const input = recording::findChunk(received_, recording::channel::input);
        if (input != nullptr &&
            recording::numberOf(*input, "QorDistanceImageIFInput.phaseInfo.sequenceCounter") == 3.0) {
            finishFrame(*input);
        }
    }

    std::int32_t requiredSize(bool shortForm) {
        chosen_.clear();
        if (std::getenv("FAKE_PLUGIN_SILENT") != nullptr) {
            return 0;
        }
        if (std::getenv("FAKE_PLUGIN_BAD_RESULT") != nullptr) {
            throw std::runtime_error("told to have a bad result");
        }
        if (!shortForm) {
            chosen_ = received_;
        }
        if (frame_) {
            chosen_.push_back(frame_->chunk(recording::channel::result));
        }
        return chosen_.empty() ? 0 : zelta::packet_get_required_size(chosen_);
    }

    int pack(void* bytes, int size) const { return zelta::packet_create(bytes, size, chosen_); }

 private:
    void finishFrame(const zelta::ZeltaChunk& input) {
        const auto value = [&input](const char* member) {
            return recording::numberOf(input, std::string("QorDistanceImageIFInput.") + member);
        };
        const auto distance = static_cast<float>(value("customization.minAmplitude"));
        frame_.emplace(resultDescription());
        const std::string root = "QorDistanceImageIFOutput.";
        frame_->set<unsigned int>(root + "frameCounter",
                                  static_cast<unsigned int>(value("phaseInfo.frameCounter")));
        frame_->set<float>(root + "distance", std::vector<float>(pixels, distance));
        if (const char* first = std::getenv("FAKE_PLUGIN_DISTANCE")) {
            frame_->set<float>(root + "distance[0]", std::strtof(first, nullptr));
        }
        frame_->set<float>(root + "normalizedAmplitude", std::vector<float>(pixels, 1.0F));
        frame_->set<unsigned char>(root + "confidence", std::vector<unsigned char>(pixels, 0x10));
        const bool noise = std::getenv("FAKE_PLUGIN_NOISE") != nullptr;
        frame_->set<int>(root + "distanceNoiseInvalid", noise ? 0 : 1);
        frame_->set<float>(root + "distanceNoise", std::vector<float>(pixels, 0.004F));
        frame_->set<int>(root + "intensityInvalid", noise ? 0 : 1);
        frame_->set<unsigned short>(root + "intensity", std::vector<unsigned short>(pixels, 100));
        const bool coordinates = std::getenv("FAKE_PLUGIN_COORDINATES") != nullptr;
        frame_->set<int>(root + "coord3Dinvalid", coordinates ? 0 : 1);
        std::vector<float> x;
        std::vector<float> y;
        for (unsigned int i = 0; i < pixels; ++i) {
            x.push_back(static_cast<float>(i % columns));
            y.push_back(static_cast<float>(i / columns));
        }
        frame_->set<float>(root + "X", x);
        frame_->set<float>(root + "Y", y);
        frame_->set<float>(root + "Z", std::vector<float>(pixels, distance));
    }

    std::size_t packets_ = 0;
    std::vector<std::uint8_t> own_;
    zelta::Packet received_;
    zelta::Packet chosen_;
    std::optional<recording::Record> frame_;
};

std::unique_ptr<Algorithm> algorithm;
std::string lastException;

}  // namespace

void createAlgo() {
    note("createAlgo");
    algorithm = std::make_unique<Algorithm>();
}

void clearAlgo() {
    note("clearAlgo");
    algorithm.reset();
}

std::int32_t processZelta(const void* bytes, std::int32_t size, std::int32_t fromCustomPin,
                          std::int32_t* exceptionOccured) {
    note("processZelta " + std::to_string(size) + " " + std::to_string(fromCustomPin));
    *exceptionOccured = 0;
    try {
        algorithm->process(bytes, size);
    } catch (const std::exception& error) {
        lastException = error.what();
        *exceptionOccured = 1;
    }
    return 0;
}

std::int32_t getRequiredOutputSize(std::int32_t isPIL) {
    note("getRequiredOutputSize " + std::to_string(isPIL));
    return algorithm->requiredSize(isPIL == 1);
}

std::int32_t packResult(void* bytes, int size) {
    note("packResult");
    return algorithm->pack(bytes, size);
}

void getAlgoVersion(AlgoVersion* version) {
    *version = {1, 22, 333};
}

const char* lastMessage() {
    return "fake message";
}
const char* prettyName() {
    return "Fake Algorithm";
}
const char* lastExceptionMessage() {
    return lastException.c_str();
}
