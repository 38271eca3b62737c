#pragma once
// Whether the focused element is the composer of a conversation, proved by the structure around it within the
// budget of one Return.

#include "Orvel/monitor/TimedReads.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <optional>
#include <string>

namespace orvel {

/// The conversation with Claude Code to which an editor belongs: the page and what its address names.
struct CodeCaptureContext {
    std::string desktopSessionID; ///< "local_" and a UUID.
    AXElement webArea;

    bool operator==(const CodeCaptureContext&) const = default;
};

/// What became of a look at an editor.
struct EditorRecognition {
    ComposerRecognition recognition = ComposerRecognition::excluded;
    std::optional<CodeCaptureContext> codeContext; ///< Of a conversation with Claude Code.
    DiagnosticText line;                           ///< What it came to, for diagnostics.

    bool isKnown() const { return recognition == ComposerRecognition::verified; }
};

/// Looks at the focused editor of the agent's application. What failed on the way stands in `reads` too.
EditorRecognition recognizeEditor(TimedReads& reads, DiagnosticFacts& facts, const AXElement& editor,
                                  Agent agent);

/// Whether the page still shows the conversation.
bool isCurrent(TimedReads& reads, const CodeCaptureContext& context);

} // namespace orvel
