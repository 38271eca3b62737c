#include "samples/SampleCodexProgram.h"

#include "OrvelCore/files/FilePath.h"

#include <filesystem>
#include <initializer_list>
#include <system_error>

#include <unistd.h>

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace orvel {

namespace {

// Empty if the system does not tell.
std::string runningProgram() {
#ifdef __APPLE__
    std::string path(4096, '\0');
    auto size = static_cast<std::uint32_t>(path.size());
    if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
    path.resize(path.find('\0'));
#else
    const std::string path = "/proc/self/exe";
#endif
    std::error_code failure;
    return std::filesystem::canonical(path, failure).string();
}

} // namespace

std::optional<std::string> sampleCodexProgram() {
    const auto program = runningProgram();
    if (program.empty()) return std::nullopt;
    const std::string folder(parentFolder(program));
    for (const auto* place : {".", "..", ORVEL_TOOLS_FROM_PROGRAMS}) {
        auto path = standardizedPath(folder + '/' + place + "/orvel-sample-codex");
        if (access(path.c_str(), X_OK) == 0) return path;
    }
    return std::nullopt;
}

} // namespace orvel
