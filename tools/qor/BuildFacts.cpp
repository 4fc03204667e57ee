// SPDX-License-Identifier: Apache-2.0

#include "qor/BuildFacts.h"

#include <fmt/format.h>
#include <hwy/highway.h>

#include <cstdint>
#include <string_view>

#include "plugin/Plugin.h"
#include "qor/Checksum.h"

namespace qor {
namespace {

std::string compiler() {
#if defined(__clang__)
    return fmt::format("Clang {}.{}.{}", __clang_major__, __clang_minor__, __clang_patchlevel__);
#elif defined(__GNUC__)
    return fmt::format("GCC {}.{}.{}", __GNUC__, __GNUC_MINOR__, __GNUC_PATCHLEVEL__);
#else
    return "unknown";
#endif
}

std::string targetNames(std::int64_t targets) {
    std::string names;
    for (; targets != 0; targets &= targets - 1) {
        names += fmt::format("{}{}", names.empty() ? "" : " ", hwy::TargetName(targets & -targets));
    }
    return names;
}

// The kernels of the plug-in are compiled with the same flags and choose in the same way. The best one has
// the lowest bit.
std::string vectorTargets() {
    constexpr auto built = static_cast<std::int64_t>(HWY_TARGETS);
    const std::int64_t usable = hwy::SupportedTargets() & built;
    return fmt::format("built {}; used here {}", targetNames(built), targetNames(usable & -usable));
}

std::string checksumOfDefinitions(const plugin::Plugin& algorithm) {
    Checksum checksum;
    for (const std::vector<std::uint8_t>& definition : algorithm.definitions()) {
        checksum.add(definition.data(), definition.size());
    }
    return checksum.text();
}

std::string pluginFacts() {
    try {
        const plugin::Plugin algorithm(plugin::defaultPlugin());
        return fmt::format("plug-in: {} {}, {}\ndefinitions: {}\n", algorithm.name(), algorithm.version(),
                           algorithm.path().string(), checksumOfDefinitions(algorithm));
    } catch (const plugin::PluginError& error) {
        return fmt::format("plug-in: {}\n", error.what());
    }
}

}  // namespace

std::string versionText() {
    return fmt::format("qor {}\ncompiler: {}, {}\nvector targets: {}\n{}", QOR_VERSION, compiler(),
                       QOR_BUILD_TYPE, vectorTargets(), pluginFacts());
}

}  // namespace qor
