#pragma once
// What ClaudeWindowReader finds on a page of Claude's window: its editor and the controls around it.

#include "Orvel/desktop/Accessibility.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <optional>
#include <string>

namespace orvel {

/// A page at one moment. Only ClaudeWindowReader takes snapshots.
struct ClaudeSnapshot {
    AXElement window;         ///< The focused one of Claude, which was in front.
    AXElement page;           ///< The only web area of the path.
    AXElements responseNodes; ///< Those that said that Claude is responding.
    AXElement editor;         ///< The only prompt editor.
    std::string text;         ///< What it holds.
    std::optional<AXElement> sendButton;
    std::optional<bool> sendEnabled; ///< Absent if there is no button or its state could not be read.
    DiagnosticText sendEnabledDiagnostic;
    bool hasAttachment = false;
    bool isResponding = false;
    DiagnosticText diagnostics; ///< Lines about the editor's ancestors, if they were requested.
    /// Where the editor was in the walk over the page: its parent first, the page last. A hint, not a proof.
    AXElements ancestors;

    /// Whether the editor holds anything but White_Space.
    bool hasText() const;
    /// Whether there is nothing that somebody could lose: no text, no attachment, no reply in progress. In
    /// this editor a Send button exists only with a draft.
    bool isIdle() const;
    /// Whether the editor holds this message, and the page and editor are those of an earlier snapshot,
    /// without an attachment or a reply in progress.
    bool holdsOnly(const std::string& message, const ClaudeSnapshot& earlier) const;
    /// Whether Send can be pressed. Throws RelaySendError if the button's state could not be read.
    bool canSend() const;

  private:
    friend class ClaudeWindowReader;

    ClaudeSnapshot(AXElement window, AXElement page, AXElements responseNodes, AXElement editor,
                   std::string text)
        : window(std::move(window)),
          page(std::move(page)),
          responseNodes(std::move(responseNodes)),
          editor(std::move(editor)),
          text(std::move(text)) {}
};

/// What to take a snapshot of.
struct ClaudeSnapshotRequest {
    std::string path;
    bool diagnosticDetails = false;
    std::optional<AXElement> expectedWindow, expectedPage, expectedEditor;
    bool rejectNonEmpty = false; ///< Fails as soon as the editor turns out to hold text.
};

} // namespace orvel
