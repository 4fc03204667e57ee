// SPDX-License-Identifier: Apache-2.0
//
// Whole images as arrays: packed raw images, and which pixels of a result can be used.

#pragma once

#include <pybind11/pybind11.h>

namespace bindings {

void addImages(pybind11::module_& module);

}  // namespace bindings
