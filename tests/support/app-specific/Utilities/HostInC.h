/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Loads the plug-in from C and asks for its version. Returns 0, or 1 if something is missing. */
int versionFromC(const char* file, uint32_t version[3]);

#ifdef __cplusplus
}
#endif
