// SPDX-License-Identifier: Apache-2.0
//
// Bytes as a page holds them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace page {

// Base 64 with padding.
std::string base64(std::span<const std::uint8_t> bytes);

// Compresses piece by piece; what comes out is of zlib's format.
class Compressor {
 public:
    Compressor();
    ~Compressor();
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    void add(std::span<const std::uint8_t> bytes);

    // So far; less than all, because some is kept for the next piece.
    std::size_t size() const { return bytes_.size(); }

    // All of it; nothing can be added any more.
    const std::vector<std::uint8_t>& finish();

 private:
    struct Stream;

    void run(int flush);

    std::unique_ptr<Stream> stream_;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace page
