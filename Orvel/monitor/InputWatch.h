#pragma once
// Everything that the person does with keys and mouse, counted, so that whoever began something can tell
// whether anything was done since; and the keys that follow a swallowed Return.

#include "Orvel/desktop/KeyboardTap.h"
#include "OrvelCore/commands/ReturnKeys.h"
#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstdint>
#include <optional>

namespace orvel {

ReturnModifiers returnModifiers(std::uint64_t flags);

class InputWatch {
  public:
    /// `ownProcess` is that of this program.
    explicit InputWatch(ProcessID ownProcess) : ownProcess(ownProcess) {}

    /// Counts an event. Gives whether it is swallowed, as it belongs to a Return that was. This program's own
    /// events and those that say something of the tap are not to be given.
    bool swallows(const TapEvent& event);

    /// Swallows the rest of this key's press, and lets the release of ⌘ that ends it pass uncounted.
    void suppress(const TapEvent& event, Agent agent);
    /// In whose application the Return was pressed whose rest is being swallowed.
    const std::optional<Agent>& suppressedSource() const { return source; }

    /// Forgets what was swallowed.
    void reset();

    /// Grows with everything that was done and not swallowed.
    std::uint64_t generation() const { return count; }
    /// What was done last, without content.
    const DiagnosticText& lastEvent() const { return last; }

  private:
    void note(DiagnosticText event);
    FixedWords originOf(const TapEvent& event) const;

    ProcessID ownProcess;
    SuppressedKeySequence keys;
    CommandReleaseAllowance release;
    std::optional<Agent> source;
    std::uint64_t count = 0;
    DiagnosticText last{"None"};
};

} // namespace orvel
