// SPDX-License-Identifier: Apache-2.0

#include "qor/ExportSource.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <variant>

#include "qor/Complaints.h"
#include "qor/RecordValues.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace qor {
namespace {

using exporting::Channel;

constexpr std::size_t mostRawImages = 64;  // of a frame: three frequencies, two exposures and more fit

const std::vector<std::size_t> imageShape{simulation::imageHeight, simulation::imageWidth};

enum class Image { Distance, Amplitude, Confidence, Noise, Intensity, X, Y, Z, Raw };

struct NamedImage {
    Image image;
    std::string_view name;
    std::string_view unit;
};

constexpr std::array namedImages{
    NamedImage{Image::Distance, "distance", "m"},
    NamedImage{Image::Amplitude, "amplitude", "counts/us"},
    NamedImage{Image::Confidence, "confidence", ""},
    NamedImage{Image::Noise, "noise", "m"},
    NamedImage{Image::Intensity, "intensity", "counts"},
    NamedImage{Image::X, "x", "m"},
    NamedImage{Image::Y, "y", "m"},
    NamedImage{Image::Z, "z", "m"},
    NamedImage{Image::Raw, "raw", "counts"},
};

const NamedImage* imageNamed(std::string_view name) {
    const auto* const known = std::find_if(namedImages.begin(), namedImages.end(),
                                           [name](const NamedImage& image) { return image.name == name; });
    return known == namedImages.end() ? nullptr : known;
}

Channel channelOf(const NamedImage& image, arrays::Array array) {
    return {std::string(image.name), std::string(image.unit), std::move(array)};
}

arrays::Array usableOf(const std::vector<float>& values, const std::vector<std::uint8_t>& usable) {
    std::vector<float> masked = values;
    for (std::size_t i = 0; i < masked.size(); ++i) {
        if (usable[i] == 0) {
            masked[i] = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return exporting::arrayOf(std::span<const float>(masked), imageShape);
}

// Counts of 16 bits, as the plug-in gives them; another sender may give others.
arrays::Array intensityOf(const std::vector<float>& values) {
    const bool counts = std::all_of(values.begin(), values.end(), [](float value) {
        return value >= 0.0F && value <= 65535.0F && value == std::floor(value);
    });
    if (!counts) {
        return exporting::arrayOf(std::span<const float>(values), imageShape);
    }
    std::vector<std::uint16_t> whole(values.size());
    std::transform(values.begin(), values.end(), whole.begin(),
                   [](float value) { return static_cast<std::uint16_t>(value); });
    return exporting::arrayOf(std::span<const std::uint16_t>(whole), imageShape);
}

// Of a frame that has it.
std::optional<arrays::Array> resultImage(Image image, const ResultFrame& frame,
                                         const std::vector<std::uint8_t>& usable) {
    const auto ifThere = [&](const std::vector<float>& values) {
        return values.empty() ? std::nullopt : std::optional(usableOf(values, usable));
    };
    const auto coordinate = [&](std::vector<float> Coordinates::*member) {
        return frame.coordinates ? ifThere(*frame.coordinates.*member) : std::nullopt;
    };
    switch (image) {
        case Image::Distance:
            return usableOf(frame.distance, usable);
        case Image::Amplitude:
            return usableOf(frame.amplitude, usable);
        case Image::Confidence:
            return exporting::arrayOf(std::span<const std::uint8_t>(frame.confidence), imageShape);
        case Image::Noise:
            return ifThere(frame.noise);
        case Image::Intensity:
            return frame.intensity.empty() ? std::nullopt : std::optional(intensityOf(frame.intensity));
        case Image::X:
            return coordinate(&Coordinates::X);
        case Image::Y:
            return coordinate(&Coordinates::Y);
        case Image::Z:
            return coordinate(&Coordinates::Z);
        case Image::Raw:
            break;
    }
    return std::nullopt;
}

bool holdsResult(const zelta::Packet& packet) {
    try {
        const zelta::ZeltaChunk* const chunk = recording::findChunk(packet, recording::channel::result);
        return chunk != nullptr &&
               recording::numberOf(*chunk, "QorDistanceImageIFOutput.outputInvalid") == 0.0;
    } catch (const recording::RecordError&) {
        return false;
    }
}

// Numbers the frames packet by packet.
class FrameCounter {
 public:
    // Of the frame that the packet belongs to.
    std::size_t number(const zelta::Packet& packet) {
        begun_ += recording::beginsFrame(packet) ? 1 : 0;
        const std::size_t number = begun_ > 0 ? begun_ - 1 : results_;
        results_ += begun_ == 0 && holdsResult(packet) ? 1 : 0;
        return number;
    }

 private:
    std::size_t begun_ = 0;
    std::size_t results_ = 0;
};

// Collects the images of a frame, which come in several packets.
class FrameCollector {
 public:
    FrameCollector(const ExportWishes& wishes, ExportFindings& findings,
                   const std::function<void(const ExportItem&)>& give)
        : wishes_(wishes), findings_(findings), give_(give) {
        for (const std::string& name : wishes.images) {
            const NamedImage& image = *imageNamed(name);
            images_.push_back(image);
            wantsRaw_ = wantsRaw_ || image.image == Image::Raw;
            wantsResult_ = wantsResult_ || image.image != Image::Raw;
            wantsCoordinates_ = wantsCoordinates_ || image.image == Image::X || image.image == Image::Y ||
                                image.image == Image::Z;
        }
        wantsResult_ = wantsResult_ || wishes.points;
        wantsCoordinates_ = wantsCoordinates_ || wishes.points;
    }

    void add(const recording::RecordedPacket& packet, std::size_t number) {
        if (number != number_) {
            finishFrame();
            number_ = number;
        }
        packet_ = packet.index;
        try {
            addResult(packet);
            addRawImage(packet);
        } catch (const recording::RecordError& error) {
            findings_.addFault(fmt::format("packet {}: {}", packet.index, error.what()));
        }
    }

    void finishFrame() {
        ExportItem item{number_, packet_, {}, {}};
        const std::vector<std::uint8_t> usable =
            result_ ? usablePixels(*result_) : std::vector<std::uint8_t>{};
        for (const NamedImage& image : images_) {
            std::optional<arrays::Array> array = image.image == Image::Raw ? rawImages()
                                                 : result_ ? resultImage(image.image, *result_, usable)
                                                           : std::nullopt;
            if (array) {
                item.channels.push_back(channelOf(image, std::move(*array)));
                ++findings_.found[std::string(image.name)];
            }
        }
        if (wishes_.points && result_ && result_->coordinates) {
            item.points = std::move(result_);
            ++findings_.found[pointsName];
        }
        result_.reset();
        raw_.clear();
        rawCount_ = 0;
        if (!item.channels.empty() || item.points) {
            ++findings_.items;
            give_(item);
        }
    }

 private:
    void addResult(const recording::RecordedPacket& packet) {
        if (!wantsResult_) {
            return;
        }
        std::optional<ResultFrame> frame = frameIn(packet.chunks, wantsCoordinates_);
        if (frame && result_) {
            throw recording::RecordError("a second result of the same frame; it is left out.");
        }
        if (frame) {
            result_ = std::move(frame);
        }
    }

    void addRawImage(const recording::RecordedPacket& packet) {
        const zelta::ZeltaChunk* const chunk =
            wantsRaw_ ? recording::findChunk(packet.chunks, recording::channel::rawImage) : nullptr;
        if (chunk == nullptr) {
            return;
        }
        if (rawCount_ == mostRawImages) {
            throw recording::RecordError(
                fmt::format("a frame of more than {} raw images; this one is left out.", mostRawImages));
        }
        const std::vector<std::uint16_t> samples = simulation::unpackRawImage(
            recording::bytesOf(*chunk, "QorRawPhaseData.phaseData", simulation::rawImageBytes));
        raw_.insert(raw_.end(), samples.begin(), samples.end());
        ++rawCount_;
    }

    std::optional<arrays::Array> rawImages() const {
        if (rawCount_ == 0) {
            return std::nullopt;
        }
        return exporting::arrayOf(std::span<const std::uint16_t>(raw_),
                                  {rawCount_, imageShape[0], imageShape[1]});
    }

    const ExportWishes& wishes_;
    ExportFindings& findings_;
    const std::function<void(const ExportItem&)>& give_;
    std::vector<NamedImage> images_;
    bool wantsRaw_ = false;
    bool wantsResult_ = false;
    bool wantsCoordinates_ = false;
    std::size_t number_ = 0;
    std::size_t packet_ = 0;
    std::optional<ResultFrame> result_;
    std::vector<std::uint16_t> raw_;  // one image after the other
    std::size_t rawCount_ = 0;
};

arrays::Array arrayOf(const RecordValue& value) {
    return std::visit(
        [&value](const auto& numbers) {
            return exporting::arrayOf(std::span(numbers), {value.dimensions.begin(), value.dimensions.end()});
        },
        value.numbers);
}

std::string recordName(const std::string& expression) {
    return expression.substr(0, expression.find_first_of(".["));
}

void addMembers(const zelta::ZeltaChunk& chunk, const ExportWishes& wishes, ExportItem& item,
                ExportFindings& findings) {
    if (wishes.channel && chunk.channelID != *wishes.channel) {
        return;
    }
    const std::string name = recording::typeOf(chunk)->name;
    for (const std::string& member : wishes.members) {
        if (recordName(member) != name) {
            continue;
        }
        for (const RecordValue& value : recordValuesOf(chunk, member, Unused::Shown)) {
            item.channels.push_back({value.expression, "", arrayOf(value)});
        }
        ++findings.found[member];
    }
}

void giveMembers(const recording::RecordedPacket& packet, std::size_t number, const ExportWishes& wishes,
                 ExportFindings& findings, const std::function<void(const ExportItem&)>& give) {
    ExportItem item{number, packet.index, {}, {}};
    for (const zelta::ZeltaChunk& chunk : packet.chunks) {
        try {
            addMembers(chunk, wishes, item, findings);
        } catch (const recording::RecordError& error) {
            findings.addFault(fmt::format("packet {}: {}", packet.index, error.what()));
        }
    }
    if (!item.channels.empty()) {
        ++findings.items;
        give(item);
    }
}

}  // namespace

std::string imageNames() {
    std::string text;
    for (const NamedImage& image : namedImages) {
        text += text.empty() ? "" : ", ";
        text += image.name;
    }
    return text;
}

std::string checkImageName(const std::string& name) {
    return imageNamed(name) != nullptr ? "" : "\"" + name + "\" is no image; there are " + imageNames();
}

void ExportFindings::addFault(std::string sentence) {
    if (faults.size() < mostSentences) {
        faults.push_back(std::move(sentence));
    } else {
        ++moreFaults;
    }
}

void forEachItem(recording::RecordingReader& reader, const ExportWishes& wishes, ExportFindings& findings,
                 const std::function<bool()>& wanted, const std::function<void(const ExportItem&)>& give) {
    FrameCounter counter;
    FrameCollector collector(wishes, findings, give);
    try {
        while (wanted()) {
            const recording::RecordedPacket* const packet = reader.next();
            if (packet == nullptr) {
                break;
            }
            const std::size_t number = counter.number(packet->chunks);
            if (wishes.frames.isOver(number)) {
                break;
            }
            if (!wishes.frames.contains(number)) {
                continue;
            }
            if (wishes.members.empty()) {
                collector.add(*packet, number);
            } else {
                giveMembers(*packet, number, wishes, findings, give);
            }
        }
    } catch (const recording::RecordingError&) {
        collector.finishFrame();
        throw;
    }
    collector.finishFrame();
}

}  // namespace qor
