// SPDX-License-Identifier: Apache-2.0

#include "qor/Reception.h"

namespace qor {
namespace {

Reception* current = nullptr;

}  // namespace

ScopedReception::ScopedReception(Reception& reception) {
    current = &reception;
}

ScopedReception::~ScopedReception() {
    current = nullptr;
}

Reception* currentReception() {
    return current;
}

}  // namespace qor
