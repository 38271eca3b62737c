#pragma once
// Decides what becomes of one fresh Return in an agent's application, while the key waits. What is not the
// command passes untouched; what is the command is never sent, even if that costs the person a Return.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/monitor/CapturedReturn.h"
#include "Orvel/monitor/EditorNeeds.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <optional>
#include <string>

namespace orvel {

struct ReturnDecision {
    enum class Kind {
        pass,    ///< Goes on to the application.
        confirm, ///< Goes on to the input method, which has text pending.
        stop,    ///< Swallowed; the text stays.
        capture, ///< Swallowed; the command is to be worked off.
    };

    Kind kind = Kind::pass;
    DiagnosticText line; ///< For diagnostics.
    ReturnInputClassification input = ReturnInputClassification::unread;
    std::optional<DiagnosticText> reason;   ///< Of a stop, for the person.
    std::optional<CapturedReturn> captured; ///< Of a capture, and of what the candidate window confirmed.
    DiagnosticText japanese;                ///< What the candidate window came to, in lines.
};

/// A fresh Return, the key going down.
struct FreshReturn {
    TapEvent event;
    RunningApplication application; ///< The one in front.
    Agent agent = Agent::codex;
    std::string attemptID;
    bool isPrepared = false;         ///< Whether the application's editor is proved to be readable.
    bool hasReceiver = false;        ///< Whether anybody takes the command.
    MainLoop::Duration sinceInput{}; ///< Since the key or the click before it.
};

/// Opens and closes a budget of its own. Throws nothing.
ReturnDecision decideReturn(const EditorNeeds& needs, const FreshReturn& fresh);

} // namespace orvel
