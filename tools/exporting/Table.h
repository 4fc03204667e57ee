// SPDX-License-Identifier: Apache-2.0
//
// Tables as comma-separated values: a line of names, then a line a row. Decimal points; as few digits as give
// the same number back; an empty cell where there is no value.

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "arrays/Array.h"
#include "exporting/Channel.h"
#include "files/UnfinishedFile.h"

namespace exporting {

// Grows row by row; it appears under its name only when it is finished, and "-" is standard output.
class TableFile {
 public:
    // Throws std::runtime_error with a sentence that names the path, as the others.
    TableFile(const std::filesystem::path& path, const std::vector<std::string>& columns);

    void add(std::uint64_t number);
    // The element that starts at this byte of an array; NaN is an empty cell.
    void add(const arrays::Array& array, std::size_t offset);
    void addNothing();
    void endRow();

    void finish();

    std::uint64_t rows() const { return rows_; }  // without the line of names
    std::uint64_t bytes() const { return written_ + buffer_.size(); }

 private:
    void beginCell();
    void append(std::string_view text);
    void flush();

    files::UnfinishedFile file_;
    std::vector<std::uint8_t> buffer_;
    std::uint64_t written_ = 0;
    std::uint64_t rows_ = 0;
    bool rowBegun_ = false;
};

// The columns of a table of pixels: frame, row, column, and one for each channel; where a channel holds
// several pictures, one for each with its number.
std::vector<std::string> pixelColumns(std::span<const Channel> channels);

// A row for each pixel. Throws ExportError if the channels are no pictures of the same size.
void addPixels(TableFile& table, std::uint64_t frame, std::span<const Channel> channels);

}  // namespace exporting
