// SPDX-License-Identifier: Apache-2.0
//
// The guard before the plug-in itself: whatever happens to the images on their way, the plug-in delivers no
// frame but those that it delivers without a fault, and it delivers the whole frames after the fault.

#include "plugin/FrameGuard.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "Camera.h"

namespace plugin {
namespace {

using host_testing::Bytes;
using host_testing::Camera;

struct Shape {
    const char* name;
    int exposures;
    int frequencies;
    bool intensity;
    bool foreign;  // in the layout: members reordered and added, big-endian, older definition
};

void PrintTo(const Shape& shape, std::ostream* out) {
    *out << shape.name;
}

host_testing::LayoutChange layoutOf(const Shape& shape) {
    host_testing::LayoutChange change;
    if (shape.foreign) {
        change.reversed = true;
        change.added = true;
        change.bigEndian = true;
        change.version = 0x0200;
    }
    return change;
}

constexpr int frames = 5;

// The packets of some frames that differ from one another: each is taken at a temperature of its own.
class Stream {
 public:
    explicit Stream(const Shape& shape, bool withHistory = false) : camera_(layoutOf(shape)) {
        camera_.input = host_testing::richInput();
        if (shape.frequencies == 1) {
            camera_.input.freqHoppingTable = host_testing::plainInput().freqHoppingTable;
        }
        camera_.input.param.numExposures = shape.exposures;
        camera_.input.param.numFrequencies = shape.frequencies;
        camera_.input.customization.enableNoiseEstimation = shape.intensity ? 1 : 0;
        if (!withHistory) {
            camera_.input.customization.filterSet.temporalFilter = TempFilter_None;
            camera_.input.customization.autoExpSet.applyAutoExposure = AutoExposureApplyMode_Off;
        }
        camera_.intensityImage = shape.intensity;
        calibration = camera_.calibrationPacket();
        customization = camera_.customizationPacket();
        imagesPerFrame = static_cast<std::size_t>(camera_.imagesPerFrame());
        for (int frame = 0; frame < frames; ++frame) {
            camera_.input.phaseInfo.illuTemperature = 40.0F + 7.0F * static_cast<float>(frame);
            for (std::size_t image = 0; image < imagesPerFrame; ++image) {
                images.push_back(camera_.imagePacket());
            }
        }
    }

    std::size_t at(std::size_t frame, std::size_t image) const { return frame * imagesPerFrame + image; }

    Bytes calibration;
    Bytes customization;
    std::size_t imagesPerFrame = 0;
    std::vector<Bytes> images;

 private:
    Camera camera_;
};

// Finished frames by their time, which tells which of the stream they are.
using Results = std::map<std::uint32_t, std::vector<std::uint8_t>>;

class Host {
 public:
    explicit Host(const Stream& stream)
        : algorithm_(QOR_PLUGIN),
          guard_(algorithm_, [this](const std::string& loss) { losses.push_back(loss); }) {
        feed(stream.customization, true);
        feed(stream.calibration);
    }

    bool feed(const Bytes& packet, bool fromCustomPin = false) {
        zelta::Packet chunks;
        EXPECT_EQ(zelta::packet_parse(packet.data(), static_cast<int>(packet.size()), chunks), 0);
        const bool handedOver = guard_.process(packet, chunks, fromCustomPin);
        if (handedOver) {
            take();
        }
        return handedOver;
    }

    void feedAll(const std::vector<Bytes>& packets) {
        for (const Bytes& packet : packets) {
            feed(packet);
        }
        guard_.finish();
    }

    std::size_t starts() const { return guard_.starts(); }

    Results results;
    std::vector<std::string> losses;

 private:
    void take() {
        const std::vector<std::uint8_t> result = algorithm_.result(true);
        zelta::Packet chunks;
        EXPECT_EQ(zelta::packet_parse(result.data(), static_cast<int>(result.size()), chunks) == 0,
                  !result.empty());
        for (const zelta::ZeltaChunk& chunk : chunks) {
            if (chunk.channelID == host_testing::kResultChannel) {
                auto frame = std::make_unique<QorDistanceImageIFOutput>();
                ASSERT_EQ(static_cast<std::size_t>(chunk.dataSize), sizeof *frame);
                std::memcpy(static_cast<void*>(frame.get()), chunk.data, sizeof *frame);
                // Both count since the start of the algorithm.
                frame->frameCounter = 0;
                frame->unitVectorChangeCounter = 0;
                const auto* const bytes = reinterpret_cast<const std::uint8_t*>(frame.get());
                results[frame->timestamp].assign(bytes, bytes + sizeof *frame);
            }
        }
    }

    Plugin algorithm_;
    FrameGuard guard_;
};

std::uint32_t timeOf(std::size_t frame) {
    return 100U * static_cast<std::uint32_t>(frame + 1);
}

class FrameGuardFor : public testing::TestWithParam<Shape> {
 protected:
    FrameGuardFor() {
        Host host(stream_);
        host.feedAll(stream_.images);
        undisturbed_ = host.results;
        EXPECT_EQ(undisturbed_.size(), static_cast<std::size_t>(frames));
        EXPECT_EQ(host.losses, std::vector<std::string>{});
        EXPECT_EQ(host.starts(), 0U);
    }

    void TearDown() override { RecordProperty("faults", faults_); }

    // Frames 0, 3 and 4 are whole, and what is delivered of the others is as undisturbed.
    void expectHealed(const std::vector<Bytes>& images, const std::string& fault) {
        SCOPED_TRACE(fault);
        Host host(stream_);
        host.feedAll(images);
        for (const auto& [time, bytes] : host.results) {
            ASSERT_TRUE(undisturbed_.contains(time));
            EXPECT_TRUE(bytes == undisturbed_.at(time)) << "frame of " << time;
        }
        for (const std::size_t frame : {0U, 3U, 4U}) {
            EXPECT_TRUE(host.results.contains(timeOf(frame))) << "frame " << frame << " is not delivered";
        }
        EXPECT_FALSE(host.losses.empty()) << "nothing was said";
        ++faults_;
    }

    Stream stream_{GetParam()};
    Results undisturbed_;
    int faults_ = 0;
};

TEST_P(FrameGuardFor, OneImageIsLost) {
    for (std::size_t image = 0; image < stream_.imagesPerFrame; ++image) {
        std::vector<Bytes> images = stream_.images;
        images.erase(images.begin() + static_cast<std::ptrdiff_t>(stream_.at(1, image)));
        expectHealed(images, "image " + std::to_string(image));
    }
}

TEST_P(FrameGuardFor, RunsOfImagesAreLost) {
    for (const std::size_t count : {2U, 3U, 4U, 8U, 12U}) {
        for (std::size_t image = 0; image < stream_.imagesPerFrame; image += 2) {
            const std::size_t end = stream_.at(1, image) + count;
            const bool wholeFrames = image == 0 && count % stream_.imagesPerFrame == 0;
            if (end > stream_.at(3, 0) || wholeFrames) {
                continue;  // of the next frames too, or nothing is broken
            }
            std::vector<Bytes> images = stream_.images;
            const auto first = images.begin() + static_cast<std::ptrdiff_t>(stream_.at(1, image));
            images.erase(first, first + static_cast<std::ptrdiff_t>(count));
            expectHealed(images, std::to_string(count) + " from image " + std::to_string(image));
        }
    }
}

TEST_P(FrameGuardFor, OneImageComesTwice) {
    for (std::size_t image = 0; image < stream_.imagesPerFrame; ++image) {
        std::vector<Bytes> images = stream_.images;
        const std::size_t at = stream_.at(1, image);
        images.insert(images.begin() + static_cast<std::ptrdiff_t>(at), stream_.images[at]);
        expectHealed(images, "image " + std::to_string(image));
    }
}

TEST_P(FrameGuardFor, ImagesChangePlaces) {
    for (const std::size_t distance : {1U, 4U}) {
        for (std::size_t image = 0; image + distance < stream_.imagesPerFrame; ++image) {
            std::vector<Bytes> images = stream_.images;
            std::swap(images[stream_.at(1, image)], images[stream_.at(1, image) + distance]);
            expectHealed(images,
                         "image " + std::to_string(image) + " and " + std::to_string(image + distance));
        }
    }
}

TEST_P(FrameGuardFor, ImagesOfTwoFramesAreMixed) {
    for (std::size_t image = 0; image < stream_.imagesPerFrame; ++image) {
        std::vector<Bytes> images = stream_.images;
        std::swap(images[stream_.at(1, image)], images[stream_.at(2, image)]);
        expectHealed(images, "image " + std::to_string(image));
    }
    std::vector<Bytes> interleaved = stream_.images;
    for (std::size_t image = 0; image < stream_.imagesPerFrame; ++image) {
        interleaved[stream_.at(1, 2 * image)] = stream_.images[stream_.at(1, image)];
        interleaved[stream_.at(1, 2 * image + 1)] = stream_.images[stream_.at(2, image)];
    }
    expectHealed(interleaved, "interleaved");
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, FrameGuardFor,
    testing::Values(Shape{"OneByOne", 1, 1, false, false}, Shape{"TwoByOne", 2, 1, false, false},
                    Shape{"OneByTwo", 1, 2, false, false}, Shape{"TwoByTwo", 2, 2, false, false},
                    Shape{"OneByOneWithIntensity", 1, 1, true, false},
                    Shape{"TwoByTwoWithIntensity", 2, 2, true, false},
                    Shape{"OneByOneForeign", 1, 1, false, true}, Shape{"TwoByOneForeign", 2, 1, false, true},
                    Shape{"OneByTwoForeign", 1, 2, false, true},
                    Shape{"TwoByTwoWithIntensityForeign", 2, 2, true, true}),
    [](const auto& shape) { return std::string(shape.param.name); });

constexpr Shape oneByTwo{"OneByTwo", 1, 2, false, false};

Results resultsOf(const Stream& stream, const std::vector<Bytes>& images) {
    Host host(stream);
    host.feedAll(images);
    return host.results;
}

// A filter in time has a history. The fault ends it: the next frame is what it is as the first of all.
TEST(FrameGuard, AfterAFaultTheHistoryOfFiltersBeginsAnew) {
    const Stream stream(oneByTwo, true);
    const auto place = [&stream](std::size_t frame, std::size_t image) {
        return stream.images.begin() + static_cast<std::ptrdiff_t>(stream.at(frame, image));
    };
    std::vector<Bytes> images(stream.images.begin(), place(1, 3));
    images.insert(images.end(), place(1, 4), stream.images.end());
    Results disturbed = resultsOf(stream, images);
    const Results fresh = resultsOf(stream, {place(2, 0), stream.images.end()});
    ASSERT_EQ(fresh.size(), 3U);
    for (const auto& [time, bytes] : fresh) {
        EXPECT_TRUE(disturbed[time] == bytes) << time;
    }
    Results undisturbed = resultsOf(stream, stream.images);
    EXPECT_FALSE(undisturbed[timeOf(2)] == fresh.at(timeOf(2))) << "the filter has no history";
}

TEST(FrameGuard, HeldBackImagesDoNotReachThePlugin) {
    const Stream stream(oneByTwo);
    Host host(stream);
    EXPECT_TRUE(host.feed(stream.images[0]));
    EXPECT_FALSE(host.feed(stream.images[2]));
    EXPECT_FALSE(host.feed(stream.images[3]));
    EXPECT_TRUE(host.feed(stream.images[8]));
    EXPECT_EQ(host.starts(), 1U);
    EXPECT_EQ(host.losses.size(), 1U);
}

TEST(FrameGuard, PacketsThatHoldNoImageAlwaysGoOn) {
    const Stream stream(oneByTwo);
    Host host(stream);
    EXPECT_TRUE(host.feed(stream.images[0]));
    EXPECT_FALSE(host.feed(stream.images[2]));
    EXPECT_TRUE(host.feed(stream.calibration));
    EXPECT_TRUE(host.feed(stream.customization, true));
}

// A lost first group shifts all that follow: the second frequency of one frame with the first of the next.
TEST(FrameGuard, WithoutItThePluginJoinsGroupsOfTwoFrames) {
    const Stream stream(oneByTwo);
    std::vector<Bytes> images = stream.images;
    const auto first = images.begin() + static_cast<std::ptrdiff_t>(stream.at(1, 0));
    images.erase(first, first + 4);
    Plugin algorithm(QOR_PLUGIN);
    algorithm.process(stream.customization, true);
    algorithm.process(stream.calibration);
    std::vector<std::size_t> finishing;  // images that finish a frame
    for (std::size_t i = 0; i < images.size(); ++i) {
        algorithm.process(images[i]);
        if (algorithm.result(true).size() > sizeof(QorDistanceImageIFOutput)) {
            finishing.push_back(i);
        }
    }
    EXPECT_EQ(finishing, (std::vector<std::size_t>{7, 15, 23, 31})) << "7 and 11, 19, 27, 35 in order";
}

}  // namespace
}  // namespace plugin
