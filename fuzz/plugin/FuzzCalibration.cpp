// SPDX-License-Identifier: Apache-2.0
//
// Calibrations of any bytes for a new algorithm, which then starts with them and gets one image. Input:
// vector target, 1 byte; changes of the record.
#include "Algorithms.h"
#include "QorDescriptors.h"
#include "Records.h"

namespace {

/** What the camera sends first. */
struct First {
    host_testing::Camera camera = fuzz::cameraOf(fuzz::StartRich);
    host_testing::OwnedChunk auxiliary = camera.auxiliaryChunk();
    host_testing::Bytes definition = host_testing::nativeDefinition(zeltaGet_QorDistanceImageIFCalib);
    host_testing::Bytes image = camera.imagePacket();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const First first;
    if (size < 1) {
        return 0;
    }
    fuzz::startFrom(fuzz::StartNew);
    fuzz::chooseTarget(data[0]);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(first.camera.calib.get());
    host_testing::OwnedChunk calibration = {host_testing::kCalibrationChannel,
                                            first.definition,
                                            {bytes, bytes + sizeof(QorDistanceImageIFCalib)}};
    fuzz::SessionReader reader(data + 1, size - 1);
    fuzz::overwrite(calibration.data.data(), calibration.data.size(), reader);
    fuzz::process(host_testing::packetOf({calibration, first.auxiliary}), false);
    fuzz::fetchResult(true);
    fuzz::process(first.image, false);
    fuzz::fetchResult(true);
    return 0;
}
