#pragma once
// A command whose Return was swallowed, and everything around it as it was then.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/ProcessID.h"
#include "Orvel/monitor/EditorRecognition.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/conversations/Agent.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvel {

struct CapturedReturn {
    std::string id; ///< Of the attempt.
    Agent agent = Agent::codex;
    OrvelCommand command;
    std::string text; ///< All that the editor holds.
    AXElement editor;
    AXElement window; ///< The focused one.
    ProcessID process = 0;
    std::optional<CodeCaptureContext> codeContext;
    std::uint64_t inputGeneration = 0;
    std::optional<std::string> inputSourceID;
    /// What was selected in the editor, where nothing but the absence of the candidate window proves that no
    /// text is pending.
    std::optional<AXRange> japaneseSelection;
};

} // namespace orvel
