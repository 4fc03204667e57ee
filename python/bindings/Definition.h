// SPDX-License-Identifier: Apache-2.0
//
// The definition of a record as NumPy knows it: a structured dtype, and the place of an expression in it.
//
// Nothing here touches the caches of the data library, which runs on one thread at a time: a record can be
// read while another thread computes.

#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <span>
#include <string>

#include "zelta_type.h"

namespace bindings {

class Definition {
 public:
    // Throws recording::RecordError for a definition that is damaged, enciphered or empty.
    explicit Definition(std::span<const std::uint8_t> bytes);

    const std::string& name() const { return type_->name; }
    unsigned int size() const { return size_; }

    // Of the record. Throws recording::RecordError if NumPy has no such type.
    pybind11::object dtype();

    // Offset in bytes, dtype and shape of what an expression addresses. Throws recording::RecordError.
    pybind11::tuple place(const std::string& expression) const;

 private:
    zelta::TypeRef type_;
    unsigned int size_ = 0;
    pybind11::object dtype_;
};

// The same object for the same bytes, while it is remembered. Needs the interpreter lock.
std::shared_ptr<Definition> definitionOf(std::span<const std::uint8_t> bytes);

void addDefinition(pybind11::module_& module);

}  // namespace bindings
