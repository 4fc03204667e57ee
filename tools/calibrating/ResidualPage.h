// SPDX-License-Identifier: Apache-2.0
//
// What a calibration was made from and what it leaves, as one HTML page that needs no other file.

#pragma once

#include <string>

#include "calibrating/SpecimenFit.h"

namespace calibrating {

std::string residualPage(const Specimen& specimen);

}  // namespace calibrating
