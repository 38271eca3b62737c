#pragma once
// What happened to the latest Returns in the agents' applications, without content, for the reports that
// users send.

#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace orvel {

enum class ReturnEventPhase { keyDown, keyRepeat, keyUp };

/// The word for diagnostics.
FixedWords description(ReturnEventPhase phase);

class ReturnDiagnosticHistory {
  public:
    static constexpr std::size_t capacity = 24; ///< Of events.
    /// User-perceived characters that are kept.
    static constexpr std::size_t maximumOutcomeLength = 500, maximumDetailsLength = 16'000;

    struct Event {
        std::string attemptID; ///< Distinguishes attempts; never printed.
        std::int64_t sequence = 0;
        Date timestamp = 0;
        Agent source = Agent::codex;
        std::int64_t keyCode = 0;
        ReturnEventPhase phase = ReturnEventPhase::keyDown;
        ReturnInputClassification input = ReturnInputClassification::unread;
        DiagnosticText outcome;
        ReturnModifiers modifiers;

        /// The key with its modifiers: "Command+Return".
        DiagnosticText keyDescription() const;
    };

    /// The last Return on the command in an agent's application.
    struct CommandAttempt {
        Event event;
        DiagnosticText details;
        std::optional<DiagnosticText> result, resultDetails;
    };

    /// Adds the event with the next sequence number. With details, a key-down on the command becomes the
    /// agent's attempt.
    void append(Event event, const std::optional<DiagnosticText>& details);

    /// Adds the result of an attempt, if it is still the agent's last.
    void finish(Agent source, const std::string& attemptID, const DiagnosticText& result,
                const std::optional<DiagnosticText>& details);

    /// The attempts and their results, oldest first.
    DiagnosticText commandSummary(const ClockStyle& clock) const;

    /// The attempts with their details, and all events.
    DiagnosticText report(const ClockStyle& clock) const;

    const std::deque<Event>& events() const { return kept; }
    const std::map<Agent, CommandAttempt>& commandAttempts() const { return attempts; }

  private:
    std::deque<Event> kept;
    std::map<Agent, CommandAttempt> attempts;
    std::int64_t nextSequence = 0;
};

} // namespace orvel
