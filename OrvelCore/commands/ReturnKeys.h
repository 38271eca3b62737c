#pragma once
// The key events around a stopped Return: which ones are swallowed with it, and which release of the Command
// key doesn't count as new input.

#include "OrvelCore/commands/ReturnDecision.h"

#include <cstdint>
#include <set>

namespace orvel {

/// Keys whose press was swallowed, and whose repeats and release are swallowed too.
struct SuppressedKeySequence {
    std::set<std::int64_t> keys;

    void begin(std::int64_t keyCode) { keys.insert(keyCode); }

    /// Whether to swallow this event. The release ends the key's sequence, and so does a new press, which
    /// passes.
    bool consumes(std::int64_t keyCode, bool isKeyDown, bool isRepeat);
};

/// Ignores, once, the release of the Command key after a captured ⌘Return.
struct CommandReleaseAllowance {
    bool expected = false;

    void arm(OrvelReturnShortcut shortcut) { expected = shortcut == OrvelReturnShortcut::command; }
    void cancel() { expected = false; }

    /// Whether this modifier change is the expected release. Uses the allowance up either way.
    bool consume(std::int64_t keyCode, ReturnModifiers modifiers);
};

} // namespace orvel
