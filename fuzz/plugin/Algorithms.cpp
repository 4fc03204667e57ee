// SPDX-License-Identifier: Apache-2.0
#include "Algorithms.h"

#include <hwy/targets.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <vector>

#include "ImageFilter.h"
#include "KeptMemory.h"
#include "QorData.h"
#include "Snapshot.h"

namespace fuzz {
namespace {

using host_testing::Camera;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/** The base class owns memory, so its members are restored by hand. */
class Algorithm : public AlgoDistanceImage {
 public:
    void forget() {
        m_lastMessage.clear();
        m_resultChunks.clear();
        m_receivedChunks.clear();
        m_pilOnceChannels = {host_testing::kCalibrationChannel};
        std::fill_n(m_measBuffers.get(), m_numMeasBuffers, AlgoMeasBuffer{});
    }

    Block ownMembers() {
        auto* const begin = reinterpret_cast<std::byte*>(this);
        return {begin + sizeof(TamAlgoSimInterface), sizeof(AlgoDistanceImage) - sizeof(TamAlgoSimInterface)};
    }
};

alignas(4096) std::byte g_place[sizeof(Algorithm)];

Algorithm& algorithm() {
    static bool exists = false;
    if (!exists) {
        exists = true;
        new (g_place) Algorithm();
    }
    return *std::launder(reinterpret_cast<Algorithm*>(g_place));
}

std::vector<Block> blocks() {
    return {{QorData_Get(), sizeof(QorStaticData)},
            {&g_imageFilterState, sizeof g_imageFilterState},
            algorithm().ownMembers()};
}

void useDrift(Camera& camera) {
    camera.intensityImage = true;
    camera.input.customization.compensateAmbientLightDrift = 1;
    camera.input.customization.filterSet.spatialFilter = SpatialFilter_Median;
    camera.input.customization.filterSet.applyDistanceFilter = 1;
    camera.calib->imagerCalib.frequencies[0] = 47987700.0F;  // what the compensation is made for
}

void useRays(Camera& camera) {
    for (int pixel = 0; pixel < kPixelCount; ++pixel) {
        float* const ray = camera.calib->unitVectors + 3 * pixel;
        ray[0] = static_cast<float>(pixel % kImageWidth) * 0.004F - 0.4F;
        ray[1] = static_cast<float>(pixel / kImageWidth) * 0.004F - 0.3F;
        ray[2] = 0.9F;
    }
    ImageFilterSettings& filters = camera.input.customization.filterSet;
    filters.temporalFilter = TempFilter_Mean;
    filters.tempMeanSettings.numberOfFrames = 2;
    filters.spatialFilter = SpatialFilter_Mean;
    filters.applyDistanceFilter = 1;
    filters.applyAmplitudeFilter = 1;
}

void useLens(Camera& camera) {
    AlgoIntrinsicCalibration& lens = camera.calib->intrinsicCalibration;
    lens.alpha = 0.001F;
    lens.k1 = -0.2F;
    lens.k2 = 0.05F;
    lens.k3 = 0.001F;
    lens.k4 = -0.001F;
    lens.k5 = 0.01F;
}

/** Starts from whatever the pipeline holds. */
std::unique_ptr<Snapshot> reach(Start start) {
    static const Snapshot untouched(blocks());
    untouched.restore();
    algorithm().forget();
    if (start != StartNew) {
        Camera camera = cameraOf(start);
        require(process(camera.calibrationPacket(), false));
        const int images = framesBefore(start) * camera.imagesPerFrame() + imagesBefore(start);
        camera = cameraOf(start);
        for (int image = 0; image < images; ++image) {
            require(process(camera.imagePacket(), false));
        }
    }
    return std::make_unique<Snapshot>(blocks());
}

}  // namespace

Camera cameraOf(Start start, const host_testing::LayoutChange& change) {
    Camera camera(change);
    switch (start) {
        case StartRich:
            camera.input = host_testing::richInput();
            camera.intensityImage = true;
            useLens(camera);
            break;
        case StartDrift:
            useDrift(camera);
            break;
        case StartRays:
            useRays(camera);
            break;
        case StartTwoFrequencies:
            camera.input = host_testing::richInput();
            camera.input.param.numExposures = 1;
            camera.input.customization = host_testing::plainInput().customization;
            camera.input.customization.twoFreqMaxLineDistPercentage = 42.0F;
            break;
        default:
            break;
    }
    return camera;
}

int framesBefore(Start start) {
    return start == StartRich || start == StartRays ? 1 : 0;
}

int imagesBefore(Start start) {
    if (start == StartNew || start == StartCalibrated) {
        return 0;
    }
    // A camera makes its calibration, which costs more than an image in the plug-in.
    static std::map<Start, int> images;
    const auto [found, isNew] = images.try_emplace(start);
    if (isNew) {
        found->second = cameraOf(start).imagesPerFrame() - 1;
    }
    return found->second;
}

void chooseTarget(unsigned int number) {
    static const std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
    if (!targets.empty()) {
        hwy::SetSupportedTargetsForTest(targets[number % targets.size()]);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
}

void startFrom(Start start) {
    static std::map<Start, std::unique_ptr<Snapshot>> snapshots;
    std::unique_ptr<Snapshot>& snapshot = snapshots[start];
    if (snapshot == nullptr) {
        snapshot = reach(start);
    }
    snapshot->restore();
    algorithm().forget();
}

void renewAlgorithm() {
    algorithm().~Algorithm();
    new (g_place) Algorithm();
}

bool process(std::span<const std::uint8_t> packet, bool fromCustomPin) {
    try {
        algorithm().processZelta(packet.data(), static_cast<int>(packet.size()), fromCustomPin);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void fetchResult(bool isPIL) {
    const int size = algorithm().getRequiredOutputSize(isPIL);
    require(size >= 0);
    if (size == 0) {
        return;
    }
    static KeptMemory memory;
    const std::span<std::uint8_t> packet = memory.ofSize(static_cast<std::size_t>(size));
    require(algorithm().packResult(packet.data(), size) == 0);
    Packet chunks;
    require(packet_parse(packet.data(), size, chunks) == 0);
    require(!chunks.empty());
}

}  // namespace fuzz
