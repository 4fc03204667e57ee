// SPDX-License-Identifier: Apache-2.0

#include "page/EmbeddedRecording.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <array>

#include "recording/CameraRecords.h"
#include "recording/RecordingError.h"
#include "simulation/RawPacking.h"
#include "support/Random.h"
#include "tools/TestFolder.h"

namespace page {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t much = 100'000'000;

bool all(std::size_t) {
    return true;
}

// Frames of one image of noise, which cannot be compressed much, after a calibration.
class Embedding : public testing::Test {
 protected:
    Embedding() {
        simulation::CalibrationRequest request;
        request.frequencies = {60.0e6};
        const simulation::Calibration calibration = simulation::makeCalibration(request);
        append(recording::calibrationPacket(calibration, 1));
        recording::ImagePackets packets(calibration, {});
        testing_support::Random random(11);
        for (int frame = 0; frame < 4; ++frame) {
            starts_.push_back(bytes_.size());
            simulation::RawImage image;
            image.frameCounter = static_cast<std::uint16_t>(frame);
            image.phaseData.resize(simulation::rawImageBytes);
            for (std::uint8_t& byte : image.phaseData) {
                byte = static_cast<std::uint8_t>(random.integer(0, 255));
            }
            append(packets.packetOf(image));
        }
        starts_.push_back(bytes_.size());
        writeBytes(path(), bytes_);
    }

    std::filesystem::path path() const { return folder_.path() / "r.zelta"; }

    Bytes part(std::size_t from, std::size_t to) const {
        return {bytes_.begin() + static_cast<std::ptrdiff_t>(from),
                bytes_.begin() + static_cast<std::ptrdiff_t>(to)};
    }

    TestFolder folder_;
    Bytes bytes_;
    std::vector<std::size_t> starts_;  // of the frames, and the end

 private:
    void append(const Bytes& packet) { bytes_.insert(bytes_.end(), packet.begin(), packet.end()); }
};

Bytes decoded(const std::string& letters) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char letter : letters) {
        if (letter == '=') {
            break;
        }
        bits = bits << 6U | static_cast<std::uint32_t>(alphabet.find(letter));
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> count));
        }
    }
    return bytes;
}

Bytes contentOf(const EmbeddedRecording& recording) {
    const Bytes stored = decoded(recording.data);
    Bytes content(10'000'000);
    uLongf size = content.size();
    EXPECT_EQ(uncompress(content.data(), &size, stored.data(), stored.size()), Z_OK);
    content.resize(size);
    return content;
}

TEST_F(Embedding, HoldsTheRecordingByteByByte) {
    const EmbeddedRecording recording = embed(path(), much, all);
    EXPECT_EQ(recording.name, "r.zelta");
    EXPECT_EQ(recording.frames, 4U);
    EXPECT_EQ(recording.left, 0U);
    EXPECT_EQ(recording.damage, "");
    EXPECT_EQ(contentOf(recording), bytes_);
}

TEST_F(Embedding, LeavesOutFramesThatAreNotWantedButNotTheCalibration) {
    const EmbeddedRecording recording = embed(path(), much, [](std::size_t frame) { return frame == 2; });
    EXPECT_EQ(recording.frames, 1U);
    EXPECT_EQ(recording.left, 0U);
    Bytes expected = part(0, starts_[0]);
    const Bytes frame = part(starts_[2], starts_[3]);
    expected.insert(expected.end(), frame.begin(), frame.end());
    EXPECT_EQ(contentOf(recording), expected);
}

TEST_F(Embedding, KeepsTheLimitWithWholeFramesAndCountsTheOthers) {
    const std::uint64_t limit = embed(path(), much, all).data.size() + 500'000;  // the compressor's own too
    const EmbeddedRecording whole = embed(path(), limit, all);
    const EmbeddedRecording less = embed(path(), limit - 200'000, all);
    EXPECT_EQ(whole.frames, 4U);
    EXPECT_LT(less.frames, 4U);
    EXPECT_GT(less.frames, 0U);
    EXPECT_EQ(less.frames + less.left, 4U);
    EXPECT_LE(less.data.size(), limit - 200'000);
    EXPECT_EQ(contentOf(less), part(0, starts_[less.frames]));
}

TEST_F(Embedding, OfALimitThatHoldsNoFrameIsRefusedInWords) {
    try {
        embed(path(), 500'000, all);
        FAIL() << "it was taken";
    } catch (const recording::RecordingError& error) {
        EXPECT_NE(std::string(error.what()).find("Not one frame"), std::string::npos) << error.what();
    }
}

TEST_F(Embedding, KeepsTheFramesBeforeADamagedPlaceAndTellsIt) {
    std::filesystem::resize_file(path(), starts_[3] + 100);
    const EmbeddedRecording recording = embed(path(), much, all);
    EXPECT_EQ(recording.frames, 3U);
    EXPECT_NE(recording.damage.find("is damaged at byte"), std::string::npos) << recording.damage;
    EXPECT_EQ(contentOf(recording), part(0, starts_[3]));
}

TEST(EmbeddingNothing, IsRefused) {
    EXPECT_THROW(embed("/nonexistent/r.zelta", much, all), recording::RecordingError);
}

TEST(ElementOfARecording, EscapesItsNameAndTellsWhatIsLeftOut) {
    EmbeddedRecording recording;
    recording.name = "a\"<b>.zelta";
    recording.data = "QUJD";
    recording.frames = 2;
    recording.left = 3;
    const std::string element = elementOf(recording);
    EXPECT_EQ(element.find("<b>"), std::string::npos);
    EXPECT_NE(element.find("data-name=\"a&quot;&lt;b&gt;.zelta\""), std::string::npos) << element;
    EXPECT_NE(element.find("the first 2 of 5 frames"), std::string::npos) << element;
    EXPECT_NE(element.find(">QUJD</script>"), std::string::npos) << element;
}

TEST(ElementOfARecording, SaysNothingIfItIsWhole) {
    EmbeddedRecording recording;
    recording.frames = 2;
    EXPECT_NE(elementOf(recording).find("data-note=\"\""), std::string::npos);
}

}  // namespace
}  // namespace page
