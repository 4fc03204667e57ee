// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a recording, where, and what to do about it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/Salvage.h"

namespace qor {

struct Finding {
    std::size_t byte = 0;  // in the file
    std::size_t packet = 0;
    std::optional<std::size_t> chunk;  // in the packet
    std::string rule;                  // a sentence: which rule is broken
    std::string advice;                // a sentence: what to do
    bool isDamage = false;             // of bytes, not of what they mean
};

struct Diagnosis {
    std::vector<Finding> findings;  // in the order of the file
    std::size_t packets = 0;
};

// Throws recording::RecordingError if the bytes cannot be read.
Diagnosis diagnose(recording::FileBytes& bytes);

// What is wrong with the definitions of one packet, whose bytes these are.
std::vector<Finding> faultsOfDefinitions(std::span<const std::uint8_t> bytes,
                                         const recording::Stretch& stretch, std::size_t packet);

}  // namespace qor
