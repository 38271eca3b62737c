#pragma once
// Reads the window of the Claude application from its accessibility tree: which Code conversation it shows,
// and its editor with the controls around it. An unknown structure is a failure.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "Orvel/accessibility/AccessibilityWalk.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/delivery/ClaudeSnapshot.h"
#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What a last look found. Both must hold.
struct ClaudeLastLook {
    bool isSameWindow = false, isSameText = false;
};

/// The value of an element of the page while a reply is in progress.
inline constexpr std::string_view respondingText = "Claude is responding";

/// Serves one delivery at a time, and notes counts and failures in the attempt under way. Throws
/// ClaudeAXReadFailure, and RelaySendError where the structure is not the known one. The ports and the
/// history outlive the object, and the object outlives its tasks.
class ClaudeWindowReader {
  public:
    static constexpr std::size_t maximumWindowElements = 4000, maximumComposerElements = 100,
                                 maximumDiagnosticElements = 300;
    /// The level of the composer among the editor's ancestors; the parent has level 1.
    static constexpr std::size_t composerLevel = 5;
    static constexpr std::chrono::milliseconds applicationTimeout{150}, elementTimeout{100};
    /// Less than lies between two letters of the fastest typist. One look in fifty takes longer at the
    /// latencies of an ordinary desktop.
    static constexpr std::chrono::milliseconds maximumLookAge{5};
    static constexpr int maximumLooks = 8;

    ClaudeWindowReader(const Desktop& ports, ClaudeRelayDiagnosticHistory& history);

    /// The focused window of Claude, which must be in the foreground.
    AXElement focusedClaudeWindow();

    /// Throws RelaySendError unless this is still the focused window of Claude.
    void requireWindow(const AXElement& window);

    /// The path of the Code page that Claude shows; nothing if it shows none.
    Task<std::optional<std::string>> currentCodePagePath(std::optional<AXElement> expectedWindow);

    /// Takes a snapshot of the page with the requested path. Also throws RouteSnapshotMismatch.
    Task<ClaudeSnapshot> snapshot(ClaudeSnapshotRequest request);

    /// Takes a snapshot of the controls around an editor whose page, response nodes and text are known.
    Task<ClaudeSnapshot> composerSnapshot(AXElement window, AXElement editor, AXElement page,
                                          AXElements responseNodes, std::string text, bool diagnosticDetails);

    /// The last look before an act: whether Claude is still in front with the snapshot's window focused, and
    /// its editor still holds the snapshot's text. However large the page is, what this saw is at most
    /// `maximumLookAge` old when it returns, unless so many looks in a row take longer that the calls
    /// themselves are slow. The act follows without a pause.
    Task<ClaudeLastLook> lastLook(ClaudeSnapshot snapshot);

    /// The elements with this role among `root` and its descendants.
    Task<AXElements> elementsOfRole(AXElement root, std::string role);

    /// The labels of a button.
    Task<std::vector<std::string>> labels(AXElement button);

    /// The URL of an element, or the string that is one; nothing for anything else.
    std::optional<std::string> url(const AXElement& element) const;

    /// The reads of single attributes. They throw ClaudeAXReadFailure.
    AccessibilityReads& attributes() { return reads; }

    /// Pauses for the loop when it is time to: `co_await reader.step()` before a read.
    auto step() { return reads.step(); }

  private:
    using Nodes = AccessibilityWalk::Nodes;

    RunningApplication claudeInFront();
    AXElement applicationElement(ProcessID process);
    AXElement focusedWindow(ProcessID process);
    Task<Nodes> descendants(AXElement root, std::size_t maximumElements);
    Task<AXElement> pageOf(AXElement window, std::string path);
    Task<AXElement> editorOf(const Nodes& page);
    Task<AXElements> responseNodesOf(AXElement page, const Nodes& nodes, AXElement editor, std::string text);
    Task<std::optional<DiagnosticText>> ancestorLine(std::size_t level, AXElement ancestor,
                                                     std::optional<std::string> role);
    Task<AXElement> composerRoot(AXElement editor, bool diagnosticDetails, DiagnosticText& diagnostics);
    Task<void> readControls(AXElement root, ClaudeSnapshot& snapshot);
    Task<bool> stillResponds(AXElements responseNodes);
    void readSendEnabled(ClaudeSnapshot& snapshot);

    MainLoop& loop;
    Accessibility& accessibility;
    Applications& applications;
    ClaudeRelayDiagnosticHistory& history;
    AccessibilityReads reads;
};

} // namespace orvel
