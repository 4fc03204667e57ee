// SPDX-License-Identifier: Apache-2.0
//
// A host in C++ whose include path has a header with the name of one of the algorithm's. The types of the
// interface are still the plug-in's own. The test is that this compiles.
#include <cstddef>
#include <type_traits>

#include "QorPlugin.h"

static_assert(std::is_same_v<decltype(AlgoVersion::major), uint32_t>);
static_assert(sizeof(AlgoVersion) == 12 && offsetof(AlgoVersion, minor) == 4 &&
              offsetof(AlgoVersion, patch) == 8);
