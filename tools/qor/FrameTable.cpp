// SPDX-License-Identifier: Apache-2.0

#include "qor/FrameTable.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "qor/Arguments.h"

namespace qor {
namespace {

std::string cellOf(const figures::Figure& figure) {
    return figure.value ? fmt::format("{}", *figure.value) : "";
}

}  // namespace

std::string checkFrameTable(const std::string& text) {
    const std::string suffix = std::filesystem::path(text).extension().string();
    return text == "-" || suffix == ".csv" || suffix == ".jsonl"
               ? ""
               : "\"" + text + "\" is neither FILE.csv nor FILE.jsonl nor -";
}

nlohmann::ordered_json figuresJson(const std::vector<figures::Figure>& figures) {
    nlohmann::ordered_json document = nlohmann::ordered_json::object();
    for (const figures::Figure& figure : figures) {
        if (figure.value && figure.unit == figures::Unit::Count) {
            document[figure.name] = static_cast<std::uint64_t>(*figure.value);
        } else {
            document[figure.name] = orNull(figure.value);
        }
    }
    return document;
}

FrameTable::FrameTable(const std::filesystem::path& path)
    : commas_(path.extension() == ".csv"), file_(path) {}

void FrameTable::add(std::size_t number, std::uint32_t timestamp, const std::vector<RegionFigures>& parts) {
    if (!commas_) {
        nlohmann::ordered_json regions = nlohmann::ordered_json::object();
        for (std::size_t k = 1; k < parts.size(); ++k) {
            regions[parts[k].region] = figuresJson(parts[k].figures);
        }
        const nlohmann::ordered_json line{{"frame", number},
                                          {"timestampMicroseconds", timestamp},
                                          {"figures", figuresJson(parts.front().figures)},
                                          {"regions", regions}};
        write(line.dump() + "\n");
        return;
    }
    if (!begun_) {
        begun_ = true;
        std::string head = "frame,timestamp_us,region";
        for (const figures::Figure& figure : parts.front().figures) {
            head += ',';
            head += figure.name;
        }
        write(head + "\n");
    }
    for (const RegionFigures& part : parts) {
        std::string line = fmt::format("{},{},{}", number, timestamp, part.region);
        for (const figures::Figure& figure : part.figures) {
            line += ',';
            line += cellOf(figure);
        }
        write(line + "\n");
    }
}

void FrameTable::finish() {
    file_.finish();
}

void FrameTable::write(const std::string& text) {
    file_.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

}  // namespace qor
