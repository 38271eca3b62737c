#pragma once
// Removes a captured command from the editor in which it was typed, and proves that it is gone and that
// everything else is as it was. Writes once at most; what is in doubt is only looked at again.

#include "Orvel/monitor/CapturedReturn.h"
#include "Orvel/monitor/EditorNeeds.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/commands/CommandRemoval.h"

#include <functional>
#include <optional>

namespace orvel {

struct ErasedCommand {
    CommandRemovalOutcome outcome = CommandRemovalOutcome::unavailable;
    /// Whether the editor, its window and conversation, the input method and the person's input are as they
    /// were when the Return was swallowed. Only of a command that was cleared.
    bool isOriginConfirmed = false;
    bool wasWriteAttempted = false;
    bool isStillThere = false;   ///< It stands in the editor although the write had its time.
    bool mayBeComposing = false; ///< Nothing was touched, as the candidate window no longer proved anything.
    DiagnosticText diagnostics;
};

/// What an erasure works with; all of it outlives the task.
struct CommandErasureNeeds : EditorNeeds {
    Accessibility& accessibility;
    std::function<bool()> isMonitoring;
};

/// Takes a quarter of a second at most.
Task<ErasedCommand> eraseCommand(const CommandErasureNeeds& needs, CapturedReturn captured);

} // namespace orvel
