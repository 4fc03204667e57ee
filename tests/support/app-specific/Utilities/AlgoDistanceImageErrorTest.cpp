// SPDX-License-Identifier: Apache-2.0
//
// The text that the host gives when the pipeline fails. In place of the pipeline stand functions that fail
// with a text longer than any of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "AlgoDistanceImage.h"
#include "Camera.h"
#include "QorDistanceImageInterface.h"

extern "C" {
const alif_char_t* const g_vStr = "";
}

namespace {
bool g_initFails = false;
}

alif_int32_t QorDistanceImage_Init(const QorDistanceImageIFCalib*, const RuvoFrequencyHoppingTable*,
                                   const QorDistanceImageIFParam*, const AlgoExtrinsicCalibration*,
                                   const QorDistanceImageServices*, QorDistToCartesian*) noexcept {
    return g_initFails ? 1 : 0;
}

alif_int32_t QorDistanceImage_Apply(const QorRawdataPhase*, const QorDistanceImageCustomization*,
                                    QorDistanceImageIFOutput*, AlgoMeasBuffer*, alif_uint32_t) noexcept {
    return 1;
}

/** Fills all that it is given. */
alif_int32_t QorDistanceImage_GetErrorString(alif_char_t* errorString, alif_int32_t strArraySize) noexcept {
    std::fill_n(errorString, strArraySize - 1, 'e');
    errorString[strArraySize - 1] = 0;
    return 0;
}

alif_int32_t QorDistanceImage_QueryVersion(AlgoVersion* version) noexcept {
    *version = {};
    return 0;
}

namespace {

class AlgoDistanceImageError : public ::testing::Test {
 protected:
    /** What the exception of the first image says. */
    std::string errorOfTheFirstImage() {
        process(camera_.calibrationPacket());
        try {
            process(camera_.imagePacket());
        } catch (const TamAlgoSimInterface::AlgoException& error) {
            return error.what();
        }
        return "";
    }

 private:
    void process(const host_testing::Bytes& packet) {
        algo_->processZelta(packet.data(), static_cast<int>(packet.size()), false);
    }

    host_testing::Camera camera_;
    std::unique_ptr<AlgoDistanceImage> algo_ = std::make_unique<AlgoDistanceImage>();
};

// A text of 200 characters, the terminating zero among them.
TEST_F(AlgoDistanceImageError, OfInitKeeps199Characters) {
    g_initFails = true;
    EXPECT_EQ(errorOfTheFirstImage(), "QorDistanceImage_Init() error in " + std::string(199, 'e'));
}

TEST_F(AlgoDistanceImageError, OfApplyKeeps199Characters) {
    g_initFails = false;
    EXPECT_EQ(errorOfTheFirstImage(), "QorDistanceImage_Apply error in " + std::string(199, 'e'));
}

}  // namespace
