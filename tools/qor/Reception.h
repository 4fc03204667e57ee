// SPDX-License-Identifier: Apache-2.0
//
// What the command prints, for a program that holds the command in itself and wants it as values.

#pragma once

#include <string>

namespace qor {

struct Reception {
    std::string document;  // what --json prints
    std::string errors;    // what goes to standard error, lines with their ends
};

// While it lives, documents and errors go into the reception and are not printed. One lives at a time.
class ScopedReception {
 public:
    explicit ScopedReception(Reception& reception);
    ~ScopedReception();
    ScopedReception(const ScopedReception&) = delete;
    ScopedReception& operator=(const ScopedReception&) = delete;
};

// Null if everything is printed.
Reception* currentReception();

}  // namespace qor
