#pragma once
// Navigates the Claude application from the conversation it shows to the destination, provided that what the
// person has typed there certainly survives.

#include "Orvel/accessibility/GoogleIMEWindowReader.h"
#include "Orvel/delivery/ClaudeWindowReader.h"
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
    std::optional<std::int64_t> selectionLocation, selectionLength; ///< If candidates must be checked.

    bool operator==(const NavigationInput&) const = default;
};

/// The ports, the reader and the history outlive the object, and the object outlives its tasks.
class ClaudeNavigation {
  public:
    ClaudeNavigation(const Desktop& ports, ClaudeWindowReader& reader, ClaudeRelayDiagnosticHistory& history)
        : ports(ports),
          navigationWindowReader(ports.loop, ports.windows, ports.sideQueue),
          reader(reader),
          history(history) {}

    /// The window that then shows the conversation. Throws RelaySendError; a retry is safe, since the
    /// destination was not touched.
    Task<AXElement> navigateToConversation(std::string desktopSessionID);

  private:
    // The conversation that was shown before.
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

    Desktop ports;
    GoogleIMEWindowReader navigationWindowReader;
    ClaudeWindowReader& reader;
    ClaudeRelayDiagnosticHistory& history;
};

} // namespace orvel
