// SPDX-License-Identifier: Apache-2.0

#include "exporting/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string_view>

namespace exporting {
namespace {

constexpr std::size_t enough = std::size_t{1} << 20U;  // bytes to write at once

// A name that a reader could take for more than one cell stands in quotes.
std::string quoted(const std::string& name) {
    if (name.find_first_of(",\"\r\n") == std::string::npos) {
        return name;
    }
    std::string text = "\"";
    for (const char letter : name) {
        text += letter == '"' ? std::string("\"\"") : std::string(1, letter);
    }
    return text + "\"";
}

template <typename T>
std::string textOf(const std::uint8_t* bytes) {
    T value{};
    std::memcpy(&value, bytes, sizeof(T));
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(value)) {
            return {};
        }
    }
    return fmt::format("{}", value);
}

// Of numbers in the byte order of the machine.
std::string elementText(const arrays::ElementType& type, const std::uint8_t* bytes) {
    using arrays::ElementKind;
    static_assert(std::endian::native == std::endian::little);
    switch (type.size) {
        case 1:
            return type.kind == ElementKind::SignedInteger ? textOf<std::int8_t>(bytes)
                                                           : textOf<std::uint8_t>(bytes);
        case 2:
            return type.kind == ElementKind::SignedInteger ? textOf<std::int16_t>(bytes)
                                                           : textOf<std::uint16_t>(bytes);
        case 4:
            return type.kind == ElementKind::Float           ? textOf<float>(bytes)
                   : type.kind == ElementKind::SignedInteger ? textOf<std::int32_t>(bytes)
                                                             : textOf<std::uint32_t>(bytes);
        default:
            return type.kind == ElementKind::Float           ? textOf<double>(bytes)
                   : type.kind == ElementKind::SignedInteger ? textOf<std::int64_t>(bytes)
                                                             : textOf<std::uint64_t>(bytes);
    }
}

// Where the pictures of a channel lie in its array.
struct Layers {
    std::size_t count = 1;
    std::size_t height = 0;
    std::size_t width = 0;
};

Layers layersOf(const Channel& channel) {
    const std::vector<std::size_t>& shape = channel.array.shape;
    if (shape.size() == 2) {
        return {1, shape[0], shape[1]};
    }
    if (shape.size() == 3) {
        return {shape[0], shape[1], shape[2]};
    }
    throw ExportError("\"" + channel.name + "\" is " + arrays::shapeText(shape) + ", no rows and columns.");
}

}  // namespace

TableFile::TableFile(const std::filesystem::path& path, const std::vector<std::string>& columns)
    : file_(path) {
    for (const std::string& column : columns) {
        beginCell();
        append(quoted(column));
    }
    endRow();
    rows_ = 0;
}

void TableFile::beginCell() {
    if (rowBegun_) {
        buffer_.push_back(',');
    }
    rowBegun_ = true;
}

void TableFile::append(std::string_view text) {
    buffer_.insert(buffer_.end(), text.begin(), text.end());
}

void TableFile::add(std::uint64_t number) {
    beginCell();
    append(fmt::format("{}", number));
}

void TableFile::add(const arrays::Array& array, std::size_t offset) {
    beginCell();
    append(elementText(array.type, array.bytes.data() + offset));
}

void TableFile::addNothing() {
    beginCell();
}

void TableFile::endRow() {
    buffer_.push_back('\n');
    rowBegun_ = false;
    ++rows_;
    if (buffer_.size() >= enough) {
        flush();
    }
}

void TableFile::flush() {
    file_.write(buffer_);
    written_ += buffer_.size();
    buffer_.clear();
}

void TableFile::finish() {
    flush();
    file_.finish();
}

std::vector<std::string> pixelColumns(std::span<const Channel> channels) {
    std::vector<std::string> columns{"frame", "row", "column"};
    for (const Channel& channel : channels) {
        const bool several = channel.array.shape.size() == 3;
        for (std::size_t k = 0; k < layersOf(channel).count; ++k) {
            columns.push_back(channel.name + (several ? std::to_string(k) : std::string()));
        }
    }
    return columns;
}

void addPixels(TableFile& table, std::uint64_t frame, std::span<const Channel> channels) {
    std::vector<Layers> layers;
    std::transform(channels.begin(), channels.end(), std::back_inserter(layers), layersOf);
    for (std::size_t k = 1; k < layers.size(); ++k) {
        if (layers[k].height != layers[0].height || layers[k].width != layers[0].width) {
            throw ExportError("\"" + channels[k].name + "\" and \"" + channels[0].name +
                              "\" have different sizes.");
        }
    }
    for (std::size_t row = 0; row < layers[0].height; ++row) {
        for (std::size_t column = 0; column < layers[0].width; ++column) {
            table.add(frame);
            table.add(row);
            table.add(column);
            for (std::size_t k = 0; k < channels.size(); ++k) {
                const Layers& size = layers[k];
                for (std::size_t layer = 0; layer < size.count; ++layer) {
                    const std::size_t element = (layer * size.height + row) * size.width + column;
                    table.add(channels[k].array, element * channels[k].array.type.size);
                }
            }
            table.endRow();
        }
    }
}

}  // namespace exporting
