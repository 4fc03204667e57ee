// SPDX-License-Identifier: Apache-2.0
//
// What a calibration must not be. Each of these would give an empty or a wrong picture without a hint.

#pragma once

#include <string>
#include <vector>

#include "calibrating/CameraDescription.h"

namespace calibrating {

struct Fault {
    std::string key;       // where it stands, as "frequencies[0].ampWigg"
    std::string sentence;  // what is wrong
};

// Faults without which no distances come out.
std::vector<Fault> faultsOf(const CameraDescription& camera);

// What is possible, but probably not meant.
std::vector<Fault> doubtsOf(const CameraDescription& camera);

// maxUniqueRange with so many frequencies; empty if it serves.
std::string rangeFault(double maxUniqueRange, double frequencyCount);

// "key: sentence", one a line.
std::string textOf(const std::vector<Fault>& faults);

}  // namespace calibrating
