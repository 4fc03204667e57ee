// SPDX-License-Identifier: Apache-2.0
//
// How long the algorithm takes, by its own account: the record on the channel of the profiling.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "figures/Percentiles.h"
#include "zelta_packet.h"

namespace qor {

// Milliseconds.
struct StageTimes {
    std::size_t calls = 0;
    figures::Percentiles times;
};

class RunTimes {
 public:
    // A packet of results; one without that record says nothing. Throws recording::RecordError for a record
    // that is not what it has to be.
    void add(const zelta::Packet& result);

    // By stage, under the names of the record; `total` is a packet.
    std::map<std::string, StageTimes> stages() const;

    // Of the packets of a frame together, up to that which finishes it.
    figures::Percentiles frames() const { return figures::percentilesOf(frames_); }

 private:
    struct Stage {
        double calls = 0.0;  // by the latest record
        std::vector<double> times;
    };

    std::map<std::string, Stage> stages_;
    double ofFrame_ = 0.0;  // the packets since the last finished frame
    std::vector<double> frames_;
};

}  // namespace qor
