#pragma once
// Moves the Claude application from the conversation that it shows to the destination, if what the person has
// typed there would surely survive.

#include "Orvel/accessibility/GoogleIMEWindowReader.h"
#include "Orvel/delivery/ClaudeWindowReading.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvel {

/// The state of the input method at an editor.
struct NavigationInput {
    enum class Composition { none, unconfirmed, requiresCandidateCheck };

    std::optional<std::string> sourceID, mode, type;
    MarkedTextEvidence marked = MarkedTextEvidence::unavailable;
    Composition composition = Composition::unconfirmed;
    std::optional<std::int64_t> selectionLocation, selectionLength; ///< Where candidates must be checked.

    bool operator==(const NavigationInput&) const = default;
};

/// The ports, the reading and the history outlive the object, and this its tasks.
class ClaudeNavigation {
  public:
    ClaudeNavigation(const ClaudePorts& ports, ClaudeWindowReading& reading,
                     ClaudeRelayDiagnosticHistory& history)
        : ports(ports),
          navigationWindowReader(ports.loop, ports.windows, ports.queue),
          reading(reading),
          history(history) {}

    /// The window in which the conversation's page then stands. Throws RelaySendError; the destination was
    /// not touched, so a retry is safe.
    Task<AXElement> navigateToConversation(std::string desktopSessionID);

  private:
    // What was seen of the source before.
    struct Source {
        ClaudeSnapshot snapshot;
        std::string path;
        AXElement window;
        NavigationInput input;
    };
    struct Route {
        AXElement window;
        std::string path;
    };

    Task<AXElement> navigate(std::string desktopSessionID);
    Task<Route> sourceRoute();
    Task<std::optional<Route>> readRoute(std::optional<AXElement>& window);
    Task<AXElement> waitForPage(const Source& source, std::string targetPath);
    Task<std::optional<AXElement>> arrival(const Source& source, std::string targetPath);
    Task<bool> sourceStays(const Source& source);
    Task<void> verifyNavigationSource(const Source& source);
    Task<void> checkCandidates(const Source& source);
    Task<bool> agrees(const Source& source, ClaudeSnapshot fresh);
    Task<ClaudeSnapshot> refreshNavigationComposer(ClaudeSnapshot snapshot, AXElement window,
                                                   std::string path);
    Task<NavigationInput> navigationInput(ClaudeSnapshot snapshot);
    MarkedTextEvidence markedText(const AXElement& editor);
    AXRange selection(const AXElement& editor);

    ClaudePorts ports;
    GoogleIMEWindowReader navigationWindowReader;
    ClaudeWindowReading& reading;
    ClaudeRelayDiagnosticHistory& history;
};

} // namespace orvel
