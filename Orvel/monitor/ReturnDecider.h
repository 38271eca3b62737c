#pragma once
// Decides what becomes of one fresh Return in an agent's application, while the key waits. What is not the
// command passes untouched; what is the command is never sent, even if that costs the person a Return.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/monitor/EditorRecognition.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/commands/OrvelCommand.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvel {

/// A command whose Return was swallowed, and where it stands.
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
};

struct ReturnDecision {
    enum class Kind {
        pass,    ///< Goes on to the application, or to the input method.
        stop,    ///< Swallowed; the text stays.
        capture, ///< Swallowed; the command is to be worked off.
    };

    Kind kind = Kind::pass;
    DiagnosticText line; ///< For diagnostics.
    ReturnInputClassification input = ReturnInputClassification::unread;
    std::optional<FixedWords> reason;       ///< Of a stop, for the person.
    std::optional<CapturedReturn> captured; ///< Of a capture.
};

/// What a Return is decided by; all of it outlives the decision.
struct ReturnDeciderNeeds {
    const MainLoop& loop;
    Applications& applications;
    InputSources& inputSources;
    TimedReads& reads;
    DiagnosticFacts& facts;
};

/// A fresh Return, the key going down.
struct FreshReturn {
    TapEvent event;
    RunningApplication application; ///< The one in front.
    Agent agent = Agent::codex;
    std::string attemptID;
    bool isPrepared = false;  ///< Whether the application's editor is proved to be readable.
    bool hasReceiver = false; ///< Whether anybody takes the command.
    std::uint64_t inputGeneration = 0;
};

/// Opens and closes a budget of its own. Throws nothing.
ReturnDecision decideReturn(const ReturnDeciderNeeds& needs, const FreshReturn& fresh);

} // namespace orvel
