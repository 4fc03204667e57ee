// SPDX-License-Identifier: Apache-2.0

#include "recording/Salvage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>

#include "recording/RecordingError.h"
#include "recording/RecordingReader.h"
#include "zelta_packet.h"

namespace recording {
namespace {

constexpr std::uint32_t startMark = 0x01234567;   // before the definition
constexpr std::uint32_t middleMark = 0x76543210;  // between definition and data
constexpr std::uint32_t endMark = 0x89ABCDEF;     // after the data

constexpr std::size_t wordSize = sizeof(std::uint32_t);
constexpr std::size_t markInPacket =
    4 * wordSize;  // of the first chunk: count, channel and two sizes before it

class Walk {
 public:
    Walk(std::span<const std::uint8_t> bytes, std::size_t offset)
        : bytes_(bytes), start_(offset), at_(offset) {}

    Stretch packet() {
        std::uint32_t count = 0;
        if (!take(count, "in its number of chunks")) {
            return broken();
        }
        if (count > static_cast<std::uint32_t>(zelta::kMaxChunks)) {
            return fail(at_ - wordSize, "the number of chunks is " + std::to_string(count) + ", where " +
                                            std::to_string(zelta::kMaxChunks) + " are possible");
        }
        for (number_ = 0; number_ < count; ++number_) {
            if (!chunk()) {
                return broken();
            }
        }
        return {start_, at_ - start_, 0, ""};
    }

    // Whether a whole chunk stands here.
    bool chunk() {
        std::uint32_t channel = 0;
        std::uint32_t definition = 0;
        std::uint32_t data = 0;
        return take(channel, "in the channel") && takeSize(definition, "definition") &&
               takeSize(data, "data") && takeMark(startMark, "header") && skip(definition, "definition") &&
               takeMark(middleMark, "definition") && skip(data, "data") && takeMark(endMark, "data");
    }

 private:
    std::string ofChunk() const { return " of chunk " + std::to_string(number_); }

    bool take(std::uint32_t& word, const std::string& what) {
        if (bytes_.size() - at_ < wordSize) {
            fail(bytes_.size(), "the file ends " + what);
            return false;
        }
        std::memcpy(&word, bytes_.data() + at_, wordSize);
        at_ += wordSize;
        return true;
    }

    bool takeSize(std::uint32_t& size, const std::string& what) {
        if (!take(size, "in the size of the " + what + ofChunk())) {
            return false;
        }
        const auto value = static_cast<std::int32_t>(size);
        if (value <= 0) {
            fail(at_ - wordSize, "the size of the " + what + ofChunk() + " is " + std::to_string(value));
            return false;
        }
        return true;
    }

    bool takeMark(std::uint32_t expected, const std::string& after) {
        std::uint32_t mark = 0;
        const std::string place = "the mark after the " + after + ofChunk();
        if (!take(mark, "in " + place)) {
            return false;
        }
        if (mark != expected) {
            fail(at_ - wordSize, place + " is not there");
            return false;
        }
        return true;
    }

    bool skip(std::size_t count, const std::string& what) {
        if (bytes_.size() - at_ < count) {
            fail(bytes_.size(), "the file ends in the " + what + ofChunk());
            return false;
        }
        at_ += count;
        return true;
    }

    Stretch fail(std::size_t at, const std::string& fault) {
        broken_ = {start_, 0, at, fault};
        return broken_;
    }

    Stretch broken() const { return broken_; }

    std::span<const std::uint8_t> bytes_;
    std::size_t start_;
    std::size_t at_;
    std::uint32_t number_ = 0;
    Stretch broken_;
};

// The offset of the next packet with chunks that reaches past a place, or the end of the file.
std::size_t nextPacket(std::span<const std::uint8_t> bytes, std::size_t after, std::size_t past) {
    std::array<std::uint8_t, wordSize> mark{};
    std::memcpy(mark.data(), &startMark, wordSize);
    const std::boyer_moore_horspool_searcher searcher(mark.begin(), mark.end());
    auto from = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(after + markInPacket, bytes.size()));
    while (true) {
        from = std::search(from, bytes.end(), searcher);
        if (from == bytes.end()) {
            return bytes.size();
        }
        const auto offset = static_cast<std::size_t>(from - bytes.begin()) - markInPacket;
        const Stretch found = packetAt(bytes, offset);
        if (found.fault.empty() && offset + found.size > past) {
            return offset;
        }
        ++from;
    }
}

// The damaged bytes from a fault on. What it looked for may lie after the start of the next packet; such a
// place would mislead.
Stretch damageAt(std::span<const std::uint8_t> bytes, Stretch fault, std::size_t past) {
    const std::size_t next = nextPacket(bytes, fault.offset, past);
    fault.size = next - fault.offset;
    if (fault.faultAt >= next && next < bytes.size()) {
        fault.faultAt = fault.offset;
    }
    return fault;
}

// A packet before a fault may only look whole: its number of chunks is too small, or it ends within the next
// packet, at a mark that happens to stand where its own would. No fault if it is whole.
Stretch faultBefore(std::span<const std::uint8_t> bytes, const Stretch& packet) {
    const std::size_t end = packet.offset + packet.size;
    if (nextPacket(bytes, packet.offset, end) < end) {
        return {packet.offset, 0, packet.offset, "the next packet begins before this one ends"};
    }
    if (Walk(bytes, end).chunk()) {
        return {packet.offset, 0, packet.offset, "more chunks follow than the number of chunks says"};
    }
    return {};
}

}  // namespace

FileBytes::FileBytes(const std::filesystem::path& path) {
    const auto refuse = [&path](const std::string& reason) {
        throw RecordingError("Cannot read " + nameOf(path) + ": " + reason + ".");
    };
    const int file = isStandardInput(path) ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                           : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1) {
        refuse(std::strerror(errno));
    }
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        const auto size = static_cast<std::size_t>(status.st_size);
        void* const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
        if (mapped != MAP_FAILED) {
            mapped_ = mapped;
            bytes_ = {static_cast<const std::uint8_t*>(mapped), size};
            close(file);
            return;
        }
    }
    constexpr std::size_t step = std::size_t{1} << 20U;
    ssize_t got = 1;
    while (got > 0) {
        const std::size_t before = read_.size();
        read_.resize(before + step);
        got = read(file, read_.data() + before, step);
        read_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    const int reason = errno;
    close(file);
    if (got < 0) {
        refuse(std::strerror(reason));
    }
    bytes_ = read_;
}

FileBytes::~FileBytes() {
    if (mapped_ != nullptr) {
        munmap(mapped_, bytes_.size());
    }
}

Stretch packetAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return Walk(bytes, offset).packet();
}

std::vector<Stretch> salvage(std::span<const std::uint8_t> bytes) {
    std::vector<Stretch> stretches;
    std::size_t offset = 0;
    while (offset < bytes.size()) {
        Stretch stretch = packetAt(bytes, offset);
        if (!stretch.fault.empty()) {
            if (!stretches.empty() && stretches.back().fault.empty()) {
                if (Stretch before = faultBefore(bytes, stretches.back()); !before.fault.empty()) {
                    stretches.pop_back();
                    stretch = std::move(before);
                }
            }
            stretch = damageAt(bytes, std::move(stretch), offset);
        }
        offset = stretch.offset + stretch.size;
        stretches.push_back(std::move(stretch));
    }
    return stretches;
}

}  // namespace recording
