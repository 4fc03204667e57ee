// SPDX-License-Identifier: Apache-2.0

#include "arrays/PngImage.h"

#include <png.h>

#include <csetjmp>
#include <cstring>

#include "arrays/ArrayFile.h"

namespace arrays {
namespace {

constexpr png_uint_32 longestSide = 16384;

struct Input {
    const std::vector<std::uint8_t>& bytes;
    std::size_t position = 0;
};

struct Picture {
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int bitDepth = 0;
    int colorType = 0;
    std::vector<std::uint8_t> bytes;
    std::vector<png_bytep> rows;
    const char* problem = "it is damaged";
};

void read(png_structp png, png_bytep data, std::size_t size) {
    auto& input = *static_cast<Input*>(png_get_io_ptr(png));
    if (size > input.bytes.size() - input.position) {
        png_error(png, "the file ends too early");
    }
    std::memcpy(data, input.bytes.data() + input.position, size);
    input.position += size;
}

void ignoreMessage(png_structp, png_const_charp) {}

[[noreturn]] void stop(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

// Failures of libpng come back here by a long jump, past frames without destructors only: everything that
// owns memory lives in the caller. False on failure.
bool readHeader(png_structp png, png_infop info, Picture& picture) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_read_info(png, info);
    png_get_IHDR(png, info, &picture.width, &picture.height, &picture.bitDepth, &picture.colorType, nullptr,
                 nullptr, nullptr);
    if (picture.colorType != PNG_COLOR_TYPE_GRAY || (picture.bitDepth != 8 && picture.bitDepth != 16)) {
        picture.problem = "it is no grey picture of 8 or 16 bits";
        return false;
    }
    if (picture.width > longestSide || picture.height > longestSide) {
        picture.problem = "it is larger than 16384 pixels a side";
        return false;
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    return true;
}

bool readRows(png_structp png, Picture& picture) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_read_image(png, picture.rows.data());
    png_read_end(png, nullptr);
    return true;
}

bool decode(png_structp png, png_infop info, Picture& picture) {
    if (!readHeader(png, info, picture)) {
        return false;
    }
    const std::size_t rowBytes = std::size_t{picture.width} * static_cast<unsigned int>(picture.bitDepth) / 8;
    picture.bytes.resize(rowBytes * picture.height);
    for (std::size_t y = 0; y < picture.height; ++y) {
        picture.rows.push_back(picture.bytes.data() + y * rowBytes);
    }
    return readRows(png, picture);
}

}  // namespace

Array readPng(const std::filesystem::path& path) {
    const std::vector<std::uint8_t> bytes = readFile(path);
    Input input{bytes};
    Picture picture;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, stop, ignoreMessage);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    bool good = false;
    if (info != nullptr) {
        png_set_read_fn(png, &input, read);
        good = decode(png, info, picture);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!good) {
        throw ArrayError(path.string() + " cannot be read as a picture: " + picture.problem + ".");
    }
    const bool isWide = picture.bitDepth == 16;
    return makeArray({ElementKind::UnsignedInteger, isWide ? 2U : 1U, isWide},
                     {picture.height, picture.width}, std::move(picture.bytes));
}

}  // namespace arrays
