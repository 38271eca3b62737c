#include "Orvel/platform/linux/ChildOutput.h"

#include "OrvelCore/files/FilePath.h"

#include <array>
#include <memory>
#include <sstream>
#include <utility>

namespace orvel {

std::optional<std::string> programInPath(Processes& processes, const std::string& name) {
    std::istringstream folders(processes.environmentVariable("PATH").value_or("/usr/bin:/bin"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        auto path = joinedPath(folder, name);
        if (folder.starts_with('/') && processes.isExecutable(path)) return path;
    }
    return std::nullopt;
}

Task<std::optional<std::string>> childOutput(MainLoop& loop, Processes& processes, std::string program,
                                             std::vector<std::string> arguments) {
    constexpr std::chrono::milliseconds interval{10};
    const auto path = programInPath(processes, program);
    if (!path) co_return std::nullopt;
    std::unique_ptr<ChildProcess> child;
    try {
        child = processes.start({.executable = *path,
                                 .arguments = std::move(arguments),
                                 .environment = {{"LC_ALL", "C"}},
                                 .hasPipes = true});
    } catch (const ProcessError&) {
        co_return std::nullopt;
    }
    std::string text;
    std::array<char, 4096> piece{};
    const auto end = loop.uptime() + childPatience;
    bool isOpen = true;
    while (loop.uptime() < end && text.size() <= childOutputLimit) {
        const auto transfer = isOpen ? child->read(piece) : PipeTransfer{};
        if (transfer.kind == PipeTransfer::Kind::moved) {
            text.append(piece.data(), transfer.count);
            continue;
        }
        isOpen = isOpen && transfer.kind != PipeTransfer::Kind::finished;
        const auto status = isOpen ? std::nullopt : child->exitStatus();
        if (status) co_return *status == 0 ? std::optional(std::move(text)) : std::nullopt;
        co_await loop.sleep(interval);
    }
    child->kill();
    co_return std::nullopt;
}

} // namespace orvel
