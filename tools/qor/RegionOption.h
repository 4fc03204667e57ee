// SPDX-License-Identifier: Apache-2.0
//
// Regions of the image as users write them: wall=rect:10,20,64,48, box=polygon:0,0,50,0,50,40 or
// target=mask:target.png.

#pragma once

#include <stdexcept>
#include <string>

#include "figures/Frame.h"

namespace qor {

// A sentence about a text that names no region.
class RegionError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

struct Region {
    std::string name;
    figures::Mask mask;
};

// Throws RegionError, also for a region without a pixel. Reads the file of a mask: its pixels above 0.
Region readRegion(const std::string& text);

}  // namespace qor
