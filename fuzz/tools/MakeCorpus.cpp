// SPDX-License-Identifier: Apache-2.0
//
// Writes the seeds of the tools' fuzz targets: tools_make_corpus FOLDER. There is a folder for each target:
// recordings, overrides.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "recording/CameraRecords.h"
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: tools_make_corpus FOLDER\n", stderr);
        return 2;
    }
    try {
        writeRecordings(std::filesystem::path(argv[1]) / "recordings");
        writeOverrides(std::filesystem::path(argv[1]) / "overrides");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
