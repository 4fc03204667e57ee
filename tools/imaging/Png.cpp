// SPDX-License-Identifier: Apache-2.0

#include "imaging/Png.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <exception>
#include <limits>
#include <stdexcept>

#include "imaging/WholeFile.h"

namespace imaging {
namespace {

struct Picture {
    int width;
    int height;
    int bitDepth;
    int colorType;
    std::vector<png_const_bytep> rows;  // 16-bit values in the order of the file, high byte first
};

void append(png_structp png, png_bytep data, std::size_t size) {
    auto& bytes = *static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
    bool fits = true;
    try {
        bytes.insert(bytes.end(), data, data + size);
    } catch (const std::exception&) {
        fits = false;
    }
    if (!fits) {
        png_error(png, "out of memory");
    }
}

void ignoreFlush(png_structp) {}

// Failures of libpng return here by a long jump. It skips only frames without destructors: everything that
// owns memory lives in the caller. False on failure.
bool encode(png_structp png, png_infop info, const Picture& picture, std::vector<png_text>& texts) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height),
                 picture.bitDepth, picture.colorType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!texts.empty()) {
        png_set_text(png, info, texts.data(), static_cast<int>(texts.size()));
    }
    png_write_info(png, info);
    for (const png_const_bytep row : picture.rows) {
        png_write_row(png, row);
    }
    png_write_end(png, nullptr);
    return true;
}

// A failure is told in our own words.
void ignoreMessage(png_structp /*png*/, png_const_charp /*text*/) {}

[[noreturn]] void stop(png_structp png, png_const_charp /*text*/) {
    png_longjmp(png, 1);
}

std::vector<std::uint8_t> encoded(const Picture& picture, const PngTexts& texts) {
    PngTexts own = texts;  // libpng wants texts that it could change
    std::vector<png_text> chunks;
    for (auto& [keyword, text] : own) {
        png_text chunk{};
        chunk.compression = PNG_TEXT_COMPRESSION_NONE;
        chunk.key = keyword.data();
        chunk.text = text.data();
        chunk.text_length = text.size();
        chunks.push_back(chunk);
    }
    std::vector<std::uint8_t> bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, stop, ignoreMessage);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    bool good = false;
    if (info != nullptr) {
        png_set_write_fn(png, &bytes, append, ignoreFlush);
        good = encode(png, info, picture, chunks);
    }
    png_destroy_write_struct(&png, &info);
    if (!good) {
        throw std::runtime_error("the picture could not be encoded");
    }
    return bytes;
}

}  // namespace

void writePng(const std::filesystem::path& path, const Canvas& canvas, const PngTexts& texts) {
    static_assert(sizeof(Color) == 3);
    Picture picture{canvas.width(), canvas.height(), 8, PNG_COLOR_TYPE_RGB, {}};
    for (int row = 0; row < canvas.height(); ++row) {
        const Color* first =
            canvas.pixels().data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(canvas.width());
        picture.rows.push_back(reinterpret_cast<png_const_bytep>(first));
    }
    writeWhole(path, encoded(picture, texts));
}

void writePng16(const std::filesystem::path& path, std::span<const std::uint16_t> values, int width,
                int height, const PngTexts& texts) {
    if (width < 1 || height < 1 ||
        values.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
        throw std::invalid_argument("The values of a picture must fill its width and height.");
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(2 * values.size());
    for (const std::uint16_t value : values) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8U));
        bytes.push_back(static_cast<std::uint8_t>(value & 0xFFU));
    }
    Picture picture{width, height, 16, PNG_COLOR_TYPE_GRAY, {}};
    for (int row = 0; row < height; ++row) {
        picture.rows.push_back(bytes.data() +
                               2 * static_cast<std::size_t>(row) * static_cast<std::size_t>(width));
    }
    writeWhole(path, encoded(picture, texts));
}

Counts countsOf(std::span<const double> values, const CountScale& scale) {
    const double least = scale.zeroIsNone ? std::max(scale.firstCount, 1) : scale.firstCount;
    constexpr double most = 65535.0;
    Counts counts;
    counts.values.reserve(values.size());
    for (const double value : values) {
        if (std::isnan(value)) {
            counts.values.push_back(0);
            continue;
        }
        const double count =
            std::floor(scale.firstCount + (value - scale.offset) * scale.countsPerUnit + 0.5);
        counts.beyond += count < scale.firstCount || count > most ? 1 : 0;
        // What is no number, 0 * infinity, is the least.
        const double within = count >= most ? most : count >= least ? count : least;
        counts.values.push_back(static_cast<std::uint16_t>(within));
    }
    return counts;
}

void writeDistancePng(const std::filesystem::path& path, std::span<const float> metres,
                      std::span<const std::uint8_t> valid, int width, int height) {
    if (valid.size() != metres.size()) {
        throw std::invalid_argument("Distances and their validity must have the same count.");
    }
    std::vector<double> values(metres.begin(), metres.end());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (valid[i] == 0 || !(values[i] > 0.0)) {
            values[i] = std::numeric_limits<double>::quiet_NaN();
        }
    }
    writePng16(path, countsOf(values, {0.0, 1000.0, 0, true}).values, width, height,
               {{"Title", "Radial distance"},
                {"Unit", "mm"},
                {"Scale", "0.001 metres per count"},
                {"Comment", "0 means no measurement"}});
}

}  // namespace imaging
