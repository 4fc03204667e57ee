// SPDX-License-Identifier: Apache-2.0

#include "plugin/Plugin.h"

#include <dlfcn.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <limits>
#include <system_error>
#include <utility>

#include "QorPlugin.h"
#include "plugin/HostSettings.h"

namespace plugin {
namespace {

// The name of the interface: another version of it has another number.
constexpr const char* fileName = "libqor.so." QOR_INTERFACE_VERSION;

std::string ownWords(const char* text) {
    return text != nullptr && *text != '\0' ? text : "no reason was given";
}

// The linker's message begins with the path, but the sentence names it already.
std::string openingFailure(const std::string& path) {
    const char* const error = dlerror();
    std::string reason = error == nullptr ? "no reason was given" : error;
    if (reason.starts_with(path + ": ")) {
        reason.erase(0, path.size() + 2);
    }
    return reason;
}

bool standardOutputStays = false;

std::vector<std::filesystem::path>& namedFolders() {
    static std::vector<std::filesystem::path> folders;
    return folders;
}

// While it lives, a plug-in's printed text goes to standard error:
// standard output belongs to the host.
class GuestOutput {
 public:
    GuestOutput() {
        if (standardOutputStays) {
            return;
        }
        std::fflush(stdout);
        own_ = dup(STDOUT_FILENO);
        if (own_ != -1) {
            dup2(STDERR_FILENO, STDOUT_FILENO);
        }
    }
    ~GuestOutput() {
        if (standardOutputStays) {
            return;
        }
        if (std::fflush(stdout) != 0) {  // nobody reads it; it must not reach the host's output
            __fpurge(stdout);
            std::clearerr(stdout);
        }
        if (own_ != -1) {
            dup2(own_, STDOUT_FILENO);
            close(own_);
        }
    }
    GuestOutput(const GuestOutput&) = delete;
    GuestOutput& operator=(const GuestOutput&) = delete;

 private:
    int own_ = -1;
};

template <typename Work>
auto guarded(const char* what, Work work) {
    const GuestOutput redirected;
    try {
        return work();
    } catch (const std::exception& error) {
        throw PluginError(std::string("The plug-in failed to ") + what + ": " + ownWords(error.what()) + ".");
    } catch (...) {
        throw PluginError(std::string("The plug-in failed to ") + what + ".");
    }
}

}  // namespace

struct Plugin::Functions {
    decltype(&::createAlgo) createAlgo = nullptr;
    decltype(&::clearAlgo) clearAlgo = nullptr;
    decltype(&::processZelta) processZelta = nullptr;
    decltype(&::getRequiredOutputSize) getRequiredOutputSize = nullptr;
    decltype(&::packResult) packResult = nullptr;
    decltype(&::getAlgoVersion) getAlgoVersion = nullptr;
    decltype(&::lastMessage) lastMessage = nullptr;
    decltype(&::prettyName) prettyName = nullptr;
    decltype(&::lastExceptionMessage) lastExceptionMessage = nullptr;
};

struct Plugin::Library {
    explicit Library(const std::filesystem::path& path) {
        // Without a folder in its name the linker would search for the file elsewhere.
        const std::filesystem::path file = path.has_parent_path() ? path : "." / path;
        handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            throw PluginError("Cannot open the plug-in " + path.string() + ": " +
                              openingFailure(file.string()) + ".");
        }
    }
    ~Library() { dlclose(handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <typename Function>
    void find(const std::filesystem::path& path, const char* name, Function*& function) const {
        function = reinterpret_cast<Function*>(dlsym(handle, name));
        if (function == nullptr) {
            throw PluginError(path.string() + " is no plug-in: it has no function " + name + ".");
        }
    }

    void* handle = nullptr;
};

void searchPluginIn(std::vector<std::filesystem::path> folders) {
    namedFolders() = std::move(folders);
}

void keepStandardOutput() {
    standardOutputStays = true;
}

std::filesystem::path defaultPlugin() {
    std::error_code error;
    const std::filesystem::path command = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path folder = command.parent_path();
    std::vector<std::filesystem::path> folders = namedFolders();
    if (folders.empty()) {
        folders = {folder, folder / QOR_LIBRARY_FOLDER, folder / "../lib", folder / "../../lib"};
    }
    std::string tried;
    for (const std::filesystem::path& place : folders) {
        const std::filesystem::path plain = (place / fileName).lexically_normal();
        if (std::filesystem::exists(plain, error)) {
            return plain;
        }
        tried += (tried.empty() ? "" : ", ") + plain.string();
    }
    throw PluginError("There is no plug-in at " + tried + "; name it with --plugin.");
}

Plugin::Plugin(const std::filesystem::path& path) : path_(path) {
    library_ = std::make_unique<Library>(path);
    functions_ = std::make_unique<Functions>();
    library_->find(path, "createAlgo", functions_->createAlgo);
    library_->find(path, "clearAlgo", functions_->clearAlgo);
    library_->find(path, "processZelta", functions_->processZelta);
    library_->find(path, "getRequiredOutputSize", functions_->getRequiredOutputSize);
    library_->find(path, "packResult", functions_->packResult);
    library_->find(path, "getAlgoVersion", functions_->getAlgoVersion);
    library_->find(path, "lastMessage", functions_->lastMessage);
    library_->find(path, "prettyName", functions_->prettyName);
    library_->find(path, "lastExceptionMessage", functions_->lastExceptionMessage);
    startAnew();
}

Plugin::~Plugin() {
    const GuestOutput redirected;
    functions_->clearAlgo();
}

void Plugin::startAnew() {
    guarded("start", [this] { functions_->createAlgo(); });
}

bool Plugin::process(std::span<const std::uint8_t> packet, bool fromCustomPin) {
    if (packet.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw PluginError("A packet has at most 2147483647 bytes.");
    }
    return guarded("process the packet", [&] {
        std::int32_t exceptionOccured = 0;
        const std::int32_t started =
            functions_->processZelta(packet.data(), static_cast<std::int32_t>(packet.size()),
                                     fromCustomPin ? 1 : 0, &exceptionOccured);
        if (exceptionOccured != 0) {
            throw std::runtime_error(ownWords(functions_->lastExceptionMessage()));
        }
        return started != 0;
    });
}

std::vector<std::uint8_t> Plugin::result(bool shortForm) {
    return guarded("pack its result", [&] {
        const std::int32_t size = functions_->getRequiredOutputSize(shortForm ? 1 : 0);
        if (size < 0) {
            throw std::runtime_error("it has no size");
        }
        std::vector<std::uint8_t> packet(static_cast<std::size_t>(size));
        if (size > 0 && functions_->packResult(packet.data(), size) != 0) {
            throw std::runtime_error("packResult refuses the size that it asked for");
        }
        return packet;
    });
}

std::string Plugin::name() const {
    return ownWords(functions_->prettyName());
}

std::string Plugin::version() const {
    AlgoVersion version{};
    functions_->getAlgoVersion(&version);
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

std::vector<std::vector<std::uint8_t>> Plugin::definitions() const {
    std::vector<std::vector<std::uint8_t>> found;
    for (const char* const record :
         {"QorDICIAuxiliaryParam", "QorDICIError", "QorDistanceImageCalib", "QorDistanceImageCustomization",
          "QorDistanceImageDebug", "QorDistanceImageIFCalib", "QorDistanceImageIFInput",
          "QorDistanceImageIFOutput", "QorDistanceImageInOut", "QorDistanceImageInput",
          "QorDistanceImageOutput", "QorDistanceImageParam", "QorDistanceImageProfiling",
          "QorDistanceImageState", "QorRawPhaseData"}) {
        using Getter = void (*)(const void**, unsigned int*);
        const auto getter =
            reinterpret_cast<Getter>(dlsym(library_->handle, (std::string("zeltaGet_") + record).c_str()));
        if (getter != nullptr) {
            const void* definition = nullptr;
            unsigned int size = 0;
            getter(&definition, &size);
            const auto* const bytes = static_cast<const std::uint8_t*>(definition);
            found.emplace_back(bytes, bytes + size);
        }
    }
    return found;
}

std::string Plugin::lastMessage() const {
    const char* const text = functions_->lastMessage();
    return text == nullptr ? "" : text;
}

}  // namespace plugin
