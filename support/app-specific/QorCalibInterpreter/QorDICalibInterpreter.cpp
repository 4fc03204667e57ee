// SPDX-License-Identifier: Apache-2.0
#include "QorDICalibInterpreter.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "PacketZelta.h"
#include "QorDescriptors.h"

namespace DICI_Qor {
namespace {

constexpr char kExceptionPrefix[] = "CalibInterpreter_Apply Exception: ";
constexpr char kUnknownException[] = "Unknown Exception during CalibInterpreter_Apply occured";

/** A private copy of one part of a received chunk. */
using Bytes = std::unique_ptr<unsigned char[]>;

std::string g_lastError;
Bytes origCalibDescr;
Bytes origCalibPayload;
Bytes origAuxDescr;
Bytes origAuxPayload;
QorDICIError diciError;

/** Which chunks the packet has; -1 for those that the search did not reach. */
struct ChunkIndices {
    int origCalibPacketIDX = -1;
    int origAuxPacketIDX = -1;
};

void assignRecords(const Packet& packet, QorDistanceImageIFCalib& calibration, QorDICIAuxiliaryParam& auxInfo,
                   ChunkIndices& indices) {
    indices.origCalibPacketIDX = findChannelInPacket(packet, channel::kCalibration);
    PacketAssign(packet, channel::kCalibration, zeltaGet_QorDistanceImageIFCalib, "QorDistanceImageIFCalib",
                 &calibration, sizeof calibration, "QorDistanceImageIFCalib", false);
    indices.origAuxPacketIDX = findChannelInPacket(packet, channel::kAuxiliary);
    PacketAssign(packet, channel::kAuxiliary, zeltaGet_QorDICIAuxiliaryParam, "QorDICIAuxiliaryParam",
                 &auxInfo, sizeof auxInfo, "QorDICIAuxiliaryParam", false);
}

/** Never fails: when memory has run out, the text is cut to what fits into the previous text's memory. */
void keepError(std::string_view prefix, std::string_view what) noexcept {
    try {
        g_lastError.reserve(prefix.size() + what.size());
    } catch (...) {
        prefix = prefix.substr(0, g_lastError.capacity());
        what = what.substr(0, g_lastError.capacity() - prefix.size());
    }
    g_lastError.assign(prefix).append(what);
}

/** The text goes into the record as far as it fits. `errorOccured` stays 0: callers see the failure in the
 * result. */
void recordError(std::string_view what) noexcept {
    constexpr std::string_view prefix = kExceptionPrefix;
    auto* const end = std::copy(prefix.begin(), prefix.end(), diciError.ErrorMsg);
    std::copy_n(what.begin(), std::min(what.size(), sizeof diciError.ErrorMsg - prefix.size()), end);
}

Bytes copyOf(const void* data, int size) {
    Bytes copy(new unsigned char[static_cast<std::size_t>(size)]);
    std::memcpy(copy.get(), data, static_cast<std::size_t>(size));
    return copy;
}

/** Two entries: a copy of the chunk's data, and one of its definition on the next channel. */
AlgoMeasBuffer* offerChunk(const ZeltaChunk& chunk, Bytes& payload, Bytes& description,
                           AlgoMeasBuffer* slot) {
    payload = copyOf(chunk.data, chunk.dataSize);
    description = copyOf(chunk.description, chunk.descSize);
    slot[0] = {.buffer = payload.get(),
               .sizeTotal = static_cast<alif_uint32_t>(chunk.dataSize),
               .sizeReady = 0,
               .channelID = chunk.channelID};
    slot[1] = {.buffer = description.get(),
               .sizeTotal = static_cast<alif_uint32_t>(chunk.descSize),
               .sizeReady = 0,
               .channelID = chunk.channelID + 1};
    return slot + 2;
}

void fillAnswer(const Packet& packet, const ChunkIndices& indices, AlgoMeasBuffer* measBuffer,
                alif_uint32_t measBuffersArraySize) {
    if (measBuffer == nullptr) {
        throw std::runtime_error("Meas Buffer pointer is NULL");
    }
    if (measBuffersArraySize != kMeasBuffers) {
        throw std::runtime_error("Unexpected number of measurement buffers");
    }
    std::fill_n(measBuffer, measBuffersArraySize, AlgoMeasBuffer{});
    measBuffer[0] = {
        .buffer = &diciError, .sizeTotal = sizeof diciError, .sizeReady = 0, .channelID = channel::kError};
    zeltaGet_QorDICIError(&measBuffer[1].buffer, &measBuffer[1].sizeTotal);
    measBuffer[1].channelID = channel::kError + 1;
    AlgoMeasBuffer* slot = measBuffer + 2;
    if (indices.origAuxPacketIDX >= 0) {
        slot = offerChunk(packet[static_cast<std::size_t>(indices.origAuxPacketIDX)], origAuxPayload,
                          origAuxDescr, slot);
    }
    if (indices.origCalibPacketIDX >= 0) {
        offerChunk(packet[static_cast<std::size_t>(indices.origCalibPacketIDX)], origCalibPayload,
                   origCalibDescr, slot);
    }
}

}  // namespace

alif_int32_t CalibInterpreter_Apply(const Packet& packet, QorDistanceImageIFCalib& calibration,
                                    QorDICIAuxiliaryParam& auxInfo, AlgoMeasBuffer* measBuffer,
                                    alif_uint32_t measBuffersArraySize) {
    alif_int32_t retVal = 0;
    diciError = {};
    std::memset(&calibration, 0, sizeof calibration);
    std::memset(&auxInfo, 0, sizeof auxInfo);
    ChunkIndices indices;
    try {
        assignRecords(packet, calibration, auxInfo, indices);
    } catch (const std::exception& e) {
        recordError(e.what());
        keepError(kExceptionPrefix, e.what());
        retVal = 1;
    } catch (...) {
        keepError(kUnknownException, "");
        return 1;
    }
    try {
        fillAnswer(packet, indices, measBuffer, measBuffersArraySize);
    } catch (const std::exception& e) {
        keepError(kExceptionPrefix, e.what());
        return 1;
    } catch (...) {
        keepError(kUnknownException, "");
        return 1;
    }
    return retVal;
}

const std::string& GetLastErrorString() {
    return g_lastError;
}

}  // namespace DICI_Qor
