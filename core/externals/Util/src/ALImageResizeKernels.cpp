// SPDX-License-Identifier: Apache-2.0
#include "ALImageResizeKernels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ALImageResizeKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace imageresize {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Sums are computed in a type that holds 16 times the largest element: 3x3 sums are 4 times a mean, 5x5 sums
// 16 times.
template <class T>
struct SumOf {
    using Type = float32_t;
};
template <>
struct SumOf<uint8_t> {
    using Type = uint16_t;
};
template <>
struct SumOf<uint16_t> {
    using Type = uint32_t;
};

/** Loads, sums and stores vectors of elements of type T. */
template <class T>
struct Lanes {
    using Sum = typename SumOf<T>::Type;
    using D = hn::ScalableTag<Sum>;
    using V = hn::Vec<D>;
    using Element = hn::Rebind<T, D>;

    static size_t count() { return hn::Lanes(D()); }

    static V widen(hn::Vec<Element> v) {
        if constexpr (std::is_same_v<T, Sum>) {
            return v;
        } else {
            return hn::PromoteTo(D(), v);
        }
    }

    static V load(const T* from) { return widen(hn::LoadU(Element(), from)); }

    static void loadPairs(const T* from, V& even, V& odd) {
        hn::Vec<Element> first;
        hn::Vec<Element> second;
        hn::LoadInterleaved2(Element(), from, first, second);
        even = widen(first);
        odd = widen(second);
    }

    /** The sum divided by 2^kShift. */
    template <int kShift>
    static V meanOf(V sum) {
        if constexpr (std::is_same_v<T, Sum>) {
            return hn::Mul(sum, hn::Set(D(), 1.0F / static_cast<float32_t>(1 << kShift)));
        } else {
            return hn::ShiftRight<kShift>(sum);
        }
    }

    static void store(V mean, T* to) {
        if constexpr (std::is_same_v<T, Sum>) {
            hn::StoreU(mean, D(), to);
        } else {
            const hn::RebindToSigned<D> di;  // a mean is no larger than an element, so its sign is clear
            hn::StoreU(hn::DemoteTo(Element(), hn::BitCast(di, mean)), Element(), to);
        }
    }

    static V times(int factor, V v) { return hn::Mul(hn::Set(D(), static_cast<Sum>(factor)), v); }
    static V twice(V v) { return hn::Add(v, v); }
};

/** A sum of single elements: an integer of 32 bits, or a float. */
template <class T>
using Single = std::conditional_t<std::is_floating_point_v<T>, float32_t, uint32_t>;

template <int kShift, class T>
T mean(Single<T> sum) {
    if constexpr (std::is_floating_point_v<T>) {
        return sum * (1.0F / static_cast<float32_t>(1 << kShift));
    } else {
        return static_cast<T>(sum >> kShift);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// 1 2 1

/** Element 0 of a filtered line: the pixel left of the line counts as the first one. */
template <class T>
T first3x3(const T* src) {
    using S = Single<T>;
    return mean<2, T>(S{src[1]} + S{src[0]} * S{3});
}

/** Element k from 1 on: the pixel right of the line counts as the last one. */
template <class T>
T element3x3(const T* src, size_t k, size_t width) {
    using S = Single<T>;
    const S right{src[std::min(2 * k + 1, width - 1)]};
    return mean<2, T>(S{src[2 * k - 1]} + S{2} * S{src[2 * k]} + right);
}

/** The sums of a vector of elements, from k on. */
template <class T>
HWY_INLINE typename Lanes<T>::V filter3x3(const T* src, size_t k) {
    using L = Lanes<T>;
    typename L::V left;
    typename L::V centre;
    typename L::V right;
    typename L::V unused;
    L::loadPairs(src + 2 * k - 1, left, unused);
    L::loadPairs(src + 2 * k, centre, right);
    return hn::Add(hn::Add(left, L::twice(centre)), right);
}

template <class T>
void halveLine3x3(const T* HWY_RESTRICT src, T* HWY_RESTRICT res, size_t width) {
    using L = Lanes<T>;
    const size_t lanes = L::count();
    const size_t whole = width / 2;  // elements with a source on either side
    res[0] = first3x3(src);
    size_t k = 1;
    if (whole > lanes) {
        for (; k + lanes <= whole; k += lanes) {
            L::store(L::template meanOf<2>(filter3x3(src, k)), res + k);
        }
        k = whole;
        L::store(L::template meanOf<2>(filter3x3(src, k - lanes)), res + k - lanes);  // some again
    }
    for (; 2 * k < width; ++k) {
        res[k] = element3x3(src, k, width);
    }
}

/** An element of the result from three elements of filtered lines. */
template <class T>
T sum3x3(T top, T middle, T bottom) {
    using S = Single<T>;
    return mean<2, T>(S{top} + S{bottom} + S{2} * S{middle});
}

template <class T>
void sumLines3x3(const T* top, const T* middle, const T* bottom, T* HWY_RESTRICT res, size_t width) {
    using L = Lanes<T>;
    const size_t lanes = L::count();
    size_t x = 0;
    for (; x + lanes <= width; x += lanes) {
        const auto outer = hn::Add(L::load(top + x), L::load(bottom + x));
        L::store(L::template meanOf<2>(hn::Add(outer, L::twice(L::load(middle + x)))), res + x);
    }
    for (; x < width; ++x) {
        res[x] = sum3x3(top[x], middle[x], bottom[x]);
    }
}

/** Row `y` of the input. */
template <class T>
const T* inputRow(const IreImages<T>& images, size_t y) {
    return images.oimg + y * images.ow;
}

/**
 * One row of the result, and the line above the next one, from the line above this one and two rows of the
 * image. Lines of even width share no elements, so neither line needs memory of its own.
 */
template <class T>
void halveRow3x3(const T* rowMiddle, const T* rowBottom, T* HWY_RESTRICT line, T* HWY_RESTRICT res,
                 size_t width) {
    using L = Lanes<T>;
    const size_t lanes = L::count();
    const size_t newWidth = width / 2;
    const auto finish = [&](size_t k, T middle, T bottom) {
        res[k] = sum3x3(line[k], middle, bottom);
        line[k] = bottom;
    };
    const auto finishVector = [&](size_t k, typename L::V top) {
        const auto middle = L::template meanOf<2>(filter3x3(rowMiddle, k));
        const auto bottom = L::template meanOf<2>(filter3x3(rowBottom, k));
        L::store(bottom, line + k);
        L::store(L::template meanOf<2>(hn::Add(hn::Add(top, bottom), L::twice(middle))), res + k);
    };
    finish(0, first3x3(rowMiddle), first3x3(rowBottom));
    if (newWidth <= lanes) {
        for (size_t k = 1; k < newWidth; ++k) {
            finish(k, element3x3(rowMiddle, k, width), element3x3(rowBottom, k, width));
        }
        return;
    }
    // The last vector computes some elements again, so it needs the line as it was.
    const auto lastTop = L::load(line + newWidth - lanes);
    for (size_t k = 1; k + lanes <= newWidth; k += lanes) {
        finishVector(k, L::load(line + k));
    }
    finishVector(newWidth - lanes, lastTop);
}

template <class T>
void halveImageOfEvenWidth3x3(const IreImages<T>& images) {
    const size_t width = images.ow;
    const size_t first = images.firstRow;
    halveLine3x3(inputRow(images, first == 0 ? 0 : 2 * first - 1), images.temp, width);
    for (size_t y = first; y < images.endRow; ++y) {
        const size_t below = std::min<size_t>(2 * y + 1, images.oh - 1);
        halveRow3x3(inputRow(images, 2 * y), inputRow(images, below), images.temp,
                    images.nimg + y * (width / 2), width);
    }
}

template <class T>
void halveImage3x3(const IreImages<T>& images) {
    const size_t width = images.ow;
    const size_t height = images.oh;
    if (width % 2 == 0) {
        return halveImageOfEvenWidth3x3(images);
    }
    const size_t newWidth = width / 2 + 1;
    const size_t slot = width / 2;  // neighbours share an element
    T* bottom = images.temp;
    T* const middle = images.temp + slot;
    T* top = images.temp + 2 * slot;
    const size_t first = images.firstRow;
    halveLine3x3(inputRow(images, first == 0 ? 0 : 2 * first - 1), top, width);
    for (size_t y = first; y < images.endRow; ++y) {
        halveLine3x3(inputRow(images, 2 * y), middle, width);
        halveLine3x3(inputRow(images, std::min(2 * y + 1, height - 1)), bottom, width);
        sumLines3x3(top, middle, bottom, images.nimg + y * newWidth, newWidth);
        std::swap(top, bottom);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// 1 4 6 4 1

template <class T>
void halveLine5x5(const T* HWY_RESTRICT src, T* HWY_RESTRICT res, size_t width) {
    using L = Lanes<T>;
    using S = Single<T>;
    const size_t lanes = L::count();
    res[0] = mean<4, T>(S{11} * S{src[0]} + S{4} * S{src[1]} + S{src[2]});
    size_t k = 1;
    for (; 2 * (k + lanes) < width; k += lanes) {
        typename L::V outerLeft;
        typename L::V left;
        typename L::V centre;
        typename L::V right;
        typename L::V outerRight;
        typename L::V unused;
        L::loadPairs(src + 2 * k - 2, outerLeft, left);
        L::loadPairs(src + 2 * k, centre, right);
        L::loadPairs(src + 2 * k + 1, unused, outerRight);
        auto sum = hn::Add(outerLeft, L::times(4, left));
        sum = hn::Add(sum, L::times(6, centre));
        sum = hn::Add(sum, L::times(4, right));
        L::store(L::template meanOf<4>(hn::Add(sum, outerRight)), res + k);
    }
    for (; 2 * k < width; ++k) {
        const S right{src[std::min(2 * k + 1, width - 1)]};
        const S outerRight{src[std::min(2 * k + 2, width - 1)]};
        res[k] = mean<4, T>(S{src[2 * k - 2]} + S{4} * S{src[2 * k - 1]} + S{6} * S{src[2 * k]} +
                            S{4} * right + outerRight);
    }
}

template <class T>
void sumLines5x5(const T* const (&lines)[5], T* HWY_RESTRICT res, size_t width) {
    using L = Lanes<T>;
    using S = Single<T>;
    const size_t lanes = L::count();
    size_t x = 0;
    for (; x + lanes <= width; x += lanes) {
        auto sum = hn::Add(L::load(lines[0] + x), L::times(4, L::load(lines[1] + x)));
        sum = hn::Add(sum, L::times(6, L::load(lines[2] + x)));
        sum = hn::Add(sum, L::times(4, L::load(lines[3] + x)));
        L::store(L::template meanOf<4>(hn::Add(sum, L::load(lines[4] + x))), res + x);
    }
    for (; x < width; ++x) {
        res[x] = mean<4, T>(S{lines[0][x]} + S{4} * S{lines[1][x]} + S{6} * S{lines[2][x]} +
                            S{4} * S{lines[3][x]} + S{lines[4][x]});
    }
}

template <class T>
void halveImage5x5(const IreImages<T>& images) {
    const size_t width = images.ow;
    const size_t height = images.oh;
    const size_t newWidth = width / 2 + width % 2;
    const size_t slot = width / 2;  // with an odd width neighbours share an element
    const size_t first = images.firstRow;
    T* l0 = images.temp + 2 * slot;
    T* l1 = images.temp + 3 * slot;
    T* l2 = images.temp + 4 * slot;
    T* next3 = images.temp + slot;
    T* next4 = images.temp;

    // The three lines that start two rows above the first one. Above the image row 0 repeats.
    halveLine5x5(inputRow(images, first <= 1 ? 0 : 2 * first - 2), l0, width);
    if (first < 2) {
        std::memmove(l1, l0, newWidth * sizeof(T));
    } else {
        halveLine5x5(inputRow(images, 2 * first - 1), l1, width);
    }
    if (first == 0) {
        std::memmove(l2, l1, newWidth * sizeof(T));
    } else {
        halveLine5x5(inputRow(images, 2 * first), l2, width);
    }

    for (size_t y = first; y < images.endRow; ++y) {
        T* l3 = l2;  // below the image the last row repeats
        if (2 * y + 1 < height) {
            l3 = next3;
            halveLine5x5(inputRow(images, 2 * y + 1), l3, width);
        }
        T* l4 = l3;
        if (2 * y + 2 < height) {
            l4 = next4;
            halveLine5x5(inputRow(images, 2 * y + 2), l4, width);
        }
        sumLines5x5<T>({l0, l1, l2, l3, l4}, images.nimg + y * newWidth, newWidth);
        next4 = l0;
        next3 = l1;
        l0 = l2;
        l1 = l3;
        l2 = l4;
    }
}

// One name for each element type, as the table of targets has no overloads.
void HalveLine3x3U8(const uint8_t* src, uint8_t* res, size_t width) {
    halveLine3x3(src, res, width);
}
void HalveLine3x3U16(const uint16_t* src, uint16_t* res, size_t width) {
    halveLine3x3(src, res, width);
}
void HalveLine3x3F32(const float32_t* src, float32_t* res, size_t width) {
    halveLine3x3(src, res, width);
}
void HalveLine5x5U8(const uint8_t* src, uint8_t* res, size_t width) {
    halveLine5x5(src, res, width);
}
void HalveLine5x5U16(const uint16_t* src, uint16_t* res, size_t width) {
    halveLine5x5(src, res, width);
}
void HalveLine5x5F32(const float32_t* src, float32_t* res, size_t width) {
    halveLine5x5(src, res, width);
}
void HalveImage3x3U8(const IreImages<uint8_t>& images) {
    halveImage3x3(images);
}
void HalveImage3x3U16(const IreImages<uint16_t>& images) {
    halveImage3x3(images);
}
void HalveImage3x3F32(const IreImages<float32_t>& images) {
    halveImage3x3(images);
}
void HalveImage5x5U8(const IreImages<uint8_t>& images) {
    halveImage5x5(images);
}
void HalveImage5x5U16(const IreImages<uint16_t>& images) {
    halveImage5x5(images);
}
void HalveImage5x5F32(const IreImages<float32_t>& images) {
    halveImage5x5(images);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace imageresize
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace imageresize {
namespace {

HWY_EXPORT(HalveLine3x3U8);
HWY_EXPORT(HalveLine3x3U16);
HWY_EXPORT(HalveLine3x3F32);
HWY_EXPORT(HalveLine5x5U8);
HWY_EXPORT(HalveLine5x5U16);
HWY_EXPORT(HalveLine5x5F32);
HWY_EXPORT(HalveImage3x3U8);
HWY_EXPORT(HalveImage3x3U16);
HWY_EXPORT(HalveImage3x3F32);
HWY_EXPORT(HalveImage5x5U8);
HWY_EXPORT(HalveImage5x5U16);
HWY_EXPORT(HalveImage5x5F32);

}  // namespace
}  // namespace imageresize

void ALImageResize_HalveLine3x3(const uint8_t* src, uint8_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine3x3U8)(src, res, width);
}

void ALImageResize_HalveLine3x3(const uint16_t* src, uint16_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine3x3U16)(src, res, width);
}

void ALImageResize_HalveLine3x3(const float32_t* src, float32_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine3x3F32)(src, res, width);
}

void ALImageResize_HalveLine5x5(const uint8_t* src, uint8_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine5x5U8)(src, res, width);
}

void ALImageResize_HalveLine5x5(const uint16_t* src, uint16_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine5x5U16)(src, res, width);
}

void ALImageResize_HalveLine5x5(const float32_t* src, float32_t* res, size_t width) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveLine5x5F32)(src, res, width);
}

void ALImageResize_HalveImage3x3(const IreImages<uint8_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage3x3U8)(images);
}

void ALImageResize_HalveImage3x3(const IreImages<uint16_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage3x3U16)(images);
}

void ALImageResize_HalveImage3x3(const IreImages<float32_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage3x3F32)(images);
}

void ALImageResize_HalveImage5x5(const IreImages<uint8_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage5x5U8)(images);
}

void ALImageResize_HalveImage5x5(const IreImages<uint16_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage5x5U16)(images);
}

void ALImageResize_HalveImage5x5(const IreImages<float32_t>& images) noexcept {
    using namespace imageresize;
    HWY_DYNAMIC_DISPATCH(HalveImage5x5F32)(images);
}

#endif  // HWY_ONCE
