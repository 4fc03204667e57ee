// SPDX-License-Identifier: Apache-2.0
//
// Any sequence of packets into the whole plug-in: no crash, no hang, no allocation beyond reason, and a
// result that is a packet.
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>

#include "Camera.h"
#include "QorData.h"
#include "QorPlugin.h"
#include "Session.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

host_testing::LayoutChange otherLayout() {
    host_testing::LayoutChange change;
    change.reversed = true;
    change.added = true;
    change.bigEndian = true;
    change.version = 0x0200;
    return change;
}

/** A camera that sends as the flags say. */
Camera makeCamera(unsigned int flags) {
    Camera camera((flags & fuzz::kOtherLayout) != 0 ? otherLayout() : host_testing::LayoutChange{});
    camera.input = (flags & fuzz::kRichInput) != 0 ? host_testing::richInput() : host_testing::plainInput();
    camera.intensityImage = (flags & fuzz::kIntensity) != 0;
    return camera;
}

constexpr unsigned int kCameraFlags = fuzz::kOtherLayout | fuzz::kRichInput | fuzz::kIntensity;

int g_imageOfFrame = 0;  ///< the one that comes next

/** The packet of a step that the camera sends at this place of a frame; made once, as it costs more than the
 * plug-in. */
const Bytes& goodPacket(unsigned int kind) {
    static std::map<std::pair<unsigned int, int>, Bytes> packets;
    const unsigned int key = kind & (kCameraFlags | fuzz::kStepKinds);
    const auto [found, isNew] = packets.try_emplace({key, g_imageOfFrame});
    Bytes& packet = found->second;
    if (!isNew) {
        return packet;
    }
    Camera camera = makeCamera(kind);
    for (int image = 0; image <= g_imageOfFrame; ++image) {
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

int imagesPerFrame(unsigned int flags) {
    return ((flags & fuzz::kRichInput) != 0 ? 16 : 4) + ((flags & fuzz::kIntensity) != 0 ? 1 : 0);
}

bool g_initialised = false;

/** What was chosen before a packet is gone with it. */
void requireNothingChosen(int32_t sizeBefore) {
    if (sizeBefore == 0) {
        return;
    }
    Bytes packet(static_cast<std::size_t>(sizeBefore));
    try {
        packResult(packet.data(), sizeBefore);
    } catch (const std::runtime_error&) {
        return;
    }
    std::abort();
}

/** A buffer of exactly the packet's size, so that a read beyond it is seen. */
void process(const Bytes& packet, bool fromCustomPin) {
    const int32_t sizeBefore = getRequiredOutputSize(0);
    int32_t exceptionOccured = -1;
    const int32_t result = processZelta(packet.data(), static_cast<int32_t>(packet.size()),
                                        fromCustomPin ? 1 : 0, &exceptionOccured);
    require(exceptionOccured == 0 || exceptionOccured == 1);
    require(result == 0 || (result == 1 && exceptionOccured == 0));
    g_initialised = g_initialised || result == 1;
    require(lastMessage() != nullptr && lastExceptionMessage() != nullptr);
    requireNothingChosen(sizeBefore);
}

void fetchResult(bool isPIL) {
    const int32_t size = getRequiredOutputSize(isPIL ? 1 : 0);
    require(size >= 0);
    if (size == 0) {
        return;
    }
    Bytes packet(static_cast<std::size_t>(size));
    require(packResult(packet.data(), size) == 0);
    Packet chunks;
    require(packet_parse(packet.data(), size, chunks) == 0);
    require(!chunks.empty());
}

void run(fuzz::SessionReader& session, unsigned int kind) {
    switch (kind & fuzz::kStepKinds) {
        case fuzz::StepPacket:
            process(session.block(session.number(2)), (kind & fuzz::kCustomPin) != 0);
            break;
        case fuzz::StepRestartFrame:
            g_imageOfFrame = 0;
            return;
        case fuzz::StepNewAlgorithm:
            createAlgo();
            return;
        default: {
            Bytes packet = goodPacket(kind);
            session.applyChanges(packet);
            process(packet, (kind & fuzz::kStepKinds) == fuzz::StepCustomization);
            if ((kind & fuzz::kStepKinds) == fuzz::StepImage) {
                g_imageOfFrame = (g_imageOfFrame + 1) % imagesPerFrame(kind);
            }
            break;
        }
    }
    fetchResult((kind & fuzz::kFullResult) == 0);
}

/** Inputs do not depend on those before them. */
void startAnew() {
    createAlgo();
    g_imageOfFrame = 0;
    PacketCacheClear();
    if (g_initialised) {
        std::memset(static_cast<void*>(QorData_Get()), 0, sizeof(QorStaticData));
        g_initialised = false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kMaxSteps = 24;
    startAnew();
    fuzz::SessionReader session(data, size);
    for (int step = 0; step < kMaxSteps && !session.atEnd(); ++step) {
        run(session, session.number(1));
    }
    clearAlgo();
    return 0;
}
