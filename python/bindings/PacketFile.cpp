// SPDX-License-Identifier: Apache-2.0

#include "bindings/PacketFile.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "bindings/Definition.h"
#include "recording/Channels.h"
#include "recording/RecordingError.h"

namespace py = pybind11;

namespace bindings {
namespace {

using recording::RecordingError;

// Who searches packets or reads them touches their pages. After so many packets they are given back, so that
// memory does not grow with the file.
constexpr std::size_t packetsBetweenFreeing = 8;

std::filesystem::path checkedFile(const std::filesystem::path& path) {
    std::error_code error;
    const auto refuse = [&](const std::string& reason) {
        throw RecordingError("Cannot read " + path.string() + ": " + reason + ".");
    };
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        refuse("No such file or directory");
    }
    if (std::filesystem::is_directory(status)) {
        refuse("it is a folder");
    }
    if (!std::filesystem::is_regular_file(status)) {
        refuse("only a file can be read packet by packet in any order");
    }
    return path;
}

py::bytes definitionBytes(const zelta::ZeltaChunk& chunk) {
    return {static_cast<const char*>(chunk.description), static_cast<std::size_t>(chunk.descSize)};
}

// (channel, offset and size of the data in the packet) of each chunk.
py::tuple chunkTable(const PacketBytes& packet) {
    py::tuple table(packet.chunks().size());
    for (std::size_t k = 0; k < packet.chunks().size(); ++k) {
        const zelta::ZeltaChunk& chunk = packet.chunks()[k];
        const auto offset = static_cast<const std::uint8_t*>(chunk.data) - packet.bytes().data();
        table[k] = py::make_tuple(chunk.channelID, offset, chunk.dataSize);
    }
    return table;
}

const zelta::ZeltaChunk& chunkOf(const PacketBytes& packet, std::size_t number) {
    if (number >= packet.chunks().size()) {
        throw py::index_error("the packet has " + std::to_string(packet.chunks().size()) + " chunks");
    }
    return packet.chunks()[number];
}

PacketBytes packetOfBytes(const py::bytes& bytes) {
    const auto view = static_cast<std::string_view>(bytes);
    auto copy = std::make_shared<std::vector<std::uint8_t>>(view.begin(), view.end());
    const std::span<const std::uint8_t> span(*copy);
    return {std::move(copy), span, 0, 0};
}

}  // namespace

PacketBytes::PacketBytes(std::shared_ptr<const void> owner, std::span<const std::uint8_t> bytes,
                         std::size_t index, std::uint64_t offset)
    : owner_(std::move(owner)), bytes_(bytes), index_(index), offset_(offset) {
    const bool fits = bytes.size() <= 0x7FFFFFFF;
    if (!fits || zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), chunks_) != 0) {
        throw RecordingError("These bytes are no packet.");
    }
}

PacketFile::PacketFile(const std::filesystem::path& path)
    : path_(checkedFile(path)), file_(std::make_shared<recording::FileBytes>(path_)) {
    using namespace recording::container;
    std::uint32_t first = 0;
    if (!file_->reach(sizeof(first))) {
        return;
    }
    std::memcpy(&first, file_->part(0, sizeof(first)).data(), sizeof(first));
    if (first != firstWord) {
        return;
    }
    if (!file_->reach(headSize) || !std::ranges::equal(file_->part(0, headSize), head())) {
        breakAt(0, "it begins like a container, of a kind that is not known here");
        return;
    }
    unpacker_.emplace();
    end_ = headSize;
}

std::optional<PacketBytes> PacketFile::packet(std::size_t index) {
    while (index >= offsets_.size()) {
        if (!findNext()) {
            return std::nullopt;
        }
    }
    const std::uint64_t offset = offsets_[index];
    freePagesNowAndThen();
    if (unpacker_) {
        auto bytes = unpacked(index);
        const std::span<const std::uint8_t> span(*bytes);
        return PacketBytes(std::move(bytes), span, index, offset);
    }
    const std::uint64_t end = index + 1 < offsets_.size() ? offsets_[index + 1] : end_;
    return PacketBytes(file_, file_->part(offset, end - offset), index, offset);
}

std::size_t PacketFile::count() {
    while (findNext()) {
    }
    return offsets_.size();
}

bool PacketFile::findNext() {
    if (ended_) {
        return false;
    }
    freePagesNowAndThen();
    return unpacker_ ? findNextStored() : findNextPlain();
}

bool PacketFile::findNextPlain() {
    if (!file_->reach(end_ + 1)) {
        ended_ = true;
        return false;
    }
    const recording::Stretch stretch = recording::packetAt(*file_, end_);
    if (!stretch.fault.empty()) {
        return breakAt(stretch.faultAt, stretch.fault);
    }
    if (stretch.size > 0x7FFFFFFF) {
        return breakAt(end_, "the packet is larger than 2147483647 bytes");
    }
    offsets_.push_back(end_);
    end_ += stretch.size;
    return true;
}

bool PacketFile::findNextStored() {
    using namespace recording::container;
    std::uint32_t mark = 0;
    if (!file_->reach(end_ + sizeof(mark))) {
        return breakAt(end_,
                       "the file ends without the index of the container; all packets before are whole");
    }
    std::memcpy(&mark, file_->part(end_, sizeof(mark)).data(), sizeof(mark));
    if (mark == indexMark) {
        return endOfContainer();
    }
    const std::optional<Header> header =
        file_->reach(end_ + headerSize) ? headerIn(file_->part(end_, headerSize)) : std::nullopt;
    if (!header) {
        return breakAt(end_, "the header of the packet is damaged");
    }
    if (!file_->reach(end_ + headerSize + header->storedSize)) {
        return breakAt(file_->size(), "the file ends in a compressed packet");
    }
    offsets_.push_back(end_);
    end_ += headerSize + header->storedSize;
    return true;
}

bool PacketFile::endOfContainer() {
    using namespace recording::container;
    const std::size_t size = indexFrameSize + 8 * offsets_.size();
    if (!file_->reach(end_ + size) || offsetsIn(file_->part(end_, size), end_) != offsets_) {
        return breakAt(end_, "the index of the container is damaged; all packets before are whole");
    }
    if (file_->reach(end_ + size + 1)) {
        return breakAt(end_ + size, "bytes follow the index of the container");
    }
    ended_ = true;
    return false;
}

bool PacketFile::breakAt(std::uint64_t at, const std::string& reason) {
    ended_ = true;
    damage_ = path_.string() + " is damaged at byte " + std::to_string(at) + ", in packet " +
              std::to_string(offsets_.size()) + " (from byte " + std::to_string(end_) + "): " + reason + ".";
    return false;
}

void PacketFile::freePagesNowAndThen() {
    if (++touched_ == packetsBetweenFreeing) {
        touched_ = 0;
        file_->freePages();
    }
}

std::shared_ptr<std::vector<std::uint8_t>> PacketFile::unpacked(std::size_t index) {
    using namespace recording::container;
    const std::uint64_t offset = offsets_[index];
    const Header header = headerIn(file_->part(offset, headerSize)).value();
    auto packet = std::make_shared<std::vector<std::uint8_t>>();
    const std::string fault =
        unpacker_->unpack(header, file_->part(offset + headerSize, header.storedSize), *packet);
    if (!fault.empty()) {
        throw RecordingError(path_.string() + " is damaged at byte " + std::to_string(offset) +
                             ", in packet " + std::to_string(index) + ": " + fault + ".");
    }
    return packet;
}

void addPacketFile(py::module_& module) {
    py::class_<PacketBytes, std::shared_ptr<PacketBytes>>(module, "PacketBytes", py::buffer_protocol())
        .def(py::init(&packetOfBytes))
        .def_property_readonly("index", &PacketBytes::index)
        .def_property_readonly("offset", &PacketBytes::offset)
        .def_property_readonly("chunks", &chunkTable)
        .def("definition",
             [](const PacketBytes& packet, std::size_t number) {
                 const zelta::ZeltaChunk& chunk = chunkOf(packet, number);
                 return definitionOf({static_cast<const std::uint8_t*>(chunk.description),
                                      static_cast<std::size_t>(chunk.descSize)});
             })
        .def("definition_bytes", [](const PacketBytes& packet,
                                    std::size_t number) { return definitionBytes(chunkOf(packet, number)); })
        .def_buffer([](const PacketBytes& packet) {
            const std::span<const std::uint8_t> bytes = packet.bytes();
            return py::buffer_info(const_cast<std::uint8_t*>(bytes.data()),
                                   static_cast<py::ssize_t>(bytes.size()), true);
        });
    py::class_<PacketFile>(module, "PacketFile")
        .def(py::init<const std::filesystem::path&>(), py::arg("path"))
        .def("packet",
             [](PacketFile& file, std::size_t index) -> std::shared_ptr<PacketBytes> {
                 std::optional<PacketBytes> packet = file.packet(index);
                 return packet ? std::make_shared<PacketBytes>(std::move(*packet)) : nullptr;
             })
        .def("count", &PacketFile::count)
        .def_property_readonly("damage", &PacketFile::damage)
        .def_property_readonly("is_container", &PacketFile::isContainer);
    using namespace recording::channel;
    py::dict channels;
    channels["raw"] = rawImage;
    channels["input"] = input;
    channels["result"] = result;
    channels["calibration"] = calibration;
    channels["state"] = state;
    channels["pipeline_input"] = pipelineInput;
    channels["pipeline_output"] = pipelineOutput;
    channels["debug"] = debug;
    channels["profiling"] = profiling;
    channels["calibration_error"] = calibrationError;
    channels["auxiliary"] = auxiliary;
    channels["customization"] = customization;
    channels["scene_truth"] = sceneTruth;
    channels["frequency_truth"] = frequencyTruth;
    channels["simulation"] = recording::channel::simulation;
    module.attr("channels") = channels;
}

}  // namespace bindings
