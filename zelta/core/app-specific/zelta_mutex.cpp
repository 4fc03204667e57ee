// SPDX-License-Identifier: Apache-2.0
#include "zelta_mutex.h"

namespace zelta {

Mutex mutex;

}  // namespace zelta
