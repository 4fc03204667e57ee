// SPDX-License-Identifier: Apache-2.0
//
// Writes the seeds of the plug-in's fuzz target with the project's own writers: plugin_make_corpus FOLDER.
// There is a folder for each of the targets: sessions, settings, calibrations.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Algorithms.h"
#include "Session.h"
#include "zelta/Seeds.h"

namespace {

using fuzz::SessionWriter;
using host_testing::Bytes;
using host_testing::OwnedChunk;
using zelta::fuzz::nestedPayload;

class Folder {
 public:
    explicit Folder(const std::filesystem::path& path) : m_path(path) {
        std::filesystem::create_directories(m_path);
    }

    void write(const std::string& name, const SessionWriter& session) const { write(name, session.bytes()); }

    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream file(m_path / name, std::ios::binary);
        file << bytes;
        if (!file) {
            throw std::runtime_error("cannot write " + (m_path / name).string());
        }
    }

 private:
    std::filesystem::path m_path;
};

SessionWriter frames(int images, unsigned int flags) {
    SessionWriter session;
    session.step(fuzz::StepCalibration | flags);
    for (int image = 0; image < images; ++image) {
        session.step(fuzz::StepImage | flags);
    }
    return session;
}

void writeGoodSessions(const Folder& folder) {
    folder.write("frame", frames(5, fuzz::kFullResult));
    folder.write("rich-frame", frames(5, fuzz::kRichInput | fuzz::kIntensity));
    folder.write("other-layout", frames(4, fuzz::kOtherLayout));
    folder.write("rich-frame-other-layout",
                 frames(5, fuzz::kOtherLayout | fuzz::kRichInput | fuzz::kIntensity));
    SessionWriter pin;
    pin.step(fuzz::StepCustomization | fuzz::kRichInput).step(fuzz::StepCalibration).step(fuzz::StepImage);
    folder.write("custom-pin", pin);
}

/** The image that finishes a frame, on every vector target. */
void writeLastImages(const Folder& folder) {
    for (unsigned int start = fuzz::StartPlain; start < fuzz::kStarts; ++start) {
        for (unsigned int target = 0; target < 4; ++target) {
            SessionWriter session(start, target);
            session.step(fuzz::StepImage).step(fuzz::StepImage | fuzz::kOtherLayout);
            folder.write("start-" + std::to_string(start) + "-" + std::to_string(target), session);
        }
    }
}

/** A change of a record as the targets of records read it. */
std::string changeOf(std::size_t place, const std::string& bytes) {
    std::string change;
    for (const std::size_t byte : {place, place >> 8U, place >> 16U, bytes.size()}) {
        change += static_cast<char>(byte & 0xFFU);
    }
    return change + bytes;
}

const std::vector<std::string>& hostileValues() {
    static const std::vector<std::string> values = {std::string(4, '\0'),
                                                    std::string(4, '\xFF'),
                                                    std::string("\x01\0\0\0", 4),
                                                    std::string("\x03\0\0\0", 4),
                                                    std::string("\xFF\xFF\xFF\x7F", 4),
                                                    std::string("\0\0\x80\x7F", 4),
                                                    std::string("\0\0\xC0\x7F", 4)};
    return values;
}

void writeSettings(const Folder& folder) {
    for (unsigned int start = 0; start < fuzz::kStarts; ++start) {
        for (unsigned int target = 0; target < 4; ++target) {
            for (const char pin : {'\0', '\1'}) {
                const std::string head = {static_cast<char>(16 * start + target), pin};
                folder.write("plain-" + std::to_string(start) + "-" + std::to_string(target) + "-" +
                                 std::to_string(pin),
                             head);
            }
        }
    }
    // The numbers before the regions and after them.
    std::vector<std::size_t> places;
    for (std::size_t place = 0; place < 172; place += 4) {
        places.push_back(place);
    }
    for (std::size_t place = 20108; place + 4 <= sizeof(QorDistanceImageIFInput); place += 4) {
        places.push_back(place);
    }
    for (const std::size_t place : places) {
        for (std::size_t value = 0; value < hostileValues().size(); ++value) {
            const unsigned int start = 1 + (place / 4 + value) % (fuzz::kStarts - 1);
            folder.write(
                "set-" + std::to_string(place) + "-" + std::to_string(value),
                std::string{static_cast<char>(16 * start), '\0'} + changeOf(place, hostileValues()[value]));
        }
    }
}

void writeCalibrations(const Folder& folder) {
    for (char target = 0; target < 4; ++target) {
        folder.write("plain-" + std::to_string(target), std::string(1, target));
    }
    for (const std::size_t place :
         {0UL, 4UL, 16UL, 100UL, 154200UL, 616800UL, 616804UL, 770916UL, 770976UL, 848036UL, 848052UL,
          848056UL, 848060UL, 848064UL, 848076UL, 848096UL, 848100UL}) {
        for (std::size_t value = 0; value < hostileValues().size(); ++value) {
            folder.write("set-" + std::to_string(place) + "-" + std::to_string(value),
                         std::string(1, '\0') + changeOf(place, hostileValues()[value]));
        }
    }
}

void writeOutOfOrder(const Folder& folder) {
    SessionWriter late;
    late.step(fuzz::StepImage).step(fuzz::StepCalibration).step(fuzz::StepRaw).step(fuzz::StepInput);
    folder.write("calibration-late", late);
    SessionWriter apart;
    apart.step(fuzz::StepCalibration).step(fuzz::StepInput);
    for (int image = 0; image < 4; ++image) {
        apart.step(fuzz::StepImage).step(fuzz::StepRaw).step(fuzz::StepInput);
    }
    folder.write("apart", apart);
    SessionWriter again = frames(3, 0);
    again.step(fuzz::StepRestartFrame).step(fuzz::StepImage | fuzz::kRichInput);
    again.step(fuzz::StepNewAlgorithm).step(fuzz::StepImage).step(fuzz::StepCalibration);
    folder.write("again", again);
}

/** Numbers of the input record that index something, out of range. */
void writeHostileNumbers(const Folder& folder) {
    const host_testing::Camera camera;
    const auto inputData = static_cast<std::uint32_t>(4 + 16 + camera.inputChunk().description.size() + 4);
    struct Member {
        const char* name;
        std::uint32_t offset;
    };
    for (const Member& member : {Member{"freqIdx", 8},
                                 {"exposureTime", 12},
                                 {"temporalFilter", 40},
                                 {"numberOfFrames", 44},
                                 {"spatialFilter", 64},
                                 {"medianMask", 68},
                                 {"meanMask", 72},
                                 {"bilateralMask", 76},
                                 {"applyAutoExposure", 128},
                                 {"noPoints", 400},
                                 {"regionType", 444},
                                 {"noROIs", 20112},
                                 {"numExposures", 20160},
                                 {"numFrequencies", 20164},
                                 {"fid", 20184},
                                 {"nextline", 20186},
                                 {"numlines", 20188},
                                 {"hoppingLength", 20208}}) {
        for (const std::uint8_t high : {std::uint8_t{0x7F}, std::uint8_t{0xFF}}) {
            SessionWriter session(fuzz::StartPlain);
            std::vector<fuzz::Change> changes;
            const std::uint32_t at = inputData + member.offset;
            changes.push_back({at, high});
            if (member.offset < 20184 || member.offset > 20188) {
                changes.push_back({at + 3, high});
            }
            session.step(fuzz::StepImage, changes);
            folder.write(std::string("input-") + member.name + "-" + std::to_string(high), session);
        }
    }
}

void writeHostilePackets(const Folder& folder) {
    const host_testing::Camera camera;
    const OwnedChunk auxiliary = camera.auxiliaryChunk();
    const Bytes whole = host_testing::packetOf({auxiliary, {3212, {1, 2, 3, 4}, {5}}});
    for (const std::size_t size : {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{17},
                                   whole.size() / 2, whole.size() - 1, whole.size()}) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        folder.write("cut-" + std::to_string(size), SessionWriter().packet(cut));
    }
    for (const int channel : {3200, 3208, 3212, 3228}) {
        for (const unsigned int depth : {64U, 65U, 3000U}) {
            for (const unsigned int version : {0x0100U, 0x0200U, 0x0300U}) {
                const OwnedChunk nested = {
                    channel, host_testing::definitionOf(nestedPayload(depth), version), {0, 0, 0, 0}};
                folder.write("nested-" + std::to_string(channel) + "-" + std::to_string(depth) + "-" +
                                 std::to_string(version >> 8U),
                             SessionWriter().packet(host_testing::packetOf({nested, auxiliary}),
                                                    channel == 3228 ? unsigned{fuzz::kCustomPin} : 0U));
            }
        }
    }
    for (const unsigned int version : {0x0100U, 0x0200U, 0x0300U}) {
        Bytes definition = host_testing::definitionOf(nestedPayload(2), version);
        const std::ptrdiff_t sizeAt = version == 0x0300 ? 8 : 4;
        std::fill_n(definition.begin() + sizeAt, 4, std::uint8_t{0xFF});
        for (const int channel : {3200, 3208, 3212}) {
            const Bytes packet = host_testing::packetOf({{channel, definition, {0, 0, 0, 0}}, auxiliary});
            folder.write("four-gib-" + std::to_string(channel) + "-" + std::to_string(version >> 8U),
                         SessionWriter().packet(packet));
        }
    }
    // A data size of 2 GiB in the header of a chunk.
    Bytes huge = whole;
    std::fill_n(huge.begin() + 12, 3, std::uint8_t{0xFF});
    huge[15] = 0x7F;
    folder.write("huge-chunk", SessionWriter().packet(huge));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: plugin_make_corpus FOLDER\n", stderr);
        return 2;
    }
    try {
        const std::filesystem::path all(argv[1]);
        const Folder folder(all / "sessions");
        writeLastImages(folder);
        writeSettings(Folder(all / "settings"));
        writeCalibrations(Folder(all / "calibrations"));
        writeGoodSessions(folder);
        writeOutOfOrder(folder);
        writeHostileNumbers(folder);
        writeHostilePackets(folder);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "plugin_make_corpus: %s\n", e.what());
        return 1;
    }
    return 0;
}
