#pragma once
// What stands in the window of the Claude application, read from its accessibility tree: which Code
// conversation it shows, and its editor with the controls around it. A shape that is not known is a failure.

#include "Orvel/accessibility/Pace.h"
#include "Orvel/delivery/ClaudePorts.h"
#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/runtime/Task.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What the user is told where nothing more is known than that something is not as it should be.
inline constexpr const char* claudeEditorUnverified =
    "Couldn't verify the Claude Code editor. Check input state and transfer attempt records.";

/// The value of an element of the page while a reply is in progress.
inline constexpr std::string_view respondingText = "Claude is responding";

/// What may name a button, in the order in which it is read.
inline constexpr std::array<std::string_view, 3> labelAttributes{"AXTitle", "AXDescription", "AXHelp"};

/// One consistent reading of a page.
struct ClaudeSnapshot {
    AXElement page;           ///< The only web area of the path.
    AXElements responseNodes; ///< Those that said that Claude is responding.
    AXElement editor;         ///< The only prompt editor.
    std::string text;         ///< What it holds.
    std::optional<AXElement> sendButton;
    std::optional<bool> sendEnabled; ///< Absent if there is no button or it could not be read.
    DiagnosticText sendEnabledDiagnostic;
    bool hasAttachment = false;
    bool isResponding = false;
    DiagnosticText diagnostics; ///< Lines about the editor's ancestors, in diagnostic readings.
    /// Where the editor stood in the walk over the page: its parent first, the page last. A hint, no proof.
    AXElements ancestors;

    /// Whether the editor holds anything but White_Space.
    bool hasText() const;
    /// Whether there is nothing that somebody could lose: no text, no attachment, no reply in progress. In
    /// this editor a Send button exists only with a draft.
    bool isIdle() const;
};

/// What a snapshot is to be of.
struct ClaudeSnapshotRequest {
    std::string path;
    bool diagnosticDetails = false;
    std::optional<AXElement> expectedWindow, expectedPage, expectedEditor;
    bool rejectNonEmpty = false; ///< Ends the reading where the editor turns out to hold text.
};

/// Reads for one delivery after the other, gives way to the loop between reads, and notes counts and failures
/// in the attempt under way. Reading fails with ClaudeAXReadFailure, and with RelaySendError where the shape
/// is not the known one. The ports and the history outlive the object, and this its tasks.
class ClaudeWindowReading {
  public:
    static constexpr std::size_t windowLimit = 4000, composerLimit = 100,
                                 diagnosticLimit = 300; ///< Elements.
    /// The level of the composer among the editor's ancestors; the parent has level 1.
    static constexpr std::size_t composerLevel = 5;
    static constexpr std::chrono::milliseconds applicationTimeout{150}, elementTimeout{100};

    ClaudeWindowReading(const ClaudePorts& ports, ClaudeRelayDiagnosticHistory& history)
        : accessibility(ports.accessibility),
          applications(ports.applications),
          history(history),
          pace(ports.loop) {}

    /// The focused window of Claude, which must be in front.
    AXElement focusedClaudeWindow();

    /// Throws RelaySendError unless that is still the focused window of Claude.
    void requireWindow(const AXElement& window);

    /// The path of the Code page that the window shows; nothing if it shows none.
    Task<std::optional<std::string>> currentCodePagePath(std::optional<AXElement> expectedWindow);

    /// Reads the page of the path. Throws also RouteSnapshotMismatch.
    Task<ClaudeSnapshot> snapshot(ClaudeSnapshotRequest request);

    /// Reads the controls around an editor whose page, response nodes and text were read before.
    Task<ClaudeSnapshot> composerSnapshot(AXElement editor, AXElement page, AXElements responseNodes,
                                          std::string text, bool diagnosticDetails);

    /// The elements with this role among `root` and its descendants.
    Task<AXElements> elementsOfRole(AXElement root, std::string role, std::size_t limit);

    /// The labels of a button.
    Task<std::vector<std::string>> labels(AXElement button);

    /// The value of an attribute, or none. Throws ClaudeAXReadFailure.
    AXValue checkedAttribute(const AXElement& element, std::string_view attribute);
    /// The same if it is a string; any other value counts as none.
    std::optional<std::string> checkedString(const AXElement& element, std::string_view attribute);
    /// The same if it is an element.
    std::optional<AXElement> checkedElement(const AXElement& element, std::string_view attribute);
    /// The same if it is a URL or a string that is one.
    std::optional<std::string> checkedURL(const AXElement& element);

    using ReadAheads = std::vector<std::unique_ptr<AXReadAhead>>;
    /// Tells the platform that these attributes of each element are about to be read, once.
    [[nodiscard]] ReadAheads announce(std::span<const AXElement> elements,
                                      std::span<const std::string_view> names);

    /// Gives way to the loop where it is time to: `co_await reading.step()` before a read.
    auto step() { return pace.step(); }

  private:
    struct Node {
        AXElement element;
        std::string role;
        std::size_t parent; ///< Its place among the nodes; the root is its own.
    };

    AXElement focusedWindow(ProcessID process);
    Task<std::vector<Node>> descendants(AXElement root, std::size_t limit);
    Task<AXElement> pageOf(AXElement window, std::string path);
    Task<AXElement> editorOf(const std::vector<Node>& page);
    static AXElements ancestorsOf(const AXElement& editor, const std::vector<Node>& page);
    Task<AXElements> responseNodesOf(AXElement page, const std::vector<Node>& nodes, AXElement editor,
                                     std::string text);
    Task<std::optional<DiagnosticText>> ancestorLine(std::size_t level, AXElement ancestor,
                                                     std::optional<std::string> role);
    Task<AXElement> composerRoot(AXElement editor, bool diagnosticDetails, DiagnosticText& diagnostics);
    Task<void> readControls(AXElement root, ClaudeSnapshot& snapshot);
    Task<bool> stillResponds(AXElements responseNodes);
    void readSendEnabled(ClaudeSnapshot& snapshot);

    Accessibility& accessibility;
    Applications& applications;
    ClaudeRelayDiagnosticHistory& history;
    Pace pace;
};

/// Throws RelaySendError with the message, or with that of the editor that could not be verified, unless the
/// condition holds.
void requireClaude(bool holds, const char* otherwise = claudeEditorUnverified);

} // namespace orvel
