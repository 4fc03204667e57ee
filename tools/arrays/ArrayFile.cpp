// SPDX-License-Identifier: Apache-2.0

#include "arrays/ArrayFile.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <system_error>

#include "arrays/NumpyFile.h"
#include "arrays/PngImage.h"

namespace arrays {
namespace {

constexpr std::size_t longestSide = 16384;

// Takes a whole number off the front of the text.
std::optional<std::size_t> takeNumber(std::string_view& text) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return value;
}

bool take(std::string_view& text, std::string_view word) {
    if (!text.starts_with(word)) {
        return false;
    }
    text.remove_prefix(word.size());
    return true;
}

std::optional<ElementType> takeType(std::string_view& text) {
    ElementType type;
    if (take(text, "u")) {
        type.kind = ElementKind::UnsignedInteger;
    } else if (take(text, "i")) {
        type.kind = ElementKind::SignedInteger;
    } else if (take(text, "f")) {
        type.kind = ElementKind::Float;
    } else {
        return std::nullopt;
    }
    const auto bits = takeNumber(text);
    const bool isFloat = type.kind == ElementKind::Float;
    if (!bits || !(*bits == 32 || *bits == 64 || (!isFloat && (*bits == 8 || *bits == 16)))) {
        return std::nullopt;
    }
    type.size = static_cast<unsigned int>(*bits / 8);
    type.bigEndian = take(text, "be");
    if (type.size > 1 && !type.bigEndian && !take(text, "le")) {
        return std::nullopt;
    }
    return type;
}

}  // namespace

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw ArrayError(path.string() + " is a folder, not a file.");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw ArrayError(path.string() + " cannot be opened: " + std::strerror(errno) + ".");
    }
    std::vector<std::uint8_t> bytes;
    constexpr std::size_t piece = std::size_t{1} << 20U;
    while (file) {
        const std::size_t have = bytes.size();
        bytes.resize(have + piece);
        file.read(reinterpret_cast<char*>(bytes.data() + have), static_cast<std::streamsize>(piece));
        bytes.resize(have + static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) {
        throw ArrayError(path.string() + " cannot be read to its end.");
    }
    return bytes;
}

std::optional<RawFormat> readRawFormat(const std::string& text) {
    std::string_view rest = text;
    const auto type = takeType(rest);
    if (!type || !take(rest, ",")) {
        return std::nullopt;
    }
    const auto width = takeNumber(rest);
    if (!width || !take(rest, "x")) {
        return std::nullopt;
    }
    const auto height = takeNumber(rest);
    const bool fits = height && rest.empty() && *width >= 1 && *width <= longestSide && *height >= 1 &&
                      *height <= longestSide;
    return fits ? std::optional<RawFormat>({*type, *width, *height}) : std::nullopt;
}

Array readRawFile(const std::filesystem::path& path, const RawFormat& format) {
    std::vector<std::uint8_t> bytes = readFile(path);
    const std::size_t pictureBytes = format.type.size * format.width * format.height;
    if (bytes.empty() || bytes.size() % pictureBytes != 0) {
        throw ArrayError(path.string() + " has " + std::to_string(bytes.size()) +
                         " bytes, which is no whole number of " + std::to_string(format.width) + " x " +
                         std::to_string(format.height) + " pictures of " + std::to_string(pictureBytes) +
                         " bytes.");
    }
    const std::size_t pictures = bytes.size() / pictureBytes;
    return makeArray(format.type, {pictures, format.height, format.width}, std::move(bytes));
}

Array readArray(const std::string& fileAndName) {
    const std::filesystem::path whole = fileAndName;
    if (whole.extension() == ".npy") {
        return readNpy(whole);
    }
    if (whole.extension() == ".png") {
        return readPng(whole);
    }
    if (whole.extension() == ".npz") {
        const std::vector<std::string> names = namesInNpz(whole);
        if (names.size() != 1) {
            throw ArrayError(fileAndName + " holds " + std::to_string(names.size()) +
                             " arrays; name one as " + fileAndName + ":NAME.");
        }
        return readNpz(whole, names[0]);
    }
    const std::size_t colon = fileAndName.rfind(".npz:");
    if (colon == std::string::npos) {
        throw ArrayError(fileAndName + " ends neither in .npy nor in .npz nor in .png.");
    }
    return readNpz(fileAndName.substr(0, colon + 4), fileAndName.substr(colon + 5));
}

}  // namespace arrays
