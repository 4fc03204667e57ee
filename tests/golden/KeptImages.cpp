// SPDX-License-Identifier: Apache-2.0
#include "golden/KeptImages.h"

namespace golden {
namespace {

using host_testing::Camera;

constexpr std::size_t kViews = static_cast<std::size_t>(View::AnyBytes) + 1;
constexpr std::uint32_t kVariant = 5;
constexpr int kLongExposure = 1600;  // of Camera; the other one is short

/** Its place among the images of the longest frame: the intensity image, then group by group. */
std::size_t indexOf(const Camera& camera) {
    const QorRawdataPhaseInfo& info = camera.input.phaseInfo;
    if (info.intensityMeasurement != 0) {
        return 0;
    }
    const int phase = (info.sequenceCounter - (camera.intensityImage ? 1 : 0)) % kPhasesPerExposure;
    const int group = 2 * info.freqIdx + (info.exposureTime == kLongExposure ? 1 : 0);
    return static_cast<std::size_t>(1 + kPhasesPerExposure * group + phase);
}

}  // namespace

KeptImages::KeptImages(Camera& camera) : m_images(kViews) {
    const QorDistanceImageIFInput input = camera.input;
    camera.input.param.numExposures = 2;
    camera.input.param.numFrequencies = 2;
    camera.intensityImage = true;
    for (std::size_t view = 0; view < kViews; ++view) {
        camera.scene = sceneOf(static_cast<View>(view), kVariant);
        camera.restartFrame();
        for (int image = camera.imagesPerFrame(); image > 0; --image) {
            camera.nextImage();
            m_images[view].push_back(camera.rawChunk());
        }
    }
    camera.input = input;
    camera.intensityImage = false;
    camera.restartFrame();
}

const host_testing::OwnedChunk& KeptImages::of(View view, const Camera& camera) const {
    return m_images.at(static_cast<std::size_t>(view)).at(indexOf(camera));
}

}  // namespace golden
