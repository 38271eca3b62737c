#include "Orvel/platform/sample/SampleProcesses.h"

#include "OrvelCore/files/FilePath.h"

namespace orvel {

SampleProcesses::SampleProcesses(Processes& system, std::string newToolFolder, std::string newCodexHome)
    : system(system), toolFolder(std::move(newToolFolder)), codexHome(std::move(newCodexHome)) {}

std::unique_ptr<ChildProcess> SampleProcesses::start(const ChildLaunch& launch) {
    if (!isTool(launch.executable))
        throw ProcessError(ProcessError::Case::launchFailed,
                           "A sample starts only its own tools, not “" + launch.executable + "”.");
    auto own = launch;
    own.environment["CODEX_HOME"] = codexHome;
    return system.start(own);
}

bool SampleProcesses::isExecutable(const std::string& path) {
    return isTool(path) && system.isExecutable(path);
}

bool SampleProcesses::isRunning(ProcessID process, const std::string& startMark) {
    return system.isRunning(process, startMark);
}

std::optional<std::string> SampleProcesses::environmentVariable(const std::string& name) {
    if (name == "PATH") return toolFolder;
    if (name == "CODEX_HOME") return codexHome;
    return system.environmentVariable(name);
}

bool SampleProcesses::isTool(const std::string& path) const {
    const auto standardized = standardizedPath(path);
    return parentFolder(standardized) == toolFolder;
}

} // namespace orvel
