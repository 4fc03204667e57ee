// SPDX-License-Identifier: Apache-2.0
#include "QorData.h"

namespace {

// The FFT places its memory by alignment, so it is laid out the same on every target.
alignas(64) constinit QorStaticData g_data = {};

// References into the block are assigned at initialisation and read until the process ends.
const RefPin g_dataPin(&g_data, sizeof g_data);

}  // namespace

constinit ImageFilterState g_imageFilterState = {};

QorStaticData* QorData_Get() noexcept {
    return &g_data;
}

void QorData_Init() noexcept {}
