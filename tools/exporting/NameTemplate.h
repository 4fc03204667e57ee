// SPDX-License-Identifier: Apache-2.0
//
// Names of files by a template such as "{frame:05}_{channel}".

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace exporting {

struct NameParts {
    std::string recording;  // its name without folder and suffix
    std::string channel;
    std::string format;
    std::size_t frame = 0;
    std::size_t packet = 0;
};

class NameTemplate {
 public:
    // Text with the fields {recording}, {channel}, {format}, {frame} and {packet}. The last two may ask for a
    // number of digits, as {frame:05} does, from 1 to 20. Throws ExportError, with a sentence, for another.
    explicit NameTemplate(std::string_view text);

    // Letters, digits and . _ - [ ] stay in the names of recordings and channels; others become _.
    std::string nameOf(const NameParts& parts) const;

 private:
    enum class Field { Text, Recording, Channel, Format, Frame, Packet };
    struct Piece {
        Field field = Field::Text;
        std::string text;  // of Text
        int digits = 0;    // of a number, at least
    };

    static Piece fieldIn(std::string_view inside, std::string_view whole);

    std::vector<Piece> pieces_;
};

}  // namespace exporting
