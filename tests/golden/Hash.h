// SPDX-License-Identifier: Apache-2.0
//
// A hash of 64 bits over numbers, the same on every machine. It finds differences; it keeps no secrets.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace golden {

class Hash {
 public:
    void add(std::uint32_t word) { m_state = std::rotl((m_state ^ word) * kPrime, 29); }

    void addBytes(const std::uint8_t* bytes, std::size_t size) {
        addWords(bytes, size / 4, [](std::uint32_t word) { return word; });
        for (std::size_t i = size / 4 * 4; i < size; ++i) {
            add(bytes[i]);
        }
        add(static_cast<std::uint32_t>(size));
    }

    /** Which NaN an operation gives is not fixed between processors: all count as one. */
    void addFloats(const std::uint8_t* bytes, std::size_t count) {
        addWords(bytes, count,
                 [](std::uint32_t bits) { return (bits & 0x7FFFFFFFU) > 0x7F800000U ? 0x7FC00000U : bits; });
    }

    std::uint64_t value() const {
        std::uint64_t h = m_state;
        h ^= h >> 32U;
        h *= kPrime;
        return h ^ h >> 29U;
    }

 private:
    static constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15U;

    /** Four streams side by side, because a single one would wait for its own product at every word. */
    template <class Canonical>
    void addWords(const std::uint8_t* bytes, std::size_t count, Canonical canonical) {
        std::array<std::uint64_t, 4> streams = {m_state, ~m_state, m_state * 3, m_state + 7};
        std::size_t i = 0;
        for (; i + 4 <= count; i += 4) {
            std::array<std::uint32_t, 4> words;
            std::memcpy(words.data(), bytes + 4 * i, sizeof words);
            for (std::size_t k = 0; k < 4; ++k) {
                streams[k] = std::rotl((streams[k] ^ canonical(words[k])) * kPrime, 29);
            }
        }
        for (const std::uint64_t stream : streams) {
            m_state = std::rotl((m_state ^ stream) * kPrime, 29);
        }
        for (; i < count; ++i) {
            std::uint32_t word = 0;
            std::memcpy(&word, bytes + 4 * i, sizeof word);
            add(canonical(word));
        }
    }

    std::uint64_t m_state = 0x243F6A8885A308D3U;
};

}  // namespace golden
