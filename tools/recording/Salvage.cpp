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
#include <utility>

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
    Walk(FileBytes& bytes, std::size_t offset) : bytes_(bytes), start_(offset), at_(offset) {}

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
        if (!bytes_.reach(at_ + wordSize)) {
            fail(bytes_.size(), "the file ends " + what);
            return false;
        }
        std::memcpy(&word, bytes_.part(at_, wordSize).data(), wordSize);
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
        if (!bytes_.reach(at_ + count)) {
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

    FileBytes& bytes_;
    std::size_t start_;
    std::size_t at_;
    std::uint32_t number_ = 0;
    Stretch broken_;
};

// The offset of the next packet with chunks that reaches past a place, or the end of the file.
std::size_t nextPacket(FileBytes& bytes, std::size_t after, std::size_t past) {
    constexpr std::size_t step = std::size_t{1} << 20U;  // is looked through at a time
    std::array<std::uint8_t, wordSize> mark{};
    std::memcpy(mark.data(), &startMark, wordSize);
    const std::boyer_moore_horspool_searcher searcher(mark.begin(), mark.end());
    std::size_t from = after + markInPacket;
    while (true) {
        const bool goesOn = bytes.reach(from + step);
        const std::size_t end = goesOn ? from + step : bytes.size();
        if (end < from + wordSize) {
            return bytes.size();
        }
        const std::span<const std::uint8_t> window = bytes.part(from, end - from);
        const auto found = std::search(window.begin(), window.end(), searcher);
        if (found != window.end()) {
            from += static_cast<std::size_t>(found - window.begin());
            const std::size_t offset = from - markInPacket;
            const Stretch packet = packetAt(bytes, offset);
            if (packet.fault.empty() && offset + packet.size > past) {
                return offset;
            }
            ++from;
        } else if (goesOn) {
            from = end - (wordSize - 1);
        } else {
            return bytes.size();
        }
    }
}

// The damaged bytes from a fault on. What it looked for may lie after the start of the next packet; such a
// place would mislead.
Stretch damageAt(FileBytes& bytes, Stretch fault, std::size_t past) {
    const std::size_t next = nextPacket(bytes, fault.offset, past);
    fault.size = next - fault.offset;
    if (fault.faultAt >= next && bytes.reach(next + 1)) {
        fault.faultAt = fault.offset;
    }
    return fault;
}

// A packet before a fault may only look whole: its number of chunks is too small, or it ends within the next
// packet, at a mark that happens to stand where its own would. No fault if it is whole.
Stretch faultBefore(FileBytes& bytes, const Stretch& packet) {
    const std::size_t end = packet.offset + packet.size;
    if (nextPacket(bytes, packet.offset, end) < end) {
        return {packet.offset, 0, packet.offset, "the next packet begins before this one ends"};
    }
    if (Walk(bytes, end).chunk()) {
        return {packet.offset, 0, packet.offset, "more chunks follow than the number of chunks says"};
    }
    return {};
}

std::uint32_t wordAt(FileBytes& bytes, std::size_t offset) {
    std::uint32_t word = 0;
    if (bytes.reach(offset + wordSize)) {
        std::memcpy(&word, bytes.part(offset, wordSize).data(), wordSize);
    }
    return word;
}

std::optional<container::Header> storedHeaderAt(FileBytes& bytes, std::size_t offset) {
    return wordAt(bytes, offset) == container::packetMark && bytes.reach(offset + container::headerSize)
               ? container::headerIn(bytes.part(offset, container::headerSize))
               : std::nullopt;
}

// The size of the index that stands here whole; none if none does.
std::optional<std::size_t> indexAt(FileBytes& bytes, std::size_t offset) {
    constexpr std::size_t frontSize = 16;
    if (wordAt(bytes, offset) != container::indexMark || !bytes.reach(offset + frontSize)) {
        return std::nullopt;
    }
    const std::uint64_t count = container::countIn(bytes.part(offset, frontSize));
    constexpr std::uint64_t mostPackets = std::uint64_t{1} << 40U;
    const std::size_t size =
        container::indexFrameSize + 8 * static_cast<std::size_t>(std::min(count, mostPackets));
    const bool whole = bytes.reach(offset + size) && container::offsetsIn(bytes.part(offset, size), offset);
    return whole ? std::optional(size) : std::nullopt;
}

}  // namespace

FileBytes::FileBytes(const std::filesystem::path& path) : name_(nameOf(path)) {
    file_ = isStandardInput(path) ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                  : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file_ == -1) {
        throw RecordingError("Cannot read " + name_ + ": " + std::strerror(errno) + ".");
    }
    struct stat status {};
    // Of standard input, something else may have read a part.
    if (isStandardInput(path) || fstat(file_, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size == 0) {
        return;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file_, 0);
    if (mapped != MAP_FAILED) {
        mapped_ = mapped;
        bytes_ = {static_cast<const std::uint8_t*>(mapped), size};
        close(file_);
        file_ = -1;
    }
}

FileBytes::~FileBytes() {
    if (mapped_ != nullptr) {
        munmap(mapped_, bytes_.size());
    }
    if (file_ != -1) {
        close(file_);
    }
}

bool FileBytes::reach(std::size_t end) {
    while (size() < end && file_ != -1) {
        readOn();
    }
    return size() >= end;
}

void FileBytes::readOn() {
    constexpr std::size_t step = std::size_t{1} << 18U;
    const std::size_t before = read_.size();
    read_.resize(before + step);
    const ssize_t got = read(file_, read_.data() + before, step);
    const int reason = errno;
    read_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    bytes_ = read_;
    if (got < 0 && reason != EINTR) {
        throw RecordingError("Cannot read " + name_ + ": " + std::strerror(reason) + ".");
    }
    if (got == 0) {
        close(file_);
        file_ = -1;
    }
}

// The rest is moved only when that pays.
void FileBytes::forget(std::size_t offset) {
    const std::size_t count = offset - forgotten_;
    if (read_.empty() || count < read_.size() / 2) {
        return;
    }
    read_.erase(read_.begin(), read_.begin() + static_cast<std::ptrdiff_t>(count));
    bytes_ = read_;
    forgotten_ += count;
}

void FileBytes::freePages() {
    if (mapped_ != nullptr) {
        madvise(mapped_, bytes_.size(), MADV_DONTNEED);
    }
}

Stretch packetAt(FileBytes& bytes, std::size_t offset) {
    return Walk(bytes, offset).packet();
}

Salvage::Salvage(FileBytes& bytes) : bytes_(bytes) {
    // With a damaged head, a container still shows by the header of its first packet.
    const bool head = bytes.reach(container::headSize) &&
                      std::ranges::equal(bytes.part(0, container::headSize), container::head());
    if (head || storedHeaderAt(bytes, container::headSize)) {
        unpacker_.emplace();
    }
}

std::optional<Stretch> Salvage::next() {
    bytes_.forget(given_);
    return unpacker_ ? nextStored() : nextPlain();
}

std::span<const std::uint8_t> Salvage::bytesOf(const Stretch& stretch) const {
    return unpacker_ && stretch.fault.empty() ? std::span<const std::uint8_t>(packet_)
                                              : bytes_.part(stretch.offset, stretch.size);
}

std::optional<Stretch> Salvage::nextStored() {
    if (given_ == 0) {
        if (!std::ranges::equal(bytes_.part(0, container::headSize), container::head())) {
            return damagedFrom("the head of the container is damaged");
        }
        given_ = container::headSize;
    }
    if (!bytes_.reach(given_ + 1)) {
        return faultOfEnd();
    }
    if (wordAt(bytes_, given_) == container::indexMark) {
        return faultOfIndex();
    }
    const std::optional<container::Header> header = storedHeaderAt(bytes_, given_);
    if (!header) {
        return damagedFrom("the header of a packet is damaged");
    }
    const std::size_t size = container::headerSize + header->storedSize;
    if (!bytes_.reach(given_ + size)) {
        return damagedFrom("the file ends in a compressed packet");
    }
    const std::string fault =
        unpacker_->unpack(*header, bytes_.part(given_ + container::headerSize, header->storedSize), packet_);
    if (!fault.empty()) {
        return damagedFrom(fault);
    }
    FileBytes unpacked{std::span<const std::uint8_t>(packet_)};
    const Stretch inner = packetAt(unpacked, 0);
    if (!inner.fault.empty() || inner.size != packet_.size()) {
        return damagedFrom("what is compressed is no packet");
    }
    const Stretch stretch{given_, size, 0, ""};
    offsets_.push_back(given_);
    given_ += size;
    return stretch;
}

// From here to the next header that is whole, to the index, or to the end.
Stretch Salvage::damagedFrom(const std::string& fault) {
    damaged_ = true;
    std::size_t end = given_ + 1;
    while (bytes_.reach(end + 1) && !storedHeaderAt(bytes_, end) && !indexAt(bytes_, end)) {
        ++end;
    }
    const Stretch stretch{given_, end - given_, given_, fault};
    given_ = end;
    return stretch;
}

// Without an index, the end is told once.
std::optional<Stretch> Salvage::faultOfEnd() {
    if (std::exchange(indexSeen_, true)) {
        return std::nullopt;
    }
    return Stretch{given_, 0, given_, "the file ends without the index of the container"};
}

// Of a good index that fits, there is nothing to say.
std::optional<Stretch> Salvage::faultOfIndex() {
    indexSeen_ = true;
    const std::optional<std::size_t> size = indexAt(bytes_, given_);
    if (!size) {
        return damagedFrom("the index of the container is damaged");
    }
    const auto told = container::offsetsIn(bytes_.part(given_, *size), given_);
    const std::size_t start = given_;
    given_ += *size;
    if (bytes_.reach(given_ + 1)) {
        return damagedFrom("bytes follow the index of the container");
    }
    // After a damage, the index tells of what was lost.
    if (*told == offsets_ || damaged_) {
        return std::nullopt;
    }
    return Stretch{start, *size, start, "the index of the container tells of other packets than are there"};
}

std::optional<Stretch> Salvage::nextPlain() {
    Stretch stretch;
    if (next_) {
        stretch = *std::exchange(next_, std::nullopt);
    } else if (bytes_.reach(given_ + 1)) {
        stretch = packetAt(bytes_, given_);
        if (!stretch.fault.empty()) {
            stretch = damageAt(bytes_, stretch, given_);
        }
    } else {
        return std::nullopt;
    }
    const std::size_t end = stretch.offset + stretch.size;
    if (stretch.fault.empty() && bytes_.reach(end + 1)) {
        next_ = packetAt(bytes_, end);
        if (!next_->fault.empty()) {
            if (const Stretch own = faultBefore(bytes_, stretch); !own.fault.empty()) {
                stretch = damageAt(bytes_, own, end);
                next_.reset();
            } else {
                next_ = damageAt(bytes_, *next_, end);
            }
        }
    }
    given_ = stretch.offset + stretch.size;
    return stretch;
}

}  // namespace recording
