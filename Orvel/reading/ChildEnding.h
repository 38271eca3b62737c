#pragma once
// Ends a child process that is no longer needed.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

namespace orvel {

/// Asks the child to end, and kills it if it is still running after a second. The child outlives the task.
Task<void> endChild(MainLoop& loop, ChildProcess& child);

} // namespace orvel
