#pragma once
// Tells which conversation a command stands in that was typed in Codex. Nothing in Codex's window says so,
// but its own command copies the conversation's address: it is asked for twice, and both times it must name
// the same conversation, while everything in the window stays as it was. The clipboard gets back what it
// held.

#include "Orvel/monitor/CaptureFailure.h"
#include "Orvel/monitor/CapturedReturn.h"
#include "Orvel/monitor/ConversationClipboardCapture.h"
#include "Orvel/monitor/EditorNeeds.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

class EventPosting;
class Pasteboard;

/// The conversation that Codex itself has named.
struct IdentifiedCodex {
    ConversationReference reference;
    DiagnosticText route; ///< How that went, for diagnostics.
};

/// What an identification works with; all of it outlives it.
struct CodexIdentificationNeeds : EditorNeeds {
    Accessibility& accessibility;
    EventPosting& eventPosting;
    Pasteboard& pasteboard;
    std::function<bool()> isMonitoring;
    /// The version of Codex that runs.
    std::function<std::optional<std::string>()> version;
    /// The shortcut that copies the address, looked up afresh.
    std::function<CodexCopyShortcutAssessment()> copyShortcut;
    /// The one conversation with this identifier, proved to be readable. Throws what the catalogue and the
    /// reading throw.
    std::function<Task<ConversationReference>(std::string threadID)> resolve;
};

/// Belongs to the main loop's thread.
class CodexIdentification {
  public:
    explicit CodexIdentification(CodexIdentificationNeeds needs) : needs(std::move(needs)) {}

    /// Throws CaptureFailure. Gives nothing once the command is not wanted any more, which `isWanted` is
    /// asked after each pause. Takes about two seconds at most, beside the search for the conversation.
    Task<std::optional<IdentifiedCodex>> identify(const CapturedReturn& captured,
                                                  std::function<bool()> isWanted);

  private:
    class Run;

    /// The capture of the run before, if a copy of its may still come.
    ConversationClipboardCapture* unsettled() const;

    CodexIdentificationNeeds needs;
    std::shared_ptr<ConversationClipboardCapture> clipboard; ///< Of the last run.
    MainLoop::Duration lastPost{0}; ///< When that asked for its last copy, as uptime.
};

} // namespace orvel
