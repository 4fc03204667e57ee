// SPDX-License-Identifier: Apache-2.0

#include "qor/Recovery.h"

#include <fmt/format.h>

#include <optional>
#include <span>

#include "qor/Arguments.h"

namespace qor {

Recovered recover(recording::FileBytes& bytes, recording::RecordingWriter& writer) {
    constexpr std::size_t sizeOfEmptyPacket = 4;
    Recovered recovered;
    recording::Salvage salvage(bytes);
    while (const std::optional<recording::Stretch> stretch = salvage.next()) {
        const std::span<const std::uint8_t> part = salvage.bytesOf(*stretch);
        const std::size_t packet = recovered.packets + recovered.emptyPackets;
        std::vector<Finding> faults;
        if (stretch->fault.empty()) {
            faults = faultsOfDefinitions(part, *stretch, packet);
        } else {
            faults.push_back({stretch->faultAt, packet, std::nullopt, stretch->fault + ".", "", true});
        }
        if (!faults.empty()) {
            faults[0].rule +=
                fmt::format(" Lost: {} from byte {} on.", counted(stretch->size, "byte"), stretch->offset);
            recovered.lost.push_back(faults[0]);
            recovered.lostBytes += stretch->size;
        } else if (stretch->size <= sizeOfEmptyPacket) {
            ++recovered.emptyPackets;
        } else {
            writer.write(part);
            ++recovered.packets;
        }
    }
    recovered.bytes = writer.bytes();
    writer.finish();
    return recovered;
}

}  // namespace qor
