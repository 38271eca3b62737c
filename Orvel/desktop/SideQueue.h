#pragma once
// A thread beside the main loop on which somebody may wait, but only so long.

#include "Orvel/runtime/MainLoop.h"

#include <functional>

namespace orvel {

/// Runs one piece of work after the other. Destroying it waits for the one that runs and drops the others.
class SideQueue {
  public:
    virtual ~SideQueue() = default;

    /// Has the work run on the other thread and waits for its end, holding this thread, for at most
    /// `maximumWait`. False if that passed; the work goes on all the same, and whoever asked may be gone
    /// before it ends. So it holds only copies, and shares of what any thread may use; no references. It lets
    /// no exception out.
    virtual bool run(std::function<void()> work, MainLoop::Duration maximumWait) = 0;
};

} // namespace orvel
