// SPDX-License-Identifier: Apache-2.0
//
// Writes the seeds of the tools' fuzz targets: tools_make_corpus FOLDER. There is a folder for each target:
// recordings, overrides, containers, arrays, cameras.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "arrays/NumpyFile.h"
#include "recording/CameraRecords.h"
#include "recording/Container.h"
#include "recording/Record.h"
#include "simulation/RawPacking.h"

namespace {

void write(const std::filesystem::path& path, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::string text(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

void writeRecordings(const std::filesystem::path& folder) {
    const simulation::Calibration calibration = simulation::makeCalibration({});
    recording::ImagePackets packets(calibration, {});
    simulation::RawImage image;
    image.phaseData.assign(simulation::rawImageBytes, 0);
    const std::string whole = text(packets.packetOf(image));
    const recording::Record small(
        recording::structure("SceneTruth", {recording::float32("distance", {3}), recording::uint16("edge")}));
    const std::string record = text(recording::packetOf({small.chunk(9000), small.chunk(3208)}));
    write(folder / "image", whole);
    write(folder / "small", record);
    write(folder / "several", record + std::string(4, '\0') + record);
    write(folder / "empty", "");
    for (const std::size_t size : {1U, 4U, 17U, 40U, 60U}) {
        write(folder / ("cut-" + std::to_string(size)), record.substr(0, size));
    }
    std::string huge = record;
    huge.replace(12, 4, "\xFF\xFF\xFF\x7F");
    write(folder / "huge", huge);
}

void writeOverrides(const std::filesystem::path& folder) {
    int number = 0;
    for (const char* override :
         {"QorDistanceImageIFInput.customization.minAmplitude=20", "QorRawPhaseData.phaseData=1",
          "QorRawPhaseData.phaseData[3]=0xFF", "QorDistanceImageIFInput.param.numExposures=2",
          "QorDistanceImageIFInput.customization.autoExpSet.roiSettings.rois.ROIs[0].rectangle.center.x=1.5",
          "QorDistanceImageIFInput.freqHoppingTable.frequencyHoppingTable[1].fid=1,2",
          "QorDistanceImageIFInput.phaseInfo.frameCounter=-1", "QorDistanceImageIFInput=1", "=",
          "A.b=", "A[99]=1", "QorDistanceImageIFInput.customization.minAmplitude=1e39",
          "QorDistanceImageIFInput.customization.enableNoiseEstimation=256"}) {
        write(folder / std::to_string(number++), override);
    }
}

/** A container of two small packets: the whole, and its parts as the fuzz target takes them apart. */
void writeContainers(const std::filesystem::path& folder) {
    const recording::Record small(
        recording::structure("SceneTruth", {recording::float32("distance", {300})}));
    const std::vector<std::uint8_t> packet = recording::packetOf({small.chunk(9000)});
    recording::container::Packer packer;
    const std::string stored = text(packer.packed(packet));
    const std::string head = text(recording::container::head());
    const std::uint64_t first = recording::container::headSize;
    const std::string index = text(recording::container::index(
        std::vector<std::uint64_t>{first, first + stored.size()}, first + 2 * stored.size()));
    const std::string whole = head + stored + stored + index;
    for (const char way : {'\0', '\1'}) {
        const std::string name = way == 0 ? "read" : "salvage";
        write(folder / name, way + whole);
        write(folder / (name + "-without-index"), way + head + stored + stored);
        write(folder / (name + "-cut"), way + whole.substr(0, head.size() + stored.size() / 2));
        write(folder / (name + "-plain"), way + text(packet) + text(packet));
    }
    const auto size = static_cast<std::uint32_t>(packet.size());
    write(folder / "packet", '\2' + std::string(reinterpret_cast<const char*>(&size), sizeof size) +
                                 stored.substr(recording::container::headerSize));
    write(folder / "index",
          '\3' + text(recording::container::index(std::vector<std::uint64_t>{0, 4}, first)));
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeArrays(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const std::filesystem::path file = folder / "array";
    const arrays::ElementType number = {arrays::ElementKind::UnsignedInteger, 2, false};
    const arrays::ElementType big = {arrays::ElementKind::Float, 8, true};
    const arrays::Array image = arrays::makeArray(number, {3, 4}, std::vector<std::uint8_t>(24, 7));
    const arrays::Array numbers = arrays::makeArray(big, {2}, std::vector<std::uint8_t>(16, 1), true);
    arrays::writeNpy(file, image);
    const std::string npy = contentOf(file);
    write(folder / "npy", '\0' + npy);
    arrays::writeNpz(file, {{"image", image}, {"numbers", numbers}});
    const std::string npz = contentOf(file);
    write(folder / "npz", '\1' + npz);
    write(folder / "npy-as-png", '\2' + npy);
    // One grey pixel of 8 bits.
    write(
        folder / "png",
        '\2' + std::string(
                   "\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x00\x01\x00\x00"
                   "\x00\x01\x08\x00\x00\x00\x00\x3a\x7e\x9b\x55\x00\x00\x00\x0a\x49\x44\x41\x54\x78\x9c\x63"
                   "\x60\x07\x00\x00\x09\x00\x08\x20\x23\xc3\x8c\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60"
                   "\x82",
                   67));
    write(folder / "raw", '\3' + std::string(24, 'a'));
    std::filesystem::remove(file);
}

void writeCameras(const std::filesystem::path& folder) {
    int number = 0;
    for (
        const char* camera :
        {R"({"frequencies": [60e6, 80e6]})",
         R"({"frequencies": [{"frequency": 60e6, "phaseWigg": [0.1, 0.02, 1], "FPPN": 0.01}], "vignetting": 1})",
         R"({"frequencies": [60e6], "intrinsicCalibration": {"fx": 160, "fy": 160, "mx": 112, "my": 86}})",
         R"({"frequencies": [60e6], "straylight": {"psf": "psf.npy"}, "badPixels": [[3, 4]], "minDiff": 1})",
         "{}", ""}) {
        write(folder / std::to_string(number++), camera);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: tools_make_corpus FOLDER\n", stderr);
        return 2;
    }
    try {
        writeRecordings(std::filesystem::path(argv[1]) / "recordings");
        writeOverrides(std::filesystem::path(argv[1]) / "overrides");
        writeContainers(std::filesystem::path(argv[1]) / "containers");
        writeArrays(std::filesystem::path(argv[1]) / "arrays");
        writeCameras(std::filesystem::path(argv[1]) / "cameras");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
