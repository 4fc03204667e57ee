// SPDX-License-Identifier: Apache-2.0

#include "qor/PixelStates.h"

#include "qor/ResultFrame.h"

namespace qor {
namespace {

// In the order of the key.
enum State : std::uint8_t {
    LastExposure,
    FirstExposure,
    NoDistance,
    Saturated,
    Asymmetric,
    LowAmplitude,
    Unassigned,
    OtherFault
};

}  // namespace

const std::vector<imaging::Category>& pixelStates() {
    static const std::vector<imaging::Category> categories{
        {{46, 125, 170}, "valid"},
        {{120, 190, 220}, "valid, first exposure"},
        {{235, 235, 235}, "valid, no distance"},
        {{250, 200, 40}, "saturated"},
        {{190, 60, 150}, "asymmetric"},
        {{70, 74, 84}, "low amplitude"},
        {{225, 90, 50}, "no assignment"},
        {{0, 0, 0}, "invalid otherwise"},
    };
    return categories;
}

std::uint8_t stateOf(std::uint8_t confidence, std::uint8_t usable) {
    const auto has = [confidence](unsigned bit) { return (confidence & bit) != 0; };
    if (!has(invalidBit) && usable == 0) {
        return NoDistance;
    }
    if (!has(invalidBit)) {
        return has(lastExposureBit) ? LastExposure : FirstExposure;
    }
    if (has(saturatedBit)) {
        return Saturated;
    }
    if (has(unassignedBit)) {
        return Unassigned;
    }
    if (has(lowAmplitudeBit)) {
        return LowAmplitude;
    }
    return has(asymmetricBit) ? Asymmetric : OtherFault;
}

}  // namespace qor
