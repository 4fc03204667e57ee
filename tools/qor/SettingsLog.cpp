// SPDX-License-Identifier: Apache-2.0

#include "qor/SettingsLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "qor/Arguments.h"
#include "qor/RecordText.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

constexpr std::size_t mostChanges = 1000;

// Members that describe an image; they are no settings of the algorithm.
constexpr std::string_view imageInfo = "phaseInfo";

// The record's bytes without those that differ from image to image.
std::vector<std::uint8_t> settingBytes(const zelta::ZeltaChunk& chunk, const zelta::TypeRef& type) {
    const auto* const data = static_cast<const std::uint8_t*>(chunk.data);
    std::vector<std::uint8_t> bytes(data, data + chunk.dataSize);
    for (const zelta::TypeRef& member : type->children()) {
        const auto start = static_cast<std::size_t>(member->offset);
        if (member->name == imageInfo && start + member->size <= bytes.size()) {
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), member->size, std::uint8_t{0});
        }
    }
    return bytes;
}

std::string valueText(const ShownValue& value) {
    std::string text = joined(value.rows, " ");
    std::replace(text.begin(), text.end(), ' ', ',');
    return text;
}

// "nan" and "inf" cannot be set.
bool canBeSet(const ShownValue& value) {
    return !value.isText && (value.isNamed || valueText(value).find('n') == std::string::npos);
}

}  // namespace

std::vector<SettingsLog::Source> SettingsLog::makeSources() {
    return {{recording::channel::input, {}, {}, {}}, {recording::channel::customization, {}, {}, {}}};
}

void SettingsLog::add(const recording::RecordedPacket& packet) {
    for (Source& source : sources_) {
        addFrom(source, packet);
    }
}

void SettingsLog::addFrom(Source& source, const recording::RecordedPacket& packet) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(packet.chunks, source.channel);
    if (chunk == nullptr) {
        return;
    }
    try {
        const zelta::TypeRef type = recording::typeOf(*chunk);
        std::vector<std::uint8_t> bytes = settingBytes(*chunk, type);
        if (bytes == source.bytes) {
            return;
        }
        source.bytes = std::move(bytes);
        std::vector<Setting> now;
        for (const ShownValue& value : valuesOf(*chunk, type->name)) {
            if (canBeSet(value) && !value.expression.starts_with(type->name + "." + std::string(imageInfo))) {
                now.emplace_back(value.expression, valueText(value));
            }
        }
        if (source.first.empty()) {
            source.first = now;
        } else {
            noteChanges(source, now, packet.index);
        }
        source.latest = std::move(now);
    } catch (const std::runtime_error&) {
        return;  // the run itself reports a record that cannot be read
    }
}

std::vector<SettingsLog::Setting> SettingsLog::settings() const {
    std::vector<Setting> settings;
    for (const Source& source : sources_) {
        settings.insert(settings.end(), source.first.begin(), source.first.end());
    }
    return settings;
}

void SettingsLog::noteChanges(const Source& source, const std::vector<Setting>& now, std::size_t packet) {
    for (const Setting& setting : now) {
        if (std::find(source.latest.begin(), source.latest.end(), setting) != source.latest.end()) {
            continue;
        }
        if (changes_.size() == mostChanges) {
            ++moreChanges_;
            continue;
        }
        changes_.push_back(fmt::format("from packet {} on: {} = {}", packet, setting.first, setting.second));
    }
}

std::string SettingsLog::text(const std::string& recording) const {
    std::string text = fmt::format("# Settings of qor run {}, for --settings.\n", printable(recording));
    for (const Source& source : sources_) {
        for (const auto& [expression, value] : source.first) {
            text += fmt::format("{} = {}\n", expression, value);
        }
    }
    const auto isListed = [this](const Override& change) {
        return std::any_of(sources_.begin(), sources_.end(), [&](const Source& source) {
            return std::any_of(source.first.begin(), source.first.end(),
                               [&](const Setting& setting) { return setting.first == change.expression; });
        });
    };
    for (const Override& change : overrides_) {
        if (!isListed(change)) {
            text += fmt::format("{} = {}\n", change.expression, change.value);
        }
    }
    for (const std::string& change : changes_) {
        text += "# " + change + "\n";
    }
    if (moreChanges_ > 0) {
        text += fmt::format("# and {} more changes\n", moreChanges_);
    }
    return text;
}

}  // namespace qor
