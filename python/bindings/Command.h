// SPDX-License-Identifier: Apache-2.0
//
// The command qor within the interpreter: the same code, with values in place of printed text.

#pragma once

#include <pybind11/pybind11.h>

namespace bindings {

void addCommand(pybind11::module_& module);

}  // namespace bindings
