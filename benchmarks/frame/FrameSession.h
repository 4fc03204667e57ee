// SPDX-License-Identifier: Apache-2.0
//
// Whole frames, given to the pipeline as a host gives them: as packets through the host frame, or as records
// through the entry points.
#pragma once

#include <memory>
#include <vector>

#include "AlgoDistanceImage.h"
#include "Camera.h"

namespace frame_benchmark {

struct Kind {
    int exposures = 1;
    int frequencies = 1;
    bool everything = false;  ///< every product and filter in place of none
};

/** The camera of a kind, before its first image. */
host_testing::Camera cameraOf(const Kind& kind);

/** Takes the packets of a frame, asks for the short result after each and packs it. */
class PacketSession {
 public:
    explicit PacketSession(const Kind& kind);
    void takeFrame();

 private:
    std::unique_ptr<AlgoDistanceImage> m_algorithm = std::make_unique<AlgoDistanceImage>();
    std::vector<host_testing::Bytes> m_packets;
    host_testing::Bytes m_result;
};

/** Takes the images of a frame through QorDistanceImage_Apply. */
class RecordSession {
 public:
    explicit RecordSession(const Kind& kind);
    void takeFrame();

 private:
    std::vector<host_testing::Bytes> m_data;
    std::vector<QorRawdataPhase> m_images;
    QorDistanceImageCustomization m_customization;
    std::unique_ptr<QorDistanceImageIFOutput> m_result = std::make_unique<QorDistanceImageIFOutput>();
};

}  // namespace frame_benchmark
