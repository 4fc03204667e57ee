// SPDX-License-Identifier: Apache-2.0

#include "page/Encoding.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace page {

std::string base64(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            bits = bits << 8U | (k < count ? bytes[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? letters[bits >> (18U - 6U * k) & 63U] : '=';
        }
    }
    return text;
}

struct Compressor::Stream {
    z_stream state{};
};

Compressor::Compressor() : stream_(std::make_unique<Stream>()) {
    if (deflateInit(&stream_->state, Z_DEFAULT_COMPRESSION) != Z_OK) {
        throw std::bad_alloc();
    }
}

Compressor::~Compressor() {
    deflateEnd(&stream_->state);
}

void Compressor::add(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t largestPiece = std::size_t{1} << 24U;
    while (!bytes.empty()) {
        const std::size_t count = std::min(bytes.size(), largestPiece);
        stream_->state.next_in = const_cast<Bytef*>(bytes.data());  // NOLINT: zlib only reads there
        stream_->state.avail_in = static_cast<uInt>(count);
        run(Z_NO_FLUSH);
        bytes = bytes.subspan(count);
    }
}

const std::vector<std::uint8_t>& Compressor::finish() {
    run(Z_FINISH);
    return bytes_;
}

void Compressor::run(int flush) {
    std::array<std::uint8_t, 65536> piece{};
    do {
        stream_->state.next_out = piece.data();
        stream_->state.avail_out = static_cast<uInt>(piece.size());
        deflate(&stream_->state, flush);
        bytes_.insert(bytes_.end(), piece.begin(), piece.end() - stream_->state.avail_out);
    } while (stream_->state.avail_out == 0);
}

}  // namespace page
