// SPDX-License-Identifier: Apache-2.0

#include "exporting/NameTemplate.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <system_error>
#include <utility>

#include "exporting/Channel.h"

namespace exporting {
namespace {

constexpr int mostDigits = 20;

// Of the digits after the colon; 0 if they are none.
int digitsIn(std::string_view text) {
    int digits = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), digits);
    const bool good = error == std::errc{} && end == text.data() + text.size();
    return good && digits >= 1 && digits <= mostDigits ? digits : 0;
}

std::string safe(const std::string& text) {
    std::string name = text;
    std::replace_if(
        name.begin(), name.end(),
        [](char letter) {
            const auto code = static_cast<unsigned char>(letter);
            return code >= 128 || (std::isalnum(code) == 0 &&
                                   std::string_view("._-[]").find(letter) == std::string_view::npos);
        },
        '_');
    return name;
}

[[noreturn]] void refuse(std::string_view text, const std::string& reason) {
    throw ExportError(fmt::format("\"{}\" makes no names: {}.", text, reason));
}

}  // namespace

NameTemplate::NameTemplate(std::string_view text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t open = std::min(rest.find_first_of("{}"), rest.size());
        if (open > 0) {
            pieces_.push_back({Field::Text, std::string(rest.substr(0, open)), 0});
        }
        rest.remove_prefix(open);
        if (rest.empty()) {
            break;
        }
        const std::size_t close = rest.find('}');
        if (rest.front() != '{' || close == std::string_view::npos) {
            refuse(text, "a brace stands alone");
        }
        pieces_.push_back(fieldIn(rest.substr(1, close - 1), text));
        rest.remove_prefix(close + 1);
    }
    if (pieces_.empty() || text.ends_with('/')) {
        refuse(text, "nothing stands for the file");
    }
}

NameTemplate::Piece NameTemplate::fieldIn(std::string_view inside, std::string_view whole) {
    constexpr std::array fields{std::pair("recording", Field::Recording),
                                std::pair("channel", Field::Channel), std::pair("format", Field::Format),
                                std::pair("frame", Field::Frame), std::pair("packet", Field::Packet)};
    const std::size_t colon = std::min(inside.find(':'), inside.size());
    const std::string_view name = inside.substr(0, colon);
    const auto* const field =
        std::find_if(fields.begin(), fields.end(), [name](const auto& known) { return name == known.first; });
    if (field == fields.end()) {
        refuse(whole, fmt::format("{{{}}} is none of {{recording}}, {{channel}}, {{format}}, {{frame}} and "
                                  "{{packet}}",
                                  inside));
    }
    Piece piece{field->second, {}, 0};
    if (colon < inside.size()) {
        piece.digits = digitsIn(inside.substr(colon + 1));
        if (piece.digits == 0 || (piece.field != Field::Frame && piece.field != Field::Packet)) {
            refuse(whole, fmt::format("{{{}}} asks for what cannot be; numbers take 1 to 20 digits, as in "
                                      "{{frame:05}}",
                                      inside));
        }
    }
    return piece;
}

std::string NameTemplate::nameOf(const NameParts& parts) const {
    std::string name;
    for (const Piece& piece : pieces_) {
        switch (piece.field) {
            case Field::Text:
                name += piece.text;
                break;
            case Field::Recording:
                name += safe(parts.recording);
                break;
            case Field::Channel:
                name += safe(parts.channel);
                break;
            case Field::Format:
                name += parts.format;
                break;
            case Field::Frame:
                name += fmt::format("{:0{}}", parts.frame, piece.digits);
                break;
            case Field::Packet:
                name += fmt::format("{:0{}}", parts.packet, piece.digits);
                break;
        }
    }
    return name;
}

}  // namespace exporting
