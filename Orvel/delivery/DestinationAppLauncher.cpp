#include "Orvel/delivery/DestinationAppLauncher.h"

#include "OrvelCore/commands/ReturnDecision.h"

namespace orvel {

Task<DestinationAppLauncher::Outcome> DestinationAppLauncher::open(Applications& applications, Agent agent) {
    const auto location = applications.location(std::string(OrvelCommandPolicy::bundleID(agent)));
    if (!location) co_return Outcome::notInstalled;
    const bool isRunning = co_await applications.openApplication(*location);
    co_return isRunning ? Outcome::opened : Outcome::failed;
}

} // namespace orvel
