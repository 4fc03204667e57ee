// SPDX-License-Identifier: Apache-2.0

#include "exporting/Pictures.h"

#include <fmt/format.h>

#include "imaging/Canvas.h"

namespace exporting {
namespace {

// tEXt chunks hold Latin letters; a name from a record may hold anything.
std::string plain(const std::string& text) {
    std::string result = text;
    for (char& letter : result) {
        letter = letter >= 32 && letter < 127 ? letter : '?';
    }
    return result;
}

imaging::PngTexts textsOf(const Picture& picture) {
    imaging::PngTexts texts{{"Title", plain(picture.name)}};
    if (!picture.unit.empty()) {
        texts.emplace_back("Unit", plain(picture.unit));
    }
    return texts;
}

}  // namespace

bool isOfCounts(const arrays::ElementType& type) {
    return type.kind == arrays::ElementKind::UnsignedInteger && type.size <= 2;
}

imaging::CountScale countScale(const Limits& limits) {
    return {limits.minimum, 65534.0 / (limits.maximum - limits.minimum), 1, true};
}

std::size_t writeCountPng(const std::filesystem::path& path, const Picture& picture,
                          const imaging::CountScale& scale) {
    const imaging::Counts counts = imaging::countsOf(picture.values, scale);
    const double factor = 1.0 / scale.countsPerUnit;
    imaging::PngTexts texts = textsOf(picture);
    texts.emplace_back("Offset", fmt::format("{}", scale.valueOfZero()));
    texts.emplace_back("Factor", fmt::format("{}", factor));
    texts.emplace_back("Comment", std::string("value = Offset + Factor * count") +
                                      (scale.zeroIsNone ? "; 0 means no value" : ""));
    imaging::writePng16(path, counts.values, static_cast<int>(picture.width),
                        static_cast<int>(picture.height), texts);
    return counts.beyond;
}

void writeColorPng(const std::filesystem::path& path, const Picture& picture, const Limits& limits,
                   imaging::ColorMap map) {
    const auto width = static_cast<int>(picture.width);
    const auto height = static_cast<int>(picture.height);
    imaging::Canvas canvas(width, height, {});
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const double value =
                picture
                    .values[static_cast<std::size_t>(row) * picture.width + static_cast<std::size_t>(column)];
            canvas.set(column, row,
                       imaging::colorAt(map, (value - limits.minimum) / (limits.maximum - limits.minimum)));
        }
    }
    imaging::PngTexts texts = textsOf(picture);
    texts.emplace_back("Minimum", fmt::format("{}", limits.minimum));
    texts.emplace_back("Maximum", fmt::format("{}", limits.maximum));
    texts.emplace_back("Comment", "black means no value");
    imaging::writePng(path, canvas, texts);
}

}  // namespace exporting
