#pragma once
// The way into the Claude application that a program has: a sample's own application, else what this system
// offers.

#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/platform/posix/Places.h"
#include "Orvel/platform/sample/SampleClaude.h"
#include "Orvel/platform/unavailable/UnavailableUserInterfaces.h"

#include <optional>

namespace orvel {

/// Belongs to the loop's thread.
class ClaudeAccess {
  public:
    /// The loop and the applications outlive this object.
    ClaudeAccess(MainLoop& loop, Applications& applications, const Places& places);

    ClaudeRelaySender& sender() { return desktopSender; }

  private:
    ClaudePorts ports(MainLoop& loop, Applications& applications, const Places& places);

    std::optional<SampleClaude> sample;
    UnavailableAccessibility accessibility;
    UnavailableInputSources inputSources;
    UnavailableWindowList windows;
    UnavailableSideQueue queue;
    ClaudeRelayDiagnosticHistory history;
    ClaudeDesktopRelaySender desktopSender;
};

} // namespace orvel
