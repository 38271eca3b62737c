#include "bench/ChildProcess.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#ifdef __APPLE__
#include <mach-o/dyld.h>
#include <sys/resource.h>
#endif

namespace orvel::bench {

std::string outputOf(const std::vector<std::string>& command) {
    std::string line;
    for (const auto& word : command) line += '\'' + word + "' ";
    auto* child = popen(line.c_str(), "r");
    if (!child) throw std::runtime_error("cannot run " + line);
    std::string output;
    std::array<char, 4096> piece{};
    while (const auto got = std::fread(piece.data(), 1, piece.size(), child))
        output.append(piece.data(), got);
    if (pclose(child) != 0) throw std::runtime_error("failed: " + line);
    return output;
}

#ifdef __APPLE__

std::string thisProgram() {
    std::array<char, 4096> path{};
    auto size = static_cast<std::uint32_t>(path.size());
    _NSGetExecutablePath(path.data(), &size);
    return path.data();
}

double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss);
}

#else

std::string thisProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

// The figure of getrusage would count what the parent held before the program began.
double peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string key; status >> key;) {
        double kilobytes = 0;
        if (key == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
    }
    throw std::runtime_error("The system does not say how much memory was held.");
}

#endif

} // namespace orvel::bench
