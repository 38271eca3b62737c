#pragma once
// What became of the last Returns in the agents' applications, without content, for reports that users send.

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

/// The word that diagnostics print.
FixedWords rawValue(ReturnEventPhase phase);

class ReturnDiagnosticHistory {
  public:
    /// How many events are kept.
    static constexpr std::size_t capacity = 24;
    /// How many characters of an outcome and of details are kept.
    static constexpr std::size_t longestOutcome = 500, longestDetails = 16000;

    struct Event {
        std::string attemptID; ///< Tells attempts apart; never printed.
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

    /// The last Return of an agent that held the command.
    struct CommandAttempt {
        Event event;
        DiagnosticText details;
        std::optional<DiagnosticText> result, resultDetails;
    };

    /// Adds the event with the next sequence number. With details, a key-down on the command becomes the
    /// agent's attempt.
    void append(Event event, const std::optional<DiagnosticText>& details);

    /// Adds what became of an attempt, if it still is the agent's last.
    void finish(Agent source, const std::string& attemptID, const DiagnosticText& result,
                const std::optional<DiagnosticText>& details);

    /// The attempts and what became of them, the oldest first.
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
