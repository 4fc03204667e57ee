// SPDX-License-Identifier: Apache-2.0
//
// Calibration interpreter: takes a camera's calibration packet apart. Members are matched by name, so that
// older and newer layouts load; it does not check their contents.
#pragma once

#include <string>

#include "QorDICIRecords.h"
#include "QorRecords.h"
#include "zelta_packet.h"

namespace DICI_Qor {

inline constexpr alif_uint32_t kMeasBuffers = 6;  ///< buffers of the answer

/**
 * Fills both records from the packet; what the packet lacks is 0. The answer takes `measBuffersArraySize`
 * entries, which must be 6: the error record with its definition, then copies of the auxiliary and of the
 * calibration chunk, data and definition each, as far as they were found. The copies live until the next
 * call. Returns 0, or 1 with the reason in GetLastErrorString. No exception leaves it.
 */
QOR_EXPORT alif_int32_t CalibInterpreter_Apply(const Packet& packet, QorDistanceImageIFCalib& calibration,
                                               QorDICIAuxiliaryParam& auxInfo, AlgoMeasBuffer* measBuffer,
                                               alif_uint32_t measBuffersArraySize);

/** The last failure's message. A success leaves it as it is. */
QOR_EXPORT const std::string& GetLastErrorString();

}  // namespace DICI_Qor
