// SPDX-License-Identifier: Apache-2.0

#include "qor/ExportWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <system_error>
#include <utility>

#include "arrays/NumpyFile.h"
#include "exporting/Pictures.h"
#include "imaging/PointCloud.h"
#include "recording/Record.h"
#include "simulation/Image.h"

namespace qor {
namespace {

using exporting::Channel;
using exporting::ExportError;
using exporting::Picture;

constexpr std::size_t mostColumns = 16384;  // that spreadsheets take

constexpr std::array formats{
    NamedFormat{ExportFormat::CountPng, "png16", "png", "grey picture of 16 bits; distances in millimetres"},
    NamedFormat{ExportFormat::ColorPng, "png", "png", "picture in colours"},
    NamedFormat{ExportFormat::Npy, "npy", "npy", "NumPy array, a file for each image"},
    NamedFormat{ExportFormat::Npz, "npz", "npz", "NumPy archive of all images of a frame"},
    NamedFormat{ExportFormat::Csv, "csv", "csv",
                "table, a row for each pixel; of members, one for each packet"},
    NamedFormat{ExportFormat::Ply, "ply", "ply", "points, binary"},
    NamedFormat{ExportFormat::PlyText, "ply-text", "ply", "points, text"},
    NamedFormat{ExportFormat::Pcd, "pcd", "pcd", "points, organised, binary"},
    NamedFormat{ExportFormat::PcdText, "pcd-text", "pcd", "points, organised, text"},
};

const NamedFormat& named(ExportFormat format) {
    return *std::find_if(formats.begin(), formats.end(),
                         [format](const NamedFormat& known) { return known.format == format; });
}

std::string usualNames(const ExportSettings& settings, bool ofManyPackets) {
    const std::string prefix = settings.severalRecordings ? "{recording}_" : "";
    if (ofManyPackets) {
        return prefix + "{channel}";
    }
    return prefix + (settings.members ? "{packet:05}" : "{frame:05}") + "_{channel}";
}

std::string namesOr(const ExportSettings& settings, bool ofManyPackets) {
    return settings.names.empty() ? usualNames(settings, ofManyPackets) : settings.names;
}

// The one channel, or what they are.
std::string groupName(const ExportItem& item, const ExportSettings& settings) {
    return item.channels.size() == 1 ? item.channels[0].name : settings.members ? "members" : "images";
}

// Whether the scale of a 16-bit picture is known without looking at the values.
bool hasFixedCounts(const std::string& channel, const arrays::ElementType& type, bool members) {
    return exporting::isOfCounts(type) || (!members && channel == "distance");
}

// "member[2][0]": the names of the elements of an array.
void addElementNames(const std::string& name, std::span<const std::size_t> shape,
                     std::vector<std::string>& names) {
    if (shape.empty()) {
        names.push_back(name);
        return;
    }
    for (std::size_t k = 0; k < shape.front(); ++k) {
        addElementNames(recording::element(name, k), shape.subspan(1), names);
    }
}

std::vector<std::string> memberColumns(const ExportItem& item) {
    std::vector<std::string> columns{"packet", "frame"};
    std::size_t count = columns.size();
    for (const Channel& channel : item.channels) {
        count += channel.array.count();
        if (count > mostColumns) {
            throw ExportError(
                fmt::format("a table has at most {} columns, and \"{}\" alone has {}; npy and npz take it, a "
                            "slice such as [0:10] makes it smaller.",
                            mostColumns, channel.name, arrays::shapeText(channel.array.shape)));
        }
        addElementNames(channel.name, channel.array.shape, columns);
    }
    return columns;
}

}  // namespace

std::span<const NamedFormat> exportFormats() {
    return formats;
}

const NamedFormat& formatNamed(std::string_view name) {
    return *std::find_if(formats.begin(), formats.end(),
                         [name](const NamedFormat& known) { return known.name == name; });
}

bool isOfPoints(ExportFormat format) {
    return format == ExportFormat::Ply || format == ExportFormat::PlyText || format == ExportFormat::Pcd ||
           format == ExportFormat::PcdText;
}

bool ExportScales::areNeeded(const ExportWishes& wishes) const {
    const auto has = [this](ExportFormat format) {
        return std::find(settings_.formats.begin(), settings_.formats.end(), format) !=
               settings_.formats.end();
    };
    const std::vector<std::string>& channels = settings_.members ? wishes.members : wishes.images;
    return std::any_of(channels.begin(), channels.end(), [&](const std::string& channel) {
        if (settings_.limits.contains(channel)) {
            return false;
        }
        const bool fixedCounts = !settings_.members && (channel == "distance" || channel == "confidence" ||
                                                        channel == "intensity" || channel == "raw");
        return has(ExportFormat::ColorPng) || (has(ExportFormat::CountPng) && !fixedCounts);
    });
}

void ExportScales::add(const ExportItem& item) {
    for (const Channel& channel : item.channels) {
        if (!settings_.limits.contains(channel.name)) {
            distributions_[channel.name].add(arrays::numbersOf(channel.array));
        }
    }
}

exporting::Limits ExportScales::limitsOf(const std::string& channel, ExportFormat format) const {
    if (const auto given = settings_.limits.find(channel); given != settings_.limits.end()) {
        return given->second;
    }
    const auto measured = distributions_.find(channel);
    if (measured == distributions_.end()) {
        return {};
    }
    return format == ExportFormat::ColorPng ? exporting::colorLimits(measured->second)
                                            : exporting::countLimits(measured->second);
}

ExportWriter::ExportWriter(const ExportSettings& settings, const ExportScales& scales)
    : settings_(settings),
      scales_(scales),
      names_(namesOr(settings, false)),
      tableNames_(namesOr(settings, true)) {
    for (std::size_t k = 0; k < settings.formats.size(); ++k) {
        for (std::size_t other = 0; other < k; ++other) {
            const NamedFormat& a = named(settings.formats[other]);
            const NamedFormat& b = named(settings.formats[k]);
            const auto nameIn = [&](const NamedFormat& format) {
                return names_.nameOf({"", "", std::string(format.name), 0, 0});
            };
            if (a.extension == b.extension && nameIn(a) == nameIn(b)) {
                throw ExportError(fmt::format(
                    "{} and {} would have the same names; put {{format}} into --names.", a.name, b.name));
            }
        }
    }
}

void ExportWriter::beginRecording(const std::filesystem::path& recording) {
    recording_ = recording == "-" ? "stdin" : recording.stem().string();
}

void ExportWriter::write(const ExportItem& item) {
    for (const ExportFormat format : settings_.formats) {
        writeFormat(format, item);
    }
}

void ExportWriter::writeFormat(ExportFormat format, const ExportItem& item) {
    if (isOfPoints(format)) {
        if (item.points) {
            writePoints(format, item);
        }
        return;
    }
    if (item.channels.empty()) {
        return;
    }
    if (format == ExportFormat::CountPng || format == ExportFormat::ColorPng) {
        writePictures(format, item);
    } else if (format == ExportFormat::Npy) {
        writeArrays(item);
    } else if (format == ExportFormat::Npz) {
        writeArchive(item);
    } else if (settings_.members) {
        writeRow(item);
    } else {
        writePixels(item);
    }
}

void ExportWriter::writePictures(ExportFormat format, const ExportItem& item) {
    for (const Channel& channel : item.channels) {
        for (const Picture& picture : exporting::picturesOf(channel)) {
            writePicture(format, item, channel, picture);
        }
    }
}

void ExportWriter::writePicture(ExportFormat format, const ExportItem& item, const Channel& channel,
                                const Picture& picture) {
    const std::filesystem::path path = claim(format, item, picture.name);
    const exporting::Limits limits = scales_.limitsOf(channel.name, format);
    const bool given = settings_.limits.contains(channel.name);
    if (format == ExportFormat::ColorPng) {
        exporting::writeColorPng(path, picture, limits, settings_.colors);
        used_[{channel.name, "png"}] = limits;
    } else if (!given && hasFixedCounts(channel.name, picture.type, settings_.members)) {
        const auto& scale =
            exporting::isOfCounts(picture.type) ? exporting::asTheyAre : exporting::millimetres;
        beyond_[channel.name] += exporting::writeCountPng(path, picture, scale);
    } else {
        beyond_[channel.name] += exporting::writeCountPng(path, picture, exporting::countScale(limits));
        used_[{channel.name, "png16"}] = limits;
    }
    note(format, path, picture.name);
}

void ExportWriter::writeArrays(const ExportItem& item) {
    for (const Channel& channel : item.channels) {
        const std::filesystem::path path = claim(ExportFormat::Npy, item, channel.name);
        arrays::writeNpy(path, channel.array);
        note(ExportFormat::Npy, path, channel.name);
    }
}

void ExportWriter::writeArchive(const ExportItem& item) {
    const std::string group = groupName(item, settings_);
    const std::filesystem::path path = claim(ExportFormat::Npz, item, group);
    std::vector<arrays::NamedArray> archive;
    for (const Channel& channel : item.channels) {
        archive.push_back({channel.name, channel.array});
    }
    arrays::writeNpz(path, archive);
    note(ExportFormat::Npz, path, group);
}

void ExportWriter::writePixels(const ExportItem& item) {
    beginTable(item, groupName(item, settings_), exporting::pixelColumns(item.channels));
    exporting::addPixels(*table_, item.frame, item.channels);
    if (!toStandardOutput()) {
        finishTable();
    }
}

void ExportWriter::writeRow(const ExportItem& item) {
    beginTable(item, groupName(item, settings_), memberColumns(item));
    table_->add(item.packet);
    table_->add(item.frame);
    for (const Channel& channel : item.channels) {
        const std::size_t count = channel.array.count();
        for (std::size_t k = 0; k < count; ++k) {
            table_->add(channel.array, k * channel.array.type.size);
        }
    }
    table_->endRow();
}

void ExportWriter::writePoints(ExportFormat format, const ExportItem& item) {
    const ResultFrame& frame = *item.points;
    const Coordinates& coordinates = frame.coordinates.value();
    const std::vector<std::uint8_t> usable = usablePixels(frame);
    const imaging::PointImage points{coordinates.X,          coordinates.Y, coordinates.Z,
                                     frame.amplitude,        usable,        simulation::imageWidth,
                                     simulation::imageHeight};
    const std::filesystem::path path = claim(format, item, pointsName);
    const bool text = format == ExportFormat::PlyText || format == ExportFormat::PcdText;
    const auto encoding = text ? imaging::CloudEncoding::Text : imaging::CloudEncoding::Binary;
    const bool ply = format == ExportFormat::Ply || format == ExportFormat::PlyText;
    const std::size_t count =
        ply ? imaging::writePly(path, points, encoding) : imaging::writePcd(path, points, encoding);
    note(format, path, pointsName, count);
}

// Of a table that is there already, the columns are to be the same.
void ExportWriter::beginTable(const ExportItem& item, const std::string& channel,
                              const std::vector<std::string>& columns) {
    if (table_ != nullptr) {
        if (columns != tableColumns_) {
            throw ExportError(fmt::format(
                "the columns of the table change with packet {}: it would have {}, the rows before "
                "have {}; members of one table belong to one record.",
                item.packet, columns.size(), tableColumns_.size()));
        }
        return;
    }
    tableFile_ = {};
    tableFile_.path =
        toStandardOutput() ? settings_.folder : claim(ExportFormat::Csv, item, channel, settings_.members);
    tableFile_.format = named(ExportFormat::Csv).name;
    tableFile_.channel = channel;
    tableColumns_ = columns;
    table_ = std::make_unique<exporting::TableFile>(tableFile_.path, columns);
}

void ExportWriter::finishTable() {
    table_->finish();
    tableFile_.rows = table_->rows();
    tableFile_.bytes = table_->bytes();
    files_.push_back(tableFile_);
    table_.reset();
}

void ExportWriter::finishRecording() {
    if (table_ != nullptr) {
        finishTable();
    }
}

std::string ExportWriter::nameOf(ExportFormat format, const ExportItem& item, const std::string& channel,
                                 bool ofManyPackets) const {
    const NamedFormat& known = named(format);
    const exporting::NameTemplate& names = ofManyPackets ? tableNames_ : names_;
    return names.nameOf({recording_, channel, std::string(known.name), item.frame, item.packet}) + "." +
           std::string(known.extension);
}

// A path that nothing else of this export has, and no other file, unless it may be replaced.
std::filesystem::path ExportWriter::claim(ExportFormat format, const ExportItem& item,
                                          const std::string& channel, bool ofManyPackets) {
    const std::filesystem::path path = settings_.folder / nameOf(format, item, channel, ofManyPackets);
    if (!claimed_.insert(path.lexically_normal().string()).second) {
        throw ExportError(
            fmt::format("{} would be written twice; --names needs more of {{frame}}, {{packet}}, "
                        "{{channel}} and {{recording}}.",
                        path.string()));
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        return path;
    }
    if (!settings_.force) {
        throw ExportError(fmt::format("{} is there already; --force replaces it.", path.string()));
    }
    for (const std::filesystem::path& recording : settings_.recordings) {
        if (std::filesystem::equivalent(path, recording, error)) {
            throw ExportError(
                fmt::format("{} is the recording itself; choose another folder.", path.string()));
        }
    }
    return path;
}

void ExportWriter::note(ExportFormat format, const std::filesystem::path& path, const std::string& channel,
                        std::uint64_t rows) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    files_.push_back(
        {path, named(format).name, channel, rows, error ? 0 : static_cast<std::uint64_t>(bytes)});
}

}  // namespace qor
