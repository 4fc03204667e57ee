// SPDX-License-Identifier: Apache-2.0

#include "qor/Diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "PacketZelta.h"
#include "qor/Arguments.h"
#include "qor/Timeline.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "zelta_parse.h"

namespace qor {
namespace {

using zelta::ZeltaChunk;

constexpr std::size_t pixels = 38528;
constexpr double shortestRay = 0.5;  // a unit vector has length 1

const char* const useRecover = "qor recover writes the packets before and after it.";
const char* const useCalibration =
    "Calibrate the camera anew, or take the calibration of another recording of it.";

// The chunks point into the bytes, which nothing changes.
zelta::Packet chunksOf(std::span<const std::uint8_t> bytes, const recording::Stretch& stretch) {
    zelta::Packet chunks;
    auto* const start = const_cast<std::uint8_t*>(bytes.data() + stretch.offset);
    zelta::packet_parse(start, static_cast<int>(stretch.size), chunks);
    return chunks;
}

class Examination {
 public:
    explicit Examination(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    void look(const recording::Stretch& stretch) {
        if (!stretch.fault.empty()) {
            findings_.push_back({stretch.faultAt, packet_, std::nullopt,
                                 fmt::format("{}; {} from byte {} on are no packet.", stretch.fault,
                                             counted(stretch.size, "byte"), stretch.offset),
                                 useRecover, true});
            return;
        }
        offsets_.push_back(stretch.offset);
        for (Finding& fault : faultsOfDefinitions(bytes_, stretch, packet_)) {
            findings_.push_back(std::move(fault));
        }
        const zelta::Packet chunks = chunksOf(bytes_, stretch);
        if (chunks.empty()) {
            add(stretch, "The packet has no chunks.", "It does no harm; qor recover leaves it out.");
        }
        timeline_.add({packet_, stretch.offset, {}, chunks});
        if (const ZeltaChunk* const chunk = recording::findChunk(chunks, recording::channel::calibration)) {
            lookAtCalibration(stretch, *chunk);
        }
        lookAtImage(stretch, chunks);
        ++packet_;
    }

    std::vector<Finding> take() {
        for (const Gap& gap : timeline_.gaps()) {
            const std::string sentence = gap.sentence.substr(gap.sentence.find(": ") + 2);
            findings_.push_back(
                {offsets_[gap.packet], gap.packet, std::nullopt, capitalised(sentence),
                 "Images were lost before they were recorded; qor run holds back frames that are "
                 "not whole.",
                 false});
        }
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding& left, const Finding& right) { return left.byte < right.byte; });
        return std::move(findings_);
    }

 private:
    static std::string capitalised(std::string text) {
        if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
            text[0] = static_cast<char>(text[0] - 'a' + 'A');
        }
        return text;
    }

    void add(const recording::Stretch& stretch, std::string rule, std::string advice) {
        findings_.push_back(
            {stretch.offset, packet_, std::nullopt, std::move(rule), std::move(advice), false});
    }

    void lookAtCalibration(const recording::Stretch& stretch, const ZeltaChunk& chunk) {
        const auto* const data = static_cast<const std::uint8_t*>(chunk.data);
        const std::span<const std::uint8_t> record(data, static_cast<std::size_t>(chunk.dataSize));
        if (calibration_.data() != nullptr) {
            if (!std::ranges::equal(record, calibration_)) {
                add(stretch, "The calibration is not the first one, and the plug-in keeps the first.",
                    "Cut the recording here with qor extract.");
            }
            return;
        }
        calibration_ = record;
        const std::string root = "QorDistanceImageIFCalib.";
        try {
            const auto vignetting =
                recording::imageOf(chunk, root + "imagerCalib.freqIndependent.vignetting", pixels);
            const auto dark = std::count(vignetting.begin(), vignetting.end(), 0.0F);
            if (dark > 0) {
                add(stretch,
                    fmt::format("The vignetting of {} is 0: they have no amplitude.",
                                counted(static_cast<std::uint64_t>(dark), "pixel")),
                    useCalibration);
            }
            lookAtRays(stretch, recording::imageOf(chunk, root + "unitVectors", 3 * pixels));
            frequencies_ = recording::numberOf(chunk, root + "imagerCalib.numberOfFrequencies");
        } catch (const recording::RecordError& error) {
            add(stretch, std::string("The calibration cannot be used: ") + error.what(), useCalibration);
        }
    }

    void lookAtRays(const recording::Stretch& stretch, const std::vector<float>& rays) {
        std::size_t bad = 0;
        for (std::size_t k = 0; k + 2 < rays.size(); k += 3) {
            const double x = rays[k];
            const double y = rays[k + 1];
            const double z = rays[k + 2];
            bad += std::sqrt(x * x + y * y + z * z) > shortestRay ? 0U : 1U;  // also for NaN
        }
        if (bad > 0) {
            add(stretch,
                fmt::format("The rays of {} have no length: their points lie in the camera.",
                            counted(bad, "pixel")),
                useCalibration);
        }
    }

    void lookAtImage(const recording::Stretch& stretch, const zelta::Packet& chunks) {
        if (recording::findChunk(chunks, recording::channel::rawImage) == nullptr) {
            return;
        }
        if (calibration_.data() == nullptr && !toldOfNoCalibration_) {
            toldOfNoCalibration_ = true;
            add(stretch, "An image comes before any calibration, and the plug-in drops it.",
                "Put a recording with the calibration before this one with qor concat.");
        }
        const ZeltaChunk* const input = recording::findChunk(chunks, recording::channel::input);
        if (input == nullptr || !frequencies_) {
            return;
        }
        try {
            const double index = recording::numberOf(*input, "QorDistanceImageIFInput.phaseInfo.freqIdx");
            if (index < 0.0 || index >= *frequencies_) {
                add(stretch,
                    fmt::format("The image names frequency {}, and the calibration has {}.", index,
                                *frequencies_),
                    "Take the calibration that belongs to this camera and its settings.");
            }
        } catch (const recording::RecordError&) {
            return;  // reported with the definitions, or of another kind
        }
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t packet_ = 0;
    std::vector<std::size_t> offsets_;  // of the packets
    Timeline timeline_;
    std::span<const std::uint8_t> calibration_;  // the first
    std::optional<double> frequencies_;          // of the calibration
    bool toldOfNoCalibration_ = false;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> faultsOfDefinitions(std::span<const std::uint8_t> bytes,
                                         const recording::Stretch& stretch, std::size_t packet) {
    std::vector<Finding> faults;
    const zelta::Packet chunks = chunksOf(bytes, stretch);
    for (std::size_t k = 0; k < chunks.size(); ++k) {
        const ZeltaChunk& chunk = chunks[k];
        const auto byte =
            static_cast<std::size_t>(static_cast<const std::uint8_t*>(chunk.description) - bytes.data());
        try {
            const unsigned int size = zelta::typeSize(recording::typeOf(chunk));
            if (size != static_cast<unsigned int>(chunk.dataSize)) {
                faults.push_back(
                    {byte, packet, k,
                     fmt::format("The definition on channel {} describes {} bytes, where {} bytes of "
                                 "data follow.",
                                 chunk.channelID, size, chunk.dataSize),
                     useRecover, true});
            }
        } catch (const recording::RecordError& error) {
            faults.push_back({byte, packet, k, error.what(), useRecover, true});
        }
    }
    return faults;
}

std::vector<Finding> diagnose(std::span<const std::uint8_t> bytes,
                              const std::vector<recording::Stretch>& stretches) {
    Examination examination(bytes);
    for (const recording::Stretch& stretch : stretches) {
        examination.look(stretch);
    }
    return examination.take();
}

}  // namespace qor
