// SPDX-License-Identifier: Apache-2.0

#include "qor/Override.h"

#include <span>
#include <system_error>

#include "qor/Expression.h"
#include "recording/Record.h"

namespace qor {

std::string Override::recordName() const {
    return expression.substr(0, expression.find_first_of(".["));
}

std::optional<Override> readOverride(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
        return std::nullopt;
    }
    Override result{text.substr(0, equals), text.substr(equals + 1)};
    if (result.recordName().empty() || result.recordName().size() == result.expression.size()) {
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
                recording::setFromText(type, overrides[k].expression, overrides[k].value, data);
                found[k] = true;
            }
        }
    }
    return found;
}

void checkOverrides(const std::vector<Override>& overrides, const std::filesystem::path& recordingPath) {
    if (overrides.empty()) {
        return;
    }
    for (const Override& change : overrides) {
        if (const std::string fault = checkSyntax(change.expression); !fault.empty()) {
            throw recording::RecordError(fault);
        }
    }
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(recordingPath, error);
    if (std::filesystem::is_fifo(status) || std::filesystem::is_character_file(status)) {
        throw recording::RecordError("this needs a recording that can be read twice; " +
                                     recordingPath.string() + " is no file.");
    }
    std::vector<Override> open = overrides;
    recording::RecordingReader reader(recordingPath);
    try {
        while (!open.empty()) {
            recording::RecordedPacket* const packet = reader.next();
            if (packet == nullptr) {
                break;
            }
            const std::vector<bool> found = applyOverrides(open, *packet);
            for (std::size_t k = found.size(); k-- > 0;) {
                if (found[k]) {
                    open.erase(open.begin() + static_cast<std::ptrdiff_t>(k));
                }
            }
        }
    } catch (const recording::RecordingError&) {
        // Whoever replays the recording tells where it is damaged.
    }
    if (!open.empty()) {
        throw recording::RecordError("no packet of " + recordingPath.string() + " holds a record " +
                                     open.front().recordName() + ", which " + open.front().text() +
                                     " names.");
    }
}

}  // namespace qor
