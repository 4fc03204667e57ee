// SPDX-License-Identifier: Apache-2.0

#include "qor/Diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <string_view>

#include "PacketZelta.h"
#include "calibrating/CalibrationChecks.h"
#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "plugin/ImageInfo.h"
#include "qor/Arguments.h"
#include "qor/Timeline.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "zelta_parse.h"

namespace qor {
namespace {

using recording::Stretch;
using zelta::ZeltaChunk;
namespace channel = recording::channel;

using Bytes = std::span<const std::uint8_t>;

const char* const useRecover = "qor recover writes the packets before and after it.";
const char* const useCalibration =
    "Calibrate the camera anew, or take the calibration of another recording of it.";
const char* const askSender = "Change it where the recording was made, or for one run with qor run --set.";

struct RecordPlace {
    int channel;
    std::string_view record;
};

// Where the plug-in and the command look for records.
constexpr std::array recordPlaces{
    RecordPlace{channel::rawImage, "QorRawPhaseData"},
    RecordPlace{channel::input, "QorDistanceImageIFInput"},
    RecordPlace{channel::calibration, "QorDistanceImageIFCalib"},
    RecordPlace{channel::auxiliary, "QorDICIAuxiliaryParam"},
    RecordPlace{channel::sceneTruth, "SceneTruth"},
    RecordPlace{channel::frequencyTruth, "FrequencyTruth"},
    RecordPlace{channel::simulation, "Simulation"},
};

// The chunks point into the bytes, which nothing changes.
zelta::Packet chunksOf(Bytes bytes) {
    zelta::Packet chunks;
    zelta::packet_parse(const_cast<std::uint8_t*>(bytes.data()), static_cast<int>(bytes.size()), chunks);
    return chunks;
}

Bytes dataOf(const ZeltaChunk& chunk) {
    return {static_cast<const std::uint8_t*>(chunk.data), static_cast<std::size_t>(chunk.dataSize)};
}

std::size_t placeOfDefinition(Bytes bytes, const Stretch& stretch, const ZeltaChunk& chunk) {
    return stretch.offset +
           static_cast<std::size_t>(static_cast<const std::uint8_t*>(chunk.description) - bytes.data());
}

class Examination {
 public:
    void look(Bytes bytes, const Stretch& stretch) {
        stretch_ = stretch;
        if (!stretch.fault.empty()) {
            findings_.push_back({stretch.faultAt, packet_, std::nullopt,
                                 fmt::format("{}; {} from byte {} on are no packet.", stretch.fault,
                                             counted(stretch.size, "byte"), stretch.offset),
                                 useRecover, true});
            return;
        }
        offsets_.push_back(stretch.offset);
        std::vector<Finding> faults = faultsOfDefinitions(bytes, stretch, packet_);
        std::move(faults.begin(), faults.end(), std::back_inserter(findings_));
        const zelta::Packet chunks = chunksOf(bytes);
        if (chunks.empty()) {
            add("The packet has no chunks.", "It does no harm; qor recover leaves it out.");
        }
        for (std::size_t k = 0; k < chunks.size(); ++k) {
            lookAtDefinition(bytes, chunks[k], k);
        }
        if (const auto image = imageInfo_.read(chunks)) {
            timeline_.add(*image, packet_);
        }
        if (const ZeltaChunk* const chunk = recording::findChunk(chunks, channel::calibration)) {
            lookAtCalibration(*chunk);
        }
        if (const ZeltaChunk* const chunk = recording::findChunk(chunks, channel::auxiliary)) {
            readLimits(*chunk);
        }
        lookAtImage(chunks);
        ++packet_;
    }

    Diagnosis take() {
        for (const Gap& gap : timeline_.gaps()) {
            findings_.push_back({offsets_[gap.packet], gap.packet, std::nullopt, gap.sentence,
                                 "What was lost before it was recorded does not come back; qor extract "
                                 "--frames writes the frames that are whole.",
                                 false});
        }
        addOddDefinitions();
        if (images_ > 0) {
            std::move(halfImages_.begin(), halfImages_.end(), std::back_inserter(findings_));
        }
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding& left, const Finding& right) { return left.byte < right.byte; });
        return {std::move(findings_), packet_};
    }

 private:
    struct Definition {
        std::size_t count = 0;
        Finding first;  // where it stands
    };

    void add(std::string rule, std::string advice) {
        findings_.push_back(
            {stretch_.offset, packet_, std::nullopt, std::move(rule), std::move(advice), false});
    }

    // For what is the same in many packets.
    void addOnce(const std::string& rule, const char* advice) {
        if (told_.insert(rule).second) {
            add(rule, advice);
        }
    }

    void lookAtDefinition(Bytes bytes, const ZeltaChunk& chunk, std::size_t number) {
        const std::size_t byte = placeOfDefinition(bytes, stretch_, chunk);
        const std::string text(static_cast<const char*>(chunk.description),
                               static_cast<std::size_t>(chunk.descSize));
        Definition& definition = definitions_[chunk.channelID][text];
        if (definition.count++ > 0) {
            return;
        }
        definition.first = {byte, packet_, number, "", "", false};
        try {
            const std::string name = recording::typeOf(chunk)->name;
            const auto misplaced = [&](const RecordPlace& place) {
                return (place.channel == chunk.channelID) != (place.record == name);
            };
            const auto* const place = std::ranges::find_if(recordPlaces, misplaced);
            if (place != recordPlaces.end()) {
                findings_.push_back({byte, packet_, number,
                                     fmt::format("The record \"{}\" stands on channel {}; channel {} is for "
                                                 "\"{}\".",
                                                 name, chunk.channelID, place->channel, place->record),
                                     "The plug-in does not find it; record the camera again.", false});
            }
        } catch (const recording::RecordError&) {
            return;  // reported with the faults of definitions
        }
    }

    // A sender repeats its definitions. Of two that are as frequent, the first one counts.
    void addOddDefinitions() {
        for (auto& [id, definitions] : definitions_) {
            std::vector<Definition*> all;
            for (auto& [text, definition] : definitions) {
                all.push_back(&definition);
            }
            const auto usual =
                std::ranges::min_element(all, [](const Definition* left, const Definition* right) {
                    return left->count != right->count ? left->count > right->count
                                                       : left->first.packet < right->first.packet;
                });
            for (Definition* const definition : all) {
                if (definition != *usual) {
                    definition->first.rule =
                        fmt::format("The definition on channel {} is another one than in most packets.", id);
                    definition->first.advice =
                        "Compare them with qor tree; where the sender did not change, the packet is damaged.";
                    findings_.push_back(definition->first);
                }
            }
        }
    }

    void lookAtCalibration(const ZeltaChunk& chunk) {
        const Bytes record = dataOf(chunk);
        if (calibration_) {
            if (!std::ranges::equal(record, *calibration_)) {
                add("The calibration is not the first one, and the plug-in keeps the first.",
                    "Cut the recording here with qor extract.");
            }
            return;
        }
        calibration_.emplace(record.begin(), record.end());
        try {
            const calibrating::CameraDescription camera = calibrating::cameraIn(chunk);
            frequencies_ = static_cast<double>(camera.calibration.frequencies.size());
            std::vector<calibrating::Fault> faults = calibrating::faultsOf(camera);
            const std::vector<calibrating::Fault> doubts = calibrating::doubtsOf(camera);
            faults.insert(faults.end(), doubts.begin(), doubts.end());
            for (const calibrating::Fault& fault : faults) {
                add(fault.sentence, useCalibration);
            }
        } catch (const calibrating::CalibrationError& error) {
            add(error.what(), useCalibration);
        } catch (const recording::RecordError& error) {
            add(std::string("The calibration cannot be used: ") + error.what(), useCalibration);
        }
    }

    // 0 stands for no limit.
    void readLimits(const ZeltaChunk& chunk) {
        try {
            exposureStep_ = recording::numberOf(chunk, "QorDICIAuxiliaryParam.expTimeStep");
            longestExposure_ = recording::numberOf(chunk, "QorDICIAuxiliaryParam.maxExpDurationThresh");
        } catch (const recording::RecordError&) {
            return;  // a camera without them
        }
    }

    void lookAtImage(const zelta::Packet& chunks) {
        const ZeltaChunk* const image = recording::findChunk(chunks, channel::rawImage);
        const ZeltaChunk* const input = recording::findChunk(chunks, channel::input);
        if ((image == nullptr) != (input == nullptr)) {
            halfImages_.push_back({stretch_.offset, packet_, std::nullopt,
                                   image == nullptr ? "The packet has an input record and no raw image."
                                                    : "The packet has a raw image and no input record.",
                                   "The plug-in cannot use it; record the camera again.", false});
        }
        if (image == nullptr || input == nullptr) {
            return;
        }
        ++images_;
        if (!calibration_) {
            addOnce("An image comes before any calibration, and the plug-in drops it.",
                    "Put a recording with the calibration before this one with qor concat.");
        }
        try {
            lookAtExposure(*input);
            lookAtParameters(*input);
        } catch (const recording::RecordError&) {
            return;  // reported with the definitions, or of another kind
        }
    }

    void lookAtExposure(const ZeltaChunk& input) {
        const std::string info = "QorDistanceImageIFInput.phaseInfo.";
        const double frequency = recording::numberOf(input, info + "freqIdx");
        if (frequencies_ && !(frequency >= 0.0 && frequency < *frequencies_)) {
            addOnce(fmt::format("The image names frequency {}, and the calibration has {}.", frequency,
                                *frequencies_),
                    "Take the calibration that belongs to this camera and its settings.");
        }
        const double exposure = recording::numberOf(input, info + "exposureTime");
        if (!(exposure > 0.0)) {
            addOnce(fmt::format("The exposure time is {}; amplitudes are divided by it.", exposure),
                    askSender);
        } else if (longestExposure_ > 0.0 && exposure > longestExposure_) {
            addOnce(fmt::format("The exposure time is {}, and {} is the camera's longest.", exposure,
                                longestExposure_),
                    askSender);
        } else if (exposureStep_ > 0.0 && std::fmod(exposure, exposureStep_) != 0.0) {
            addOnce(fmt::format("The exposure time is {}, no multiple of the camera's step of {}.", exposure,
                                exposureStep_),
                    askSender);
        }
    }

    void lookAtParameters(const ZeltaChunk& input) {
        const std::string param = "QorDistanceImageIFInput.param.";
        for (const char* const member : {"numExposures", "numFrequencies"}) {
            const double count = recording::numberOf(input, param + member);
            if (count != 1.0 && count != 2.0) {
                addOnce(fmt::format("{} is {}, where 1 and 2 are possible.", member, count), askSender);
            }
        }
        const std::string fault =
            calibrating::rangeFault(recording::numberOf(input, param + "maxUniqueRange"),
                                    recording::numberOf(input, param + "numFrequencies"));
        if (!fault.empty()) {
            addOnce(
                fault,
                "Set it to the furthest distance in metres, or to -1 for all that the frequencies can tell.");
        }
    }

    Stretch stretch_;  // that is looked at
    std::size_t packet_ = 0;
    std::vector<std::size_t> offsets_;  // of the packets
    plugin::ImageInfoReader imageInfo_;
    Timeline timeline_;
    std::size_t images_ = 0;
    std::vector<Finding> halfImages_;  // findings only where other packets are whole images
    std::map<int, std::map<std::string, Definition>> definitions_;
    std::optional<std::vector<std::uint8_t>> calibration_;  // the first
    std::optional<double> frequencies_;                     // of the calibration
    double exposureStep_ = 0.0;
    double longestExposure_ = 0.0;
    std::set<std::string> told_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> faultsOfDefinitions(Bytes bytes, const Stretch& stretch, std::size_t packet) {
    std::vector<Finding> faults;
    const zelta::Packet chunks = chunksOf(bytes);
    for (std::size_t k = 0; k < chunks.size(); ++k) {
        const ZeltaChunk& chunk = chunks[k];
        const std::size_t byte = placeOfDefinition(bytes, stretch, chunk);
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

Diagnosis diagnose(recording::FileBytes& bytes) {
    recording::Salvage salvage(bytes);
    Examination examination;
    while (const std::optional<Stretch> stretch = salvage.next()) {
        examination.look(salvage.bytesOf(*stretch), *stretch);
    }
    return examination.take();
}

}  // namespace qor
