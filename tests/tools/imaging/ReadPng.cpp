// SPDX-License-Identifier: Apache-2.0

#include "tools/imaging/ReadPng.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <stdexcept>

namespace {

// Failures of libpng jump back here; what owns memory lives in the caller.
bool decode(png_structp png, png_infop info, std::FILE* file) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    return true;
}

void copyPicture(png_structp png, png_infop info, ReadPicture& picture) {
    picture.width = static_cast<int>(png_get_image_width(png, info));
    picture.height = static_cast<int>(png_get_image_height(png, info));
    picture.bitDepth = png_get_bit_depth(png, info);
    picture.channels = png_get_channels(png, info);
    png_bytepp rows = png_get_rows(png, info);
    const int valuesPerRow = picture.width * picture.channels;
    for (int row = 0; row < picture.height; ++row) {
        for (int k = 0; k < valuesPerRow; ++k) {
            const png_bytep bytes = rows[row];
            picture.values.push_back(picture.bitDepth == 16
                                         ? static_cast<std::uint16_t>(bytes[2 * k] << 8 | bytes[2 * k + 1])
                                         : bytes[k]);
        }
    }
    png_textp texts = nullptr;
    int count = 0;
    png_get_text(png, info, &texts, &count);
    for (int k = 0; k < count; ++k) {
        picture.texts[texts[k].key] = texts[k].text;
    }
}

}  // namespace

ReadPicture readPng(const std::filesystem::path& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw std::runtime_error("no file " + path.string());
    }
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    ReadPicture picture;
    const bool good = decode(png, info, file);
    if (good) {
        copyPicture(png, info, picture);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    if (!good) {
        throw std::runtime_error("no PNG in " + path.string());
    }
    return picture;
}
