// SPDX-License-Identifier: Apache-2.0
//
// All images of a simulated camera, taken once and kept as they are sent: to take them anew for each packet
// would cost more than the pipeline.
#pragma once

#include <vector>

#include "Camera.h"
#include "golden/Scenes.h"

namespace golden {

class KeptImages {
 public:
    /** Leaves the camera at the start of a frame. */
    explicit KeptImages(host_testing::Camera& camera);

    /** The image of a view that the camera's input record describes. */
    const host_testing::OwnedChunk& of(View view, const host_testing::Camera& camera) const;

 private:
    std::vector<std::vector<host_testing::OwnedChunk>> m_images;  ///< by view and by indexOf
};

}  // namespace golden
