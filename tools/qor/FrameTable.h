// SPDX-License-Identifier: Apache-2.0
//
// The figures of each frame alone, as a table: CSV with a line for each frame and region, or JSON lines with
// an object for each frame.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "files/UnfinishedFile.h"
#include "qor/Measurement.h"

namespace qor {

// An empty text for FILE.csv, FILE.jsonl and -, which gets JSON lines.
std::string checkFrameTable(const std::string& text);

// An object with the figures under their names; counts are whole numbers, what was not measured is null.
nlohmann::ordered_json figuresJson(const std::vector<figures::Figure>& figures);

class FrameTable {
 public:
    // Throws std::runtime_error, as the others, if the file cannot be written.
    explicit FrameTable(const std::filesystem::path& path);

    void add(std::size_t number, std::uint32_t timestamp, const std::vector<RegionFigures>& parts);
    void finish();

 private:
    void write(const std::string& text);

    bool commas_;
    bool begun_ = false;
    files::UnfinishedFile file_;
};

}  // namespace qor
