// SPDX-License-Identifier: Apache-2.0
#include "UtilCommon.h"

#include <sys/time.h>

#include <ctime>

Timestamp_t getTimeFct() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    const double microseconds =
        static_cast<double>(now.tv_usec) + static_cast<double>(now.tv_sec) * 1000000.0;
    return static_cast<Timestamp_t>(static_cast<uint64_t>(microseconds));
}

AlgoSystemTime getSystemTimeFct() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return {.seconds = static_cast<alif_uint32_t>(now.tv_sec),
            .nanoSeconds = static_cast<alif_uint32_t>(now.tv_nsec)};
}
