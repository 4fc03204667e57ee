// SPDX-License-Identifier: Apache-2.0
//
// Writes frames and members into files of other people's formats.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "exporting/Distribution.h"
#include "exporting/NameTemplate.h"
#include "exporting/Table.h"
#include "imaging/ColorMap.h"
#include "qor/ExportSource.h"

namespace qor {

enum class ExportFormat { CountPng, ColorPng, Npy, Npz, Csv, Ply, PlyText, Pcd, PcdText };

struct NamedFormat {
    ExportFormat format;
    std::string_view name;
    std::string_view extension;
    std::string_view holds;
};

std::span<const NamedFormat> exportFormats();
const NamedFormat& formatNamed(std::string_view name);  // of a name that there is
bool isOfPoints(ExportFormat format);

struct ExportSettings {
    std::vector<ExportFormat> formats;
    std::filesystem::path folder;  // or "-": the table goes to standard output
    std::string names;             // a template; empty: the usual one
    bool members = false;          // of records, in place of images of frames
    bool severalRecordings = false;
    bool force = false;  // files that are there are replaced
    imaging::ColorMap colors = imaging::ColorMap::Turbo;
    std::map<std::string, exporting::Limits> limits;  // of channels, as the user wants them
    std::vector<std::filesystem::path> recordings;    // never replaced
};

// The limits that no user gave, measured over all that is exported.
class ExportScales {
 public:
    explicit ExportScales(const ExportSettings& settings) : settings_(settings) {}

    // Whether any picture may need limits that are not given. Images that are known by name tell before they
    // are there.
    bool areNeeded(const ExportWishes& wishes) const;

    void add(const ExportItem& item);

    exporting::Limits limitsOf(const std::string& channel, ExportFormat format) const;

 private:
    const ExportSettings& settings_;
    std::map<std::string, exporting::Distribution> distributions_;
};

struct ExportedFile {
    std::filesystem::path path;
    std::string_view format;
    std::string channel;
    std::uint64_t rows = 0;  // of a table; points of a cloud
    std::uint64_t bytes = 0;
};

class ExportWriter {
 public:
    // Throws exporting::ExportError if the settings cannot work.
    ExportWriter(const ExportSettings& settings, const ExportScales& scales);

    void beginRecording(const std::filesystem::path& recording);

    // Throws exporting::ExportError for what makes no file of a format, and for a name that is taken;
    // std::runtime_error, with a sentence, if a file cannot be written.
    void write(const ExportItem& item);

    void finishRecording();

    const std::vector<ExportedFile>& files() const { return files_; }

    // Values beyond the scale of a 16-bit picture, by channel.
    const std::map<std::string, std::size_t>& beyond() const { return beyond_; }

    // The limits that were used, by channel and name of the format.
    const std::map<std::pair<std::string, std::string>, exporting::Limits>& usedLimits() const {
        return used_;
    }

 private:
    void writeFormat(ExportFormat format, const ExportItem& item);
    void writePictures(ExportFormat format, const ExportItem& item);
    void writePicture(ExportFormat format, const ExportItem& item, const exporting::Channel& channel,
                      const exporting::Picture& picture);
    void writeArrays(const ExportItem& item);
    void writeArchive(const ExportItem& item);
    void writePixels(const ExportItem& item);
    void writeRow(const ExportItem& item);
    void writePoints(ExportFormat format, const ExportItem& item);

    void beginTable(const ExportItem& item, const std::string& channel,
                    const std::vector<std::string>& columns);
    void finishTable();
    bool toStandardOutput() const { return settings_.folder == "-"; }

    std::string nameOf(ExportFormat format, const ExportItem& item, const std::string& channel,
                       bool ofManyPackets) const;
    std::filesystem::path claim(ExportFormat format, const ExportItem& item, const std::string& channel,
                                bool ofManyPackets = false);
    void note(ExportFormat format, const std::filesystem::path& path, const std::string& channel,
              std::uint64_t rows = 0);

    const ExportSettings& settings_;
    const ExportScales& scales_;
    exporting::NameTemplate names_;
    exporting::NameTemplate tableNames_;  // of a table that many packets fill
    std::string recording_;
    std::set<std::string> claimed_;
    std::unique_ptr<exporting::TableFile> table_;
    std::vector<std::string> tableColumns_;
    ExportedFile tableFile_;
    std::vector<ExportedFile> files_;
    std::map<std::string, std::size_t> beyond_;
    std::map<std::pair<std::string, std::string>, exporting::Limits> used_;
};

}  // namespace qor
