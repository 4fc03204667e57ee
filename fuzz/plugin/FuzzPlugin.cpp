// SPDX-License-Identifier: Apache-2.0
//
// Any sequence of packets into the whole plug-in: no crash, no hang, no allocation beyond reason, and a
// result that is a packet.
#include <algorithm>
#include <map>
#include <span>
#include <tuple>
#include <utility>

#include "Algorithms.h"
#include "KeptMemory.h"
#include "Session.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;

host_testing::LayoutChange otherLayout() {
    host_testing::LayoutChange change;
    change.reversed = true;
    change.added = true;
    change.bigEndian = true;
    change.version = 0x0200;
    return change;
}

fuzz::Start g_start = fuzz::StartNew;
int g_imageOfFrame = 0;  ///< the one that comes next

/** A frame continues as it began; otherwise the camera sends as the flags say. */
Camera makeCamera(unsigned int flags) {
    const host_testing::LayoutChange layout =
        (flags & fuzz::kOtherLayout) != 0 ? otherLayout() : host_testing::LayoutChange{};
    if (fuzz::imagesBefore(g_start) > 0) {
        return fuzz::cameraOf(g_start, layout);
    }
    Camera camera(layout);
    camera.input = (flags & fuzz::kRichInput) != 0 ? host_testing::richInput() : host_testing::plainInput();
    camera.intensityImage = (flags & fuzz::kIntensity) != 0;
    return camera;
}

constexpr unsigned int kCameraFlags = fuzz::kOtherLayout | fuzz::kRichInput | fuzz::kIntensity;

/** Kept for each camera, as making one costs more than an image in the plug-in. */
int imagesPerFrame(unsigned int kind) {
    static std::map<std::pair<fuzz::Start, unsigned int>, int> images;
    const auto [found, isNew] = images.try_emplace({g_start, kind & kCameraFlags});
    if (isNew) {
        found->second = makeCamera(kind).imagesPerFrame();
    }
    return found->second;
}

/** The packet of a step that the camera sends at this place of a frame; made once, as it costs more than the
 * plug-in. */
const Bytes& goodPacket(unsigned int kind) {
    static std::map<std::tuple<fuzz::Start, unsigned int, int>, Bytes> packets;
    const unsigned int key = kind & (kCameraFlags | fuzz::kStepKinds);
    const auto [found, isNew] = packets.try_emplace({g_start, key, g_imageOfFrame});
    Bytes& packet = found->second;
    if (!isNew) {
        return packet;
    }
    Camera camera = makeCamera(kind);
    const int images = fuzz::framesBefore(g_start) * camera.imagesPerFrame() + g_imageOfFrame + 1;
    for (int image = 0; image < images; ++image) {
        camera.nextImage();
    }
    switch (kind & fuzz::kStepKinds) {
        case fuzz::StepCalibration:
            packet = camera.calibrationPacket();
            break;
        case fuzz::StepImage:
            packet = host_testing::packetOf({camera.inputChunk(), camera.rawChunk()});
            break;
        case fuzz::StepInput:
            packet = camera.inputPacket();
            break;
        case fuzz::StepRaw:
            packet = camera.rawPacket();
            break;
        default:
            packet = camera.customizationPacket();
            break;
    }
    return packet;
}

void run(fuzz::SessionReader& session, unsigned int kind) {
    switch (kind & fuzz::kStepKinds) {
        case fuzz::StepPacket:
            fuzz::process(session.block(session.number(2)), (kind & fuzz::kCustomPin) != 0);
            break;
        case fuzz::StepRestartFrame:
            g_imageOfFrame = 0;
            return;
        case fuzz::StepNewAlgorithm:
            fuzz::renewAlgorithm();
            return;
        default: {
            static fuzz::KeptMemory memory;
            const Bytes& good = goodPacket(kind);
            const std::span<std::uint8_t> packet = memory.ofSize(good.size());
            std::copy(good.begin(), good.end(), packet.begin());
            session.applyChanges(packet);
            fuzz::process(packet, (kind & fuzz::kStepKinds) == fuzz::StepCustomization);
            if ((kind & fuzz::kStepKinds) == fuzz::StepImage) {
                g_imageOfFrame = (g_imageOfFrame + 1) % imagesPerFrame(kind);
            }
            break;
        }
    }
    fuzz::fetchResult((kind & fuzz::kFullResult) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kMaxSteps = 6;  // the starts are where longer sessions lead
    fuzz::SessionReader session(data, size);
    const std::uint32_t first = session.number(1);
    g_start = static_cast<fuzz::Start>(first / 16 % fuzz::kStarts);
    fuzz::startFrom(g_start);
    fuzz::chooseTarget(first % 16);
    g_imageOfFrame = fuzz::imagesBefore(g_start);
    for (int step = 0; step < kMaxSteps && !session.atEnd(); ++step) {
        run(session, session.number(1));
    }
    return 0;
}
