#pragma once
// Child processes on a POSIX system, by fork and exec.

#include "Orvel/desktop/Processes.h"
#include "Orvel/platform/posix/DescriptorWatcher.h"
#include "Orvel/runtime/MainLoop.h"

#include <map>

namespace orvel {

/// Each child leads a process group of its own, which is killed with it. What a child leaves running that has
/// ended by itself goes on. On Linux a child is also killed when the thread that started it ends, however it
/// ends: the main loop's. An unattended child leads a session of its own, and none of this ends it.
class PosixProcesses : public Processes {
  public:
    /// Variables by name.
    using Environment = std::map<std::string, std::string>;

    /// `descriptors` waits on `loop`. Both outlive this object, its children and their watches. What
    /// `environment` holds stands before this process's own variables.
    PosixProcesses(MainLoop& loop, DescriptorWatcher& descriptors, Environment environment = {})
        : loop(loop), descriptors(descriptors), environment(std::move(environment)) {}

    std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) override;
    std::size_t longestArgument() override;
    bool isExecutable(const std::string& path) override;
    bool isRunning(ProcessID process, const std::string& startMark) override;
    std::optional<std::string> environmentVariable(const std::string& name) override;

  private:
    MainLoop& loop;
    DescriptorWatcher& descriptors;
    Environment environment;
};

} // namespace orvel
