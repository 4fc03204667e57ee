// SPDX-License-Identifier: Apache-2.0
#include "QorData.h"

namespace {

// What the FFT lays out by alignment comes to the same places on every target.
alignas(64) constinit QorStaticData g_data = {};

// References into the block are assigned at initialisation and read for as long as the process lives.
const RefPin g_dataPin(&g_data, sizeof g_data);

}  // namespace

constinit ImageFilterState g_imageFilterState = {};

QorStaticData* QorData_Get() noexcept {
    return &g_data;
}

void QorData_Init() noexcept {}
