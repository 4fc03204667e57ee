// SPDX-License-Identifier: Apache-2.0
#include "slcalib.h"

namespace {

constexpr StraylightCalib kCompiledInCalib = {
    {
#include "slcalib_psf.inc"
    },
    kPsfWidth,
    kPsfHeight,
    0.66482627F,
    1.609766F,
};

}  // namespace

StraylightCalib* getCompiledInCalib() noexcept {
    return const_cast<StraylightCalib*>(&kCompiledInCalib);
}
