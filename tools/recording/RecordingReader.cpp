// SPDX-License-Identifier: Apache-2.0

#include "recording/RecordingReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace recording {
namespace {

constexpr std::uint32_t startMark = 0x01234567;   // before the definition
constexpr std::uint32_t middleMark = 0x76543210;  // between definition and data
constexpr std::uint32_t endMark = 0x89ABCDEF;     // after the data

constexpr std::size_t largestPacket = std::numeric_limits<std::int32_t>::max();

// Bytes are read in steps, so that a false size costs no more memory than the file has bytes.
constexpr std::size_t largestStep = std::size_t{1} << 20U;

}  // namespace

bool isStandardInput(const std::filesystem::path& path) {
    return path == "-";
}

std::string nameOf(const std::filesystem::path& recording) {
    return isStandardInput(recording) ? "standard input" : recording.string();
}

RecordingReader::RecordingReader(const std::filesystem::path& path) : path_(path) {
    const auto refuse = [this](const std::string& reason) {
        throw RecordingError("Cannot read " + nameOf(path_) + ": " + reason + ".");
    };
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        refuse("it is a folder");
    }
    if (!isStandardInput(path)) {
        file_.reset(std::fopen(path.c_str(), "rb"));
    } else if (const int copy = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0); copy != -1) {
        file_.reset(fdopen(copy, "rb"));
    }
    if (!file_) {
        refuse(std::strerror(errno));
    }
    struct stat status {};
    if (fstat(fileno(file_.get()), &status) == 0 && S_ISREG(status.st_mode)) {
        fileSize_ = static_cast<std::uint64_t>(status.st_size);
    }
}

RecordedPacket* RecordingReader::next() {
    if (!ahead_.empty()) {
        buffer_ = std::move(ahead_.front().bytes);
        stored_ = ahead_.front().stored;
        ahead_.pop_front();
    } else if (!readNext()) {
        return nullptr;
    }
    RecordedPacket* const packet = packetIn(packetsGiven_, position_, buffer_);
    position_ += stored_;
    ++packetsGiven_;
    return packet;
}

const RecordedPacket* RecordingReader::lookAhead() {
    try {
        if (!readNext()) {
            return nullptr;
        }
    } catch (const RecordingError& error) {
        damage_ = error.what();
        return nullptr;
    }
    ahead_.push_back({std::move(buffer_), stored_});
    HeldPacket& held = ahead_.back();
    return packetIn(packetsRead_ - 1, end_ - held.stored, held.bytes);
}

// Into the buffer; false at the end.
bool RecordingReader::readNext() {
    if (!damage_.empty()) {
        throw RecordingError(std::exchange(damage_, {}));
    }
    if (ended_) {
        return false;
    }
    ended_ = true;  // unless this packet turns out good
    const int first = std::fgetc(file_.get());
    if (first == EOF && std::ferror(file_.get()) == 0) {
        if (unpacker_) {
            fail(end_, "the file ends without the index of the container; all packets before are whole");
        }
        return false;
    }
    buffer_.clear();
    if (first != EOF) {
        std::ungetc(first, file_.get());
    }
    if (!unpacker_) {
        readPacket();  // or the head of a container
        stored_ = buffer_.size();
    }
    if (unpacker_ && !readStored()) {
        return false;
    }
    zelta::Packet chunks;
    if (zelta::packet_parse(buffer_.data(), static_cast<int>(buffer_.size()), chunks) != 0) {
        fail(end_, "the packet cannot be taken apart");
    }
    offsets_.insert(offsets_.end(), unpacker_ ? 1 : 0, end_);
    end_ += stored_;
    ++packetsRead_;
    ended_ = false;
    return true;
}

// A packet of a container, into the buffer; false at the index.
bool RecordingReader::readStored() {
    if (readWord("without the index of the container") == container::indexMark) {
        readIndex();
        return false;
    }
    readBytes(container::headerSize - buffer_.size(), "in the header of a packet");
    const std::optional<container::Header> header = container::headerIn(buffer_);
    if (!header) {
        fail(end_, "the header of the packet is damaged");
    }
    readBytes(header->storedSize, "in a compressed packet");
    stored_ = buffer_.size();
    std::vector<std::uint8_t> packet;
    const std::string fault =
        unpacker_->unpack(*header, std::span(buffer_).subspan(container::headerSize), packet);
    if (!fault.empty()) {
        fail(end_, fault);
    }
    buffer_ = std::move(packet);
    return true;
}

void RecordingReader::readIndex() {
    constexpr std::size_t frontSize = 16;
    readBytes(frontSize - buffer_.size(), "in the index of the container");
    if (container::countIn(buffer_) != offsets_.size()) {
        fail(end_, "the index of the container tells of " + std::to_string(container::countIn(buffer_)) +
                       " packets, before it are " + std::to_string(offsets_.size()));
    }
    readBytes(container::indexFrameSize - frontSize + 8 * offsets_.size(), "in the index of the container");
    const auto told = container::offsetsIn(buffer_, end_);
    if (!told || *told != offsets_) {
        fail(end_, "the index of the container is damaged; all packets before are whole");
    }
    if (std::fgetc(file_.get()) != EOF) {
        fail(end_ + buffer_.size(), "bytes follow the index of the container");
    }
}

// The bytes were parsed before.
RecordedPacket* RecordingReader::packetIn(std::size_t index, std::uint64_t offset,
                                          std::vector<std::uint8_t>& bytes) {
    packet_ = {index, offset, bytes, {}};
    zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet_.chunks);
    return &packet_;
}

void RecordingReader::readPacket() {
    const std::uint32_t count = readWord("in its number of chunks");
    if (end_ == 0 && count == container::firstWord) {
        readBytes(container::headSize - sizeof(count), "in the head of the container");
        if (buffer_ != container::head()) {
            fail(0, "it begins like a container, of a kind that is not known here");
        }
        unpacker_ = std::make_unique<container::Unpacker>();
        end_ = position_ = buffer_.size();
        buffer_.clear();
        return;
    }
    if (count > zelta::kMaxChunks) {
        fail(end_, "it says that it has " + std::to_string(count) + " chunks, where " +
                       std::to_string(zelta::kMaxChunks) + " are possible");
    }
    for (std::uint32_t number = 0; number < count; ++number) {
        readChunk(number);
    }
}

void RecordingReader::readChunk(std::uint32_t number) {
    const std::string chunk = "of chunk " + std::to_string(number);
    readWord(("in the channel " + chunk).c_str());
    const std::int32_t descriptionSize = readSize(number, "definition");
    const std::int32_t dataSize = readSize(number, "data");
    readMark(startMark, number, "header");
    readBytes(static_cast<std::size_t>(descriptionSize), ("in the definition " + chunk).c_str());
    readMark(middleMark, number, "definition");
    readBytes(static_cast<std::size_t>(dataSize), ("in the data " + chunk).c_str());
    readMark(endMark, number, "data");
}

std::uint32_t RecordingReader::readWord(const char* what) {
    readBytes(sizeof(std::uint32_t), what);
    std::uint32_t word = 0;
    std::memcpy(&word, buffer_.data() + buffer_.size() - sizeof(word), sizeof(word));
    return word;
}

std::int32_t RecordingReader::readSize(std::uint32_t number, const char* what) {
    const std::uint64_t at = offset();
    const std::string chunk = " of chunk " + std::to_string(number);
    const auto size =
        static_cast<std::int32_t>(readWord(("in the size of the " + std::string(what) + chunk).c_str()));
    if (size <= 0) {
        fail(at, "the size of the " + std::string(what) + chunk + " is " + std::to_string(size));
    }
    return size;
}

void RecordingReader::readMark(std::uint32_t expected, std::uint32_t number, const char* after) {
    const std::uint64_t at = offset();
    const std::string place = std::string(after) + " of chunk " + std::to_string(number);
    if (readWord(("in the mark after the " + place).c_str()) != expected) {
        fail(at, "the mark after the " + place + " is not there");
    }
}

void RecordingReader::readBytes(std::size_t count, const char* what) {
    if (count > largestPacket - buffer_.size()) {
        fail(offset(), "the packet is larger than 2147483647 bytes");
    }
    while (count > 0) {
        const std::size_t step = std::min(count, largestStep);
        const std::size_t before = buffer_.size();
        buffer_.resize(before + step);
        const std::size_t got = std::fread(buffer_.data() + before, 1, step, file_.get());
        if (got != step) {
            const int reason = errno;
            buffer_.resize(before + got);
            if (std::ferror(file_.get()) != 0) {
                fail(offset(), std::string("it cannot be read: ") + std::strerror(reason));
            }
            fail(offset(), std::string("the file ends ") + what);
        }
        count -= step;
    }
}

void RecordingReader::fail(std::uint64_t at, const std::string& reason) const {
    throw RecordingError(nameOf(path_) + " is damaged at byte " + std::to_string(at) + ", in packet " +
                         std::to_string(packetsRead_) + " (from byte " + std::to_string(end_) +
                         "): " + reason + ".");
}

}  // namespace recording
