#pragma once
// How a child that is no longer wanted is ended.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

namespace orvel {

/// Asks the child to end and waits for it; after a second it is killed. The child outlives the task.
Task<void> endChild(MainLoop& loop, ChildProcess& child);

} // namespace orvel
