// SPDX-License-Identifier: Apache-2.0

#include "qor/Override.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <span>

#include "qor/Arguments.h"
#include "qor/Expression.h"
#include "qor/Nearest.h"
#include "recording/Enumerators.h"
#include "recording/Record.h"

namespace qor {
namespace {

constexpr std::uint64_t mostBytesAhead = 256'000'000;
constexpr std::size_t mostKnownRecords = 64;
constexpr std::size_t longestLine = 100'000;
constexpr std::size_t mostLines = 100'000;

std::string trimmed(const std::string& text) {
    constexpr const char* blanks = " \t\r";
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

bool isThere(const zelta::TypeRef& type, const std::string& expression) {
    try {
        recording::countOf(type, expression);
        return true;
    } catch (const recording::RecordError&) {
        return false;
    }
}

recording::RecordError fault(const Override& change, const std::string& sentence) {
    return recording::RecordError(change.origin + ": " + sentence);
}

void set(const zelta::TypeRef& type, const Override& change, std::span<std::uint8_t> data) {
    if (!isThere(type, change.expression)) {
        throw fault(change, "\"" + change.expression + "\" addresses nothing in this record" +
                                proposal(std::span(&type, 1), change.expression));
    }
    try {
        recording::setFromText(type, change.expression,
                               recording::withNumbers(change.expression, change.value), data);
    } catch (const recording::RecordError& error) {
        throw fault(change, error.what());
    }
}

// Looks for the records of overrides, packet by packet.
class Search {
 public:
    explicit Search(const std::vector<Override>& overrides) : open_(overrides) {}

    bool isDone() const { return open_.empty(); }

    void lookInto(recording::RecordedPacket& packet) {
        remember(packet);
        const std::vector<bool> found = applyOverrides(open_, packet);
        for (std::size_t k = found.size(); k-- > 0;) {
            if (found[k]) {
                open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(k));
            }
        }
    }

    // `where` is the start of the sentence.
    [[noreturn]] void refuse(const std::string& where) const {
        const Override& missing = open_.front();
        throw fault(missing, where + " " + missing.recordName() + ", which " + missing.text() + " names" +
                                 proposal(records_, missing.expression));
    }

 private:
    void remember(const recording::RecordedPacket& packet) {
        for (const zelta::ZeltaChunk& chunk : packet.chunks) {
            if (records_.size() == mostKnownRecords) {
                return;
            }
            try {
                const zelta::TypeRef type = recording::typeOf(chunk);
                if (std::none_of(records_.begin(), records_.end(),
                                 [&](const zelta::TypeRef& known) { return known->name == type->name; })) {
                    records_.push_back(type);
                }
            } catch (const recording::RecordError&) {
                continue;  // it has no name to propose
            }
        }
    }

    std::vector<Override> open_;
    std::vector<zelta::TypeRef> records_;
};

// The replay itself reports where the recording is damaged.
void searchFile(Search& search, const std::filesystem::path& file) {
    recording::RecordingReader reader(file);
    try {
        while (recording::RecordedPacket* const packet = search.isDone() ? nullptr : reader.next()) {
            search.lookInto(*packet);
        }
    } catch (const recording::RecordingError&) {
        return;
    }
}

// False if too much would have to be kept.
bool searchStream(Search& search, recording::RecordingReader& reader) {
    while (!search.isDone()) {
        if (reader.bytesAhead() > mostBytesAhead) {
            return false;
        }
        const recording::RecordedPacket* const packet = reader.lookAhead();
        if (packet == nullptr) {
            return true;
        }
        std::vector<std::uint8_t> bytes(packet->bytes.begin(), packet->bytes.end());
        recording::RecordedPacket copy{packet->index, packet->offset, bytes, {}};
        zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), copy.chunks);
        search.lookInto(copy);
    }
    return true;
}

}  // namespace

std::string Override::recordName() const {
    return expression.substr(0, expression.find_first_of(".["));
}

std::optional<Override> readOverride(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return std::nullopt;
    }
    Override result{trimmed(text.substr(0, equals)), trimmed(text.substr(equals + 1))};
    if (result.recordName().empty() || result.value.empty()) {
        return std::nullopt;
    }
    return result;
}

std::string checkOverride(const std::string& text) {
    return readOverride(text) ? ""
                              : "\"" + text +
                                    "\" sets nothing; write RECORD.MEMBER=VALUE, for example "
                                    "QorDistanceImageIFInput.customization.minAmplitude=20";
}

std::vector<Override> readSettings(const std::filesystem::path& file) {
    std::ifstream stream(file);
    if (!stream) {
        throw recording::RecordingError("Cannot read " + file.string() + ": " + std::strerror(errno) + ".");
    }
    std::vector<Override> settings;
    std::string line;
    for (std::size_t number = 1; std::getline(stream, line); ++number) {
        if (line.size() > longestLine || number > mostLines) {
            throw recording::RecordError(file.string() + " is no file of settings.");
        }
        const std::string text = trimmed(line.substr(0, line.find('#')));
        if (text.empty()) {
            continue;
        }
        const std::string place = file.string() + ", line " + std::to_string(number);
        auto setting = readOverride(text);
        if (!setting) {
            throw recording::RecordError(place + ": " + checkOverride(text) + ".");
        }
        setting->origin = place;
        settings.push_back(*setting);
    }
    if (stream.bad()) {
        throw recording::RecordingError("Cannot read " + file.string() + ": " + std::strerror(errno) + ".");
    }
    return settings;
}

std::vector<bool> applyOverrides(const std::vector<Override>& overrides, recording::RecordedPacket& packet) {
    std::vector<bool> found(overrides.size(), false);
    if (overrides.empty()) {
        return found;
    }
    for (const zelta::ZeltaChunk& chunk : packet.chunks) {
        zelta::TypeRef type;
        try {
            type = recording::typeOf(chunk);
        } catch (const recording::RecordError&) {
            continue;  // a record without a readable definition has no name
        }
        // The chunk points into the packet's own bytes, which may be changed.
        const auto start =
            static_cast<std::size_t>(static_cast<const std::uint8_t*>(chunk.data) - packet.bytes.data());
        const std::span<std::uint8_t> data =
            packet.bytes.subspan(start, static_cast<std::size_t>(chunk.dataSize));
        for (std::size_t k = 0; k < overrides.size(); ++k) {
            if (overrides[k].recordName() == type->name) {
                set(type, overrides[k], data);
                found[k] = true;
            }
        }
    }
    return found;
}

void checkOverrides(const std::vector<Override>& overrides, recording::RecordingReader& reader) {
    if (overrides.empty()) {
        return;
    }
    for (const Override& change : overrides) {
        if (const std::string sentence = checkSyntax(change.expression); !sentence.empty()) {
            throw fault(change, sentence);
        }
    }
    Search search(overrides);
    const std::string name = recording::nameOf(reader.path());
    if (!reader.isStream()) {
        searchFile(search, reader.path());
    } else if (!searchStream(search, reader)) {
        search.refuse("the first " + byteText(reader.bytesAhead()) + " of " + name + " hold no record");
    }
    if (!search.isDone()) {
        search.refuse("no packet of " + name + " holds a record");
    }
}

}  // namespace qor
