// SPDX-License-Identifier: Apache-2.0
//
// The confidence image as vectors: sixteen bits a pixel in memory, a 32-bit lane beside each float lane.

#if defined(QOR_CORE_APP_SPECIFIC_SRC_CONFIDENCE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QOR_CORE_APP_SPECIFIC_SRC_CONFIDENCE_INL_H_
#undef QOR_CORE_APP_SPECIFIC_SRC_CONFIDENCE_INL_H_
#else
#define QOR_CORE_APP_SPECIFIC_SRC_CONFIDENCE_INL_H_
#endif

#include <hwy/highway.h>

#include "QorRecords.h"

HWY_BEFORE_NAMESPACE();
namespace confidence {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/** The confidence of a vector of pixels, a lane for each lane of the floats DF. */
template <class DF>
using Bits = hn::Vec<hn::RebindToUnsigned<DF>>;

/** The same as it stands in memory. */
template <class DF>
using NarrowBits = hn::Vec<hn::Rebind<uint16_t, DF>>;

template <class DF>
HWY_INLINE NarrowBits<DF> loadNarrow(DF /*df*/, const uint16_t* confidence) {
    return hn::LoadU(hn::Rebind<uint16_t, DF>(), confidence);
}

template <class DF>
HWY_INLINE Bits<DF> load(DF df, const uint16_t* confidence) {
    return hn::PromoteTo(hn::RebindToUnsigned<DF>(), loadNarrow(df, confidence));
}

template <class DF>
HWY_INLINE NarrowBits<DF> narrow(DF /*df*/, Bits<DF> bits) {
    return hn::DemoteTo(hn::Rebind<uint16_t, DF>(), hn::BitCast(hn::RebindToSigned<DF>(), bits));
}

template <class DF>
HWY_INLINE void storeNarrow(DF /*df*/, NarrowBits<DF> bits, uint16_t* confidence) {
    hn::StoreU(bits, hn::Rebind<uint16_t, DF>(), confidence);
}

template <class DF>
HWY_INLINE void store(DF df, Bits<DF> bits, uint16_t* confidence) {
    storeNarrow(df, narrow(df, bits), confidence);
}

/** Where all of `wanted` is set. */
template <class DF>
HWY_INLINE hn::Mask<DF> hasBits(DF df, Bits<DF> bits, uint32_t wanted) {
    const auto mask = hn::Set(hn::RebindToUnsigned<DF>(), wanted);
    return hn::RebindMask(df, hn::Eq(hn::And(bits, mask), mask));
}

template <class DF>
HWY_INLINE hn::Mask<DF> isInvalid(DF df, Bits<DF> bits) {
    return hasBits(df, bits, kConfidenceInvalid);
}

/** `marks` where the mask of floats holds, else no bit. */
template <class DF>
HWY_INLINE Bits<DF> marksWhere(DF /*df*/, hn::Mask<DF> mask, uint32_t marks) {
    const hn::RebindToUnsigned<DF> du;
    return hn::IfThenElseZero(hn::RebindMask(du, mask), hn::Set(du, marks));
}

}  // namespace HWY_NAMESPACE
}  // namespace confidence
HWY_AFTER_NAMESPACE();

#endif  // QOR_CORE_APP_SPECIFIC_SRC_CONFIDENCE_INL_H_
