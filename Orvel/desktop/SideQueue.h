#pragma once
// A thread beside the main loop on which somebody may wait, but only so long.

#include "Orvel/runtime/MainLoop.h"

#include <functional>

namespace orvel {

/// Runs one piece of work after the other. Destroying it waits for the one that runs.
class SideQueue {
  public:
    virtual ~SideQueue() = default;

    /// Has the work run on the other thread and waits for its end, holding this thread, for at most
    /// `maximumWait`. False if that time passed; the work runs to its end all the same. It lets no exception
    /// out and shares with this thread only what is safe to share.
    virtual bool run(std::function<void()> work, MainLoop::Duration maximumWait) = 0;
};

} // namespace orvel
