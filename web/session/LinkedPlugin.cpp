// SPDX-License-Identifier: Apache-2.0
//
// plugin::Plugin over the algorithm that is linked into the page's module, in place of one that is loaded.

#include <cstdlib>
#include <limits>
#include <string>

#include "QorPlugin.h"
#include "plugin/Plugin.h"

namespace plugin {
namespace {

std::string ownWords(const char* text) {
    return text != nullptr && *text != '\0' ? text : "no reason was given";
}

}  // namespace

struct Plugin::Functions {};
struct Plugin::Library {};

std::filesystem::path defaultPlugin() {
    return "the page";
}

Plugin::Plugin(const std::filesystem::path& path) : path_(path) {
    startAnew();
}

Plugin::~Plugin() {
    clearAlgo();
}

void Plugin::startAnew() {
    createAlgo();
}

bool Plugin::process(std::span<const std::uint8_t> packet, bool fromCustomPin) {
    if (packet.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw PluginError("A packet has at most 2147483647 bytes.");
    }
    std::int32_t exceptionOccured = 0;
    const std::int32_t started = processZelta(packet.data(), static_cast<std::int32_t>(packet.size()),
                                              fromCustomPin ? 1 : 0, &exceptionOccured);
    if (exceptionOccured != 0) {
        throw PluginError("The plug-in failed to process the packet: " + ownWords(lastExceptionMessage()) +
                          ".");
    }
    return started != 0;
}

std::vector<std::uint8_t> Plugin::result(bool shortForm) {
    const std::int32_t size = getRequiredOutputSize(shortForm ? 1 : 0);
    std::vector<std::uint8_t> packet(static_cast<std::size_t>(size < 0 ? 0 : size));
    if (size < 0 || (size > 0 && packResult(packet.data(), size) != 0)) {
        throw PluginError("The plug-in failed to pack its result: it refuses the size that it asked for.");
    }
    return packet;
}

std::string Plugin::name() const {
    return ownWords(prettyName());
}

std::string Plugin::version() const {
    AlgoVersion version{};
    getAlgoVersion(&version);
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

std::string Plugin::lastMessage() const {
    return ::lastMessage();
}

}  // namespace plugin
