// SPDX-License-Identifier: Apache-2.0

#include "qor/Expectation.h"

#include <cmath>
#include <system_error>

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace qor {
namespace {

// A frame has at most 32 images. With fewer than two frames in so many packets nothing can be predicted.
constexpr std::size_t mostPackets = 512;

// Reads until the third frame begins.
class FirstFrames {
 public:
    explicit FirstFrames(const std::filesystem::path& recording) : reader_(recording) {}

    std::optional<ExpectedFrames> count() {
        while (const recording::RecordedPacket* const packet = next()) {
            if (packet->index == mostPackets) {
                return std::nullopt;
            }
            if (recording::beginsFrame(packet->chunks) && ++begun_ == 2) {
                second_ = packet->offset;
            }
            if (begun_ == 3) {
                return extrapolated(packet->offset);
            }
            images_ += recording::findChunk(packet->chunks, recording::channel::rawImage) != nullptr ? 1 : 0;
            imagesOfFirst_ = begun_ < 2 ? images_ : imagesOfFirst_;
        }
        return ExpectedFrames{begun_,
                              begun_ == 0 ? 0.0 : static_cast<double>(images_) / static_cast<double>(begun_)};
    }

 private:
    // What lies after damage will not be fed.
    const recording::RecordedPacket* next() {
        try {
            return reader_.next();
        } catch (const recording::RecordingError&) {
            return nullptr;
        }
    }

    ExpectedFrames extrapolated(std::uint64_t third) const {
        const double share =
            static_cast<double>(reader_.fileSize() - second_) / static_cast<double>(third - second_);
        return {1 + static_cast<std::uint64_t>(std::llround(share)),
                static_cast<double>(images_ - imagesOfFirst_)};
    }

    recording::RecordingReader reader_;
    std::uint64_t begun_ = 0;
    std::uint64_t images_ = 0;
    std::uint64_t imagesOfFirst_ = 0;
    std::uint64_t second_ = 0;  // the byte at which the second frame begins
};

}  // namespace

std::optional<ExpectedFrames> expectedFrames(const std::filesystem::path& recording) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(recording, error)) {
        return std::nullopt;
    }
    try {
        return FirstFrames(recording).count();
    } catch (const recording::RecordingError&) {
        return std::nullopt;
    }
}

std::optional<ExpectedOutput> expectedOutput(const ReplaySettings& settings) {
    const std::optional<ExpectedFrames> expected = expectedFrames(settings.recording);
    if (!expected) {
        return std::nullopt;
    }
    const std::uint64_t kept = settings.frames.countOf(expected->frames);
    return ExpectedOutput{kept, settings.channels.expectedBytes(kept, expected->imagesPerFrame)};
}

}  // namespace qor
