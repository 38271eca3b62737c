#pragma once
// The keys around a stopped Return: what else is swallowed with it, and which release of the Command key
// doesn't count as later input.

#include "OrvelCore/commands/ReturnDecision.h"

#include <cstdint>
#include <set>

namespace orvel {

/// The keys whose repeats and release are swallowed, because their first press was.
struct SuppressedKeySequence {
    std::set<std::int64_t> keys;

    void begin(std::int64_t keyCode) { keys.insert(keyCode); }

    /// Whether this event is swallowed. A release ends the key's sequence; so does a fresh press, which
    /// passes.
    bool consumes(std::int64_t keyCode, bool isKeyDown, bool isRepeat);
};

/// Lifting the Command key behind a captured ⌘Return is excused once.
struct CommandReleaseAllowance {
    bool expected = false;

    void arm(OrvelReturnShortcut shortcut) { expected = shortcut == OrvelReturnShortcut::command; }
    void cancel() { expected = false; }

    /// Whether this change of modifiers is the expected release. Whatever it is, it uses the allowance up.
    bool consume(std::int64_t keyCode, ReturnModifiers modifiers);
};

} // namespace orvel
