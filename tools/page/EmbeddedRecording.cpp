// SPDX-License-Identifier: Apache-2.0

#include "page/EmbeddedRecording.h"

#include <optional>
#include <vector>

#include "page/Encoding.h"
#include "recording/CameraRecords.h"
#include "recording/RecordingReader.h"
#include "texts/Markup.h"

namespace page {
namespace {

// Letters of base 64 for so many bytes, and a little for the compressor's own.
std::uint64_t lettersOf(std::uint64_t bytes) {
    return (bytes + bytes / 1000 + 256) / 3 * 4 + 4;
}

class Part {
 public:
    Part(std::uint64_t limit, const std::function<bool(std::size_t)>& wanted)
        : limit_(limit), wanted_(wanted) {}

    void add(const recording::RecordedPacket& packet) {
        if (recording::beginsFrame(packet.chunks)) {
            takeFrame();
            ++begun_;
        }
        if (begun_ == 0 || wanted_(begun_ - 1)) {
            pending_.insert(pending_.end(), packet.bytes.begin(), packet.bytes.end());
        }
    }

    void finish(EmbeddedRecording& result) {
        takeFrame();
        result.data = base64(compressor_.finish());
        result.frames = frames_;
        result.left = left_;
    }

 private:
    // The packets since the frame's beginning, whole or not at all.
    void takeFrame() {
        if (pending_.empty()) {
            return;
        }
        const bool fits = left_ == 0 && lettersOf(compressor_.size() + slack + pending_.size()) <= limit_;
        if (begun_ > 0) {
            (fits ? frames_ : left_) += 1;
        }
        if (fits || begun_ == 0) {
            compressor_.add(pending_);
        }
        pending_.clear();
    }

    static constexpr std::uint64_t slack = 300'000;  // what the compressor keeps for the next piece

    std::uint64_t limit_;
    const std::function<bool(std::size_t)>& wanted_;
    Compressor compressor_;
    std::vector<std::uint8_t> pending_;
    std::size_t begun_ = 0;
    std::size_t frames_ = 0;
    std::size_t left_ = 0;
};

}  // namespace

EmbeddedRecording embed(const std::filesystem::path& recording, std::uint64_t limit,
                        const std::function<bool(std::size_t frame)>& wanted) {
    recording::RecordingReader reader(recording);
    EmbeddedRecording result;
    result.name = recording.filename().string();
    Part part(limit, wanted);
    try {
        while (const recording::RecordedPacket* const packet = reader.next()) {
            part.add(*packet);
        }
    } catch (const recording::RecordingError& error) {
        result.damage = error.what();
    }
    part.finish(result);
    if (result.frames == 0 && result.left > 0) {
        throw recording::RecordingError("Not one frame of " + recording::nameOf(recording) +
                                        " fits the page's limit of " + std::to_string(limit / 1'000'000) +
                                        " MB.");
    }
    return result;
}

std::string elementOf(const EmbeddedRecording& recording) {
    std::string note;
    if (recording.left > 0) {
        note = "This page holds the first " + std::to_string(recording.frames) + " of " +
               std::to_string(recording.frames + recording.left) +
               " frames; drop the recording here for all of them.";
    }
    return R"(<script type="text/plain" class="recording" data-encoding="deflate" data-name=")" +
           texts::escaped(recording.name) + R"(" data-note=")" + texts::escaped(note) + "\">" +
           recording.data + "</script>\n";
}

}  // namespace page
