// SPDX-License-Identifier: Apache-2.0
//
// The channels of a recording.

#pragma once

namespace recording::channel {

inline constexpr int rawImage = 3200;
inline constexpr int input = 3208;
inline constexpr int result = 3210;
inline constexpr int calibration = 3212;
inline constexpr int state = 3214;
inline constexpr int pipelineInput = 3216;
inline constexpr int pipelineOutput = 3218;
inline constexpr int debug = 3220;
inline constexpr int profiling = 3222;
inline constexpr int calibrationError = 3224;
inline constexpr int auxiliary = 3226;
inline constexpr int customization = 3228;

// The truth about the frames, beside their images. No algorithm listens here.
inline constexpr int sceneTruth = 9000;
inline constexpr int frequencyTruth = 9002;
inline constexpr int simulation = 9004;

}  // namespace recording::channel
