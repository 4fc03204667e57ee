// SPDX-License-Identifier: Apache-2.0
//
// The distance image algorithm as a host meets it: a shared object, opened at run time, with nine functions.

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace plugin {

// A sentence about a plug-in that cannot be opened, or that failed. A failure
// carries the plug-in's own words.
class PluginError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// The plug-in that belongs to this command: beside it when installed, in the build tree otherwise. If there
// is none, throws PluginError with the places that were searched.
std::filesystem::path defaultPlugin();

// One instance of the algorithm, from its creation to its end. The algorithm exists once in a process, so
// there is one object of this class at a time.
class Plugin {
 public:
    // Opens the file and creates the algorithm. Throws PluginError.
    explicit Plugin(const std::filesystem::path& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // Replaces the algorithm by a new one, which knows no calibration and has begun no frame. Throws
    // PluginError.
    void startAnew();

    // Hands over one packet. True if it made the algorithm start. Throws PluginError.
    bool process(std::span<const std::uint8_t> packet, bool fromCustomPin = false);

    // The packet that the latest call to `process` left, in the short or the long form; empty if it left
    // none. Throws PluginError.
    std::vector<std::uint8_t> result(bool shortForm);

    std::string name() const;
    std::string version() const;  // major.minor.patch
    std::string lastMessage() const;
    // The definitions of the records that it exchanges with its hosts, in the order of their names; none from
    // a plug-in that does not give them.
    std::vector<std::vector<std::uint8_t>> definitions() const;
    const std::filesystem::path& path() const { return path_; }

 private:
    struct Functions;
    struct Library;

    std::filesystem::path path_;
    std::unique_ptr<Library> library_;
    std::unique_ptr<Functions> functions_;
};

}  // namespace plugin
