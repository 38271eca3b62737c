#pragma once
// Child processes on a POSIX system, by fork and exec.

#include "Orvel/desktop/Processes.h"
#include "Orvel/platform/posix/DescriptorWatcher.h"
#include "Orvel/runtime/MainLoop.h"

namespace orvel {

/// Each child leads a process group of its own, which is killed with it; what is to live on leaves the group.
/// On Linux a child is also killed when the thread that started it ends, however it ends: the main loop's.
class PosixProcesses : public Processes {
  public:
    /// `descriptors` waits on `loop`. Both outlive this object, its children and their watches.
    PosixProcesses(MainLoop& loop, DescriptorWatcher& descriptors) : loop(loop), descriptors(descriptors) {}

    std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) override;
    bool isExecutable(const std::string& path) override;
    std::optional<std::string> environmentVariable(const std::string& name) override;

  private:
    MainLoop& loop;
    DescriptorWatcher& descriptors;
};

} // namespace orvel
