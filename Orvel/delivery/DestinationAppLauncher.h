#pragma once
// Brings an agent's application to the front.

#include "Orvel/desktop/Applications.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/Agent.h"

namespace orvel::DestinationAppLauncher {

enum class Outcome { opened, notInstalled, failed };

/// Launches or activates the agent's application. Doesn't throw. The port outlives the task.
Task<Outcome> open(Applications& applications, Agent agent);

} // namespace orvel::DestinationAppLauncher
