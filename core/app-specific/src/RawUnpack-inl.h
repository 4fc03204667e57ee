// SPDX-License-Identifier: Apache-2.0
//
// The imager's packed samples as vectors.

#if defined(QOR_CORE_APP_SPECIFIC_SRC_RAWUNPACK_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QOR_CORE_APP_SPECIFIC_SRC_RAWUNPACK_INL_H_
#undef QOR_CORE_APP_SPECIFIC_SRC_RAWUNPACK_INL_H_
#else
#define QOR_CORE_APP_SPECIFIC_SRC_RAWUNPACK_INL_H_
#endif

#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace rawunpack {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/**
 * Unpacks 12-bit samples, two of them in three bytes, one per 16-bit lane. The samples of a vector of L lanes
 * take 3 L / 2 bytes, but 2 L bytes are loaded. The caller says on which side the L / 2 surplus bytes may be
 * read: before the samples (endingAt) or after them (startingAt).
 */
template <class D16>
class SampleUnpacker {
 public:
    explicit SampleUnpacker(D16 d16)
        : d16_(d16),
          lastGroups_(makeWordTable(static_cast<int32_t>(hn::Lanes(D32())) / 4)),
          firstGroups_(makeWordTable(0)),
          bytesOfPixels_(makeByteTable()) {}

    /** The samples whose last byte stands before `end`. */
    HWY_INLINE hn::Vec<D16> endingAt(const uint8_t* end) const {
        return NEON_Raw12Unpack(hn::LoadU(D8(), end - hn::Lanes(D8())), lastGroups_);
    }

    /** The samples whose first byte is at `begin`. */
    HWY_INLINE hn::Vec<D16> startingAt(const uint8_t* begin) const {
        return NEON_Raw12Unpack(hn::LoadU(D8(), begin), firstGroups_);
    }

 private:
    using D8 = hn::Repartition<uint8_t, D16>;
    using D32 = hn::Repartition<uint32_t, D16>;
    using WordTable = decltype(hn::SetTableIndices(D32(), static_cast<const int32_t*>(nullptr)));

    /** Puts four groups, three words, at the start of each 128-bit block; `skipped` words come first. */
    static HWY_INLINE WordTable makeWordTable(int32_t skipped) {
        HWY_ALIGN int32_t words[HWY_MAX_BYTES / 4] = {};
        const auto lanes = static_cast<int32_t>(hn::Lanes(D32()));
        for (int32_t i = 0; i < lanes; ++i) {
            words[i] = skipped + 3 * (i / 4) + std::min(i % 4, 2);
        }
        return hn::SetTableIndices(D32(), words);
    }

    /** Within a block, byte pairs (nibbles, upper bits) of eight pixels. */
    static HWY_INLINE hn::Vec<D8> makeByteTable() {
        HWY_ALIGN static constexpr uint8_t kPairs[16] = {2, 0, 2, 1, 5, 3, 5, 4, 8, 6, 8, 7, 11, 9, 11, 10};
        return hn::LoadDup128(D8(), kPairs);
    }

    HWY_INLINE hn::Vec<D16> NEON_Raw12Unpack(hn::Vec<D8> bytes, const WordTable& groupsOfBlocks) const {
        const auto groups = hn::TableLookupLanes(hn::BitCast(D32(), bytes), groupsOfBlocks);
        // Each pixel: its upper eight bits, above the byte that holds both lower nibbles of its group.
        const auto pixels =
            hn::BitCast(d16_, hn::TableLookupBytes(hn::BitCast(D8(), groups), bytesOfPixels_));
        const auto odd = hn::ShiftRight<4>(pixels);
        const auto even = hn::Or(hn::And(odd, hn::Set(d16_, 0x0FF0)), hn::And(pixels, hn::Set(d16_, 0x000F)));
        return hn::OddEven(odd, even);
    }

    const D16 d16_;
    const WordTable lastGroups_;
    const WordTable firstGroups_;
    const hn::Vec<D8> bytesOfPixels_;
};

}  // namespace HWY_NAMESPACE
}  // namespace rawunpack
HWY_AFTER_NAMESPACE();

#endif  // QOR_CORE_APP_SPECIFIC_SRC_RAWUNPACK_INL_H_
