#pragma once
// Whether an input method has text pending, for a desktop whose accessibility interface doesn't tell.

#include "Orvel/platform/linux/BusConnection.h"

#include <cstdint>

namespace orvel {

struct PendingComposition {
    enum class State {
        unknown, ///< Nobody tells, or not in time.
        none,
        pending,
    };

    State state = State::unknown;
    /// Of a pending one: another number after each change to it, and for each other one.
    std::uint64_t version = 0;
};

class CompositionSource {
  public:
    virtual ~CompositionSource() = default;

    /// What is pending in the editor that has the keyboard. Waits until the deadline at most. Called from any
    /// thread.
    virtual PendingComposition current(BusDeadline deadline) = 0;
};

} // namespace orvel
