#pragma once
// The child processes of a sample: it finds and starts only its own tools, whatever is installed on the
// machine, so that nothing ever reaches a person's conversations.

#include "Orvel/desktop/Processes.h"

namespace orvel {

class SampleProcesses : public Processes {
  public:
    /// `system` outlives this object. The tools in `toolFolder` are all that exists; `codexHome` is what
    /// CODEX_HOME says to them.
    SampleProcesses(Processes& system, std::string toolFolder, std::string codexHome);

    /// Throws ProcessError also for a program outside the folder.
    std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) override;
    std::size_t longestArgument() override { return system.longestArgument(); }
    bool isExecutable(const std::string& path) override;
    bool isRunning(ProcessID process, const std::string& startMark) override;
    std::optional<std::string> environmentVariable(const std::string& name) override;

  private:
    bool isTool(const std::string& path) const;

    Processes& system;
    std::string toolFolder, codexHome;
};

} // namespace orvel
