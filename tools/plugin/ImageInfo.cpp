// SPDX-License-Identifier: Apache-2.0

#include "plugin/ImageInfo.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "recording/Channels.h"
#include "zelta_interpreter.h"
#include "zelta_parse.h"
#include "zelta_type.h"

namespace plugin {
namespace {

using Number = zelta::InterpreterRef<double>::Type;

const zelta::ZeltaChunk* firstOn(const zelta::Packet& packet, int channel) {
    const auto found = std::find_if(packet.begin(), packet.end(), [channel](const zelta::ZeltaChunk& chunk) {
        return chunk.channelID == channel;
    });
    return found == packet.end() ? nullptr : &*found;
}

// Null where the sender has no such number.
Number numberAt(const zelta::TypeRef& type, const std::string& member) {
    try {
        Number number = zelta::interpreter<double>(type, "QorDistanceImageIFInput." + member);
        return number->count() == 1 ? number : Number();
    } catch (const zelta::Error&) {
        return {};
    }
}

double valueOf(const Number& number, const zelta::ZeltaChunk& chunk) {
    double value = 0.0;
    if (number) {
        zelta::interpret<double>(number, &value, 1, chunk.data, static_cast<unsigned int>(chunk.dataSize));
    }
    return value;
}

// 0 for anything but a whole number of this type: such an image fits no frame, or is the first of one.
template <typename T>
T wholeOf(const Number& number, const zelta::ZeltaChunk& chunk) {
    const double value = valueOf(number, chunk);
    const bool good = value >= static_cast<double>(std::numeric_limits<T>::min()) &&
                      value <= static_cast<double>(std::numeric_limits<T>::max());
    return good ? static_cast<T>(value) : T{};
}

}  // namespace

// What was read from one definition.
struct Definition {
    explicit Definition(const zelta::ZeltaChunk& chunk)
        : bytes(static_cast<const std::uint8_t*>(chunk.description),
                static_cast<const std::uint8_t*>(chunk.description) + chunk.descSize) {
        try {
            type = zelta::parseDatadefinition(bytes.data(), static_cast<unsigned int>(bytes.size()));
        } catch (const zelta::Error&) {
            type = {};
        }
    }

    bool isOf(const zelta::ZeltaChunk& chunk) const {
        const auto* const other = static_cast<const std::uint8_t*>(chunk.description);
        return std::equal(bytes.begin(), bytes.end(), other, other + chunk.descSize);
    }

    bool fits(const zelta::ZeltaChunk& chunk) const {
        return type && zelta::typeSize(type) == static_cast<unsigned int>(chunk.dataSize);
    }

    std::vector<std::uint8_t> bytes;
    zelta::TypeRef type;  // null if the definition cannot be read
};

struct ImageInfoReader::InputPlan : Definition {
    explicit InputPlan(const zelta::ZeltaChunk& chunk) : Definition(chunk) {
        if (!type) {
            return;
        }
        sequence = numberAt(type, "phaseInfo.sequenceCounter");
        counter = numberAt(type, "phaseInfo.frameCounter");
        clock = numberAt(type, "phaseInfo.timestamp");
        frequency = numberAt(type, "phaseInfo.freqIdx");
        exposure = numberAt(type, "phaseInfo.exposureTime");
        intensity = numberAt(type, "phaseInfo.intensityMeasurement");
        numExposures = numberAt(type, "param.numExposures");
        numFrequencies = numberAt(type, "param.numFrequencies");
        parameters = {numExposures,
                      numFrequencies,
                      numberAt(type, "param.maxUniqueRange"),
                      numberAt(type, "param.verticalAssignment"),
                      numberAt(type, "param.maxExposureTime"),
                      numberAt(type, "param.maxSumExposureTime")};
    }

    ImageInfo read(const zelta::ZeltaChunk& chunk) const {
        ImageInfo info;
        info.sequence = wholeOf<std::int32_t>(sequence, chunk);
        info.counter = wholeOf<std::uint16_t>(counter, chunk);
        info.clock = wholeOf<std::uint32_t>(clock, chunk);
        info.frequency = wholeOf<std::int32_t>(frequency, chunk);
        info.exposure = wholeOf<std::int32_t>(exposure, chunk);
        info.intensity = valueOf(intensity, chunk) != 0.0;
        info.numExposures = wholeOf<std::int32_t>(numExposures, chunk);
        info.numFrequencies = wholeOf<std::int32_t>(numFrequencies, chunk);
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            info.parameters[i] = std::bit_cast<std::uint64_t>(valueOf(parameters[i], chunk));
        }
        return info;
    }

    Number sequence;
    Number counter;
    Number clock;
    Number frequency;
    Number exposure;
    Number intensity;
    Number numExposures;
    Number numFrequencies;
    std::array<Number, 6> parameters;
};

struct ImageInfoReader::ImagePlan : Definition {
    explicit ImagePlan(const zelta::ZeltaChunk& chunk) : Definition(chunk) {
        if (!type) {
            return;
        }
        try {
            holdsImage = zelta::interpreter<unsigned char>(type, "QorRawPhaseData.phaseData")->count() ==
                         rawImageBytes;
        } catch (const zelta::Error&) {
            holdsImage = false;
        }
    }

    static constexpr unsigned int rawImageBytes = 58128;  // 173 lines of 336 bytes
    bool holdsImage = false;
};

ImageInfoReader::ImageInfoReader() = default;
ImageInfoReader::~ImageInfoReader() = default;

std::optional<ImageInfo> ImageInfoReader::read(const zelta::Packet& packet) {
    const zelta::ZeltaChunk* const input = firstOn(packet, recording::channel::input);
    const zelta::ZeltaChunk* const image = firstOn(packet, recording::channel::rawImage);
    if (input == nullptr || image == nullptr) {
        return std::nullopt;
    }
    if (input_ == nullptr || !input_->isOf(*input)) {
        input_ = std::make_unique<InputPlan>(*input);
    }
    if (image_ == nullptr || !image_->isOf(*image)) {
        image_ = std::make_unique<ImagePlan>(*image);
    }
    if (!image_->fits(*image) || !image_->holdsImage || !input_->fits(*input) || !input_->sequence ||
        !input_->counter) {
        return std::nullopt;
    }
    return input_->read(*input);
}

}  // namespace plugin
