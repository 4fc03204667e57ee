// SPDX-License-Identifier: Apache-2.0
//
// Settings of any bytes for an algorithm whose next image finishes a frame: no crash, no hang, and a result
// that is a packet. Input: start and vector target, 1 byte; 1 for the custom pin, 1 byte; changes of the
// record.
#include <map>

#include "Algorithms.h"
#include "QorDescriptors.h"
#include "Records.h"

namespace {

using host_testing::OwnedChunk;

/** What the camera of a state sends next. */
struct Next {
    QorDistanceImageIFInput input;
    OwnedChunk image;
};

const Next& nextOf(fuzz::Start start) {
    static std::map<fuzz::Start, Next> all;
    const auto [found, isNew] = all.try_emplace(start);
    if (isNew) {
        host_testing::Camera camera = fuzz::cameraOf(start);
        for (int image = 0; image <= fuzz::imagesBefore(start); ++image) {
            camera.nextImage();
        }
        std::memcpy(static_cast<void*>(&found->second.input), &camera.input, sizeof camera.input);
        found->second.image = camera.rawChunk();
    }
    return found->second;
}

template <class Record>
OwnedChunk chunkOf(int channel, zelta::DefinitionGetter getter, const Record& record) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&record);
    return {channel, host_testing::nativeDefinition(getter), {bytes, bytes + sizeof record}};
}

OwnedChunk inputChunk(const QorDistanceImageIFInput& input) {
    return chunkOf(host_testing::kInputChannel, zeltaGet_QorDistanceImageIFInput, input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const auto start = static_cast<fuzz::Start>(data[0] / 16 % fuzz::kStarts);
    const bool fromCustomPin = data[1] == 1;
    fuzz::startFrom(start);
    fuzz::chooseTarget(data[0] % 16);
    const Next& next = nextOf(start);
    QorDistanceImageIFInput input;
    std::memcpy(static_cast<void*>(&input), &next.input, sizeof input);
    fuzz::SessionReader reader(data + 2, size - 2);
    if (fromCustomPin) {
        fuzz::overwrite(&input.customization, sizeof input.customization, reader);
        fuzz::process(
            host_testing::packetOf({chunkOf(host_testing::kCustomizationChannel,
                                            zeltaGet_QorDistanceImageCustomization, input.customization)}),
            true);
        fuzz::process(host_testing::packetOf({inputChunk(next.input), next.image}), false);
    } else {
        fuzz::overwrite(&input, sizeof input, reader);
        fuzz::process(host_testing::packetOf({inputChunk(input), next.image}), false);
    }
    fuzz::fetchResult(true);
    return 0;
}
