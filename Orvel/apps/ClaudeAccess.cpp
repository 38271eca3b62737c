#include "Orvel/apps/ClaudeAccess.h"

namespace orvel {

ClaudeAccess::ClaudeAccess(MainLoop& loop, Applications& applications, const Places& places)
    : desktopSender(ports(loop, applications, places), history, places.folders) {}

ClaudePorts ClaudeAccess::ports(MainLoop& loop, Applications& applications, const Places& places) {
    if (!places.toolFolder) return {loop, accessibility, applications, inputSources, windows, queue};
    auto& screen = sample.emplace(loop, places.folders).screen();
    return {loop,           screen.accessibility, screen.applications, screen.inputSources,
            screen.windows, screen.sideQueue};
}

} // namespace orvel
