#pragma once
// What Orvel and its keyboard guard say to each other, over a pair of connected sockets that keeps messages
// apart.

#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/posix/Descriptor.h"

#include <chrono>
#include <cstdint>

namespace orvel {

struct GuardMessage {
    enum class Kind : std::uint32_t {
        // The guard's
        ready,    ///< Return and Enter are grabbed.
        refused,  ///< They can't be; the guard ends.
        event,    ///< Nothing to decide on.
        missed,   ///< A Return that passed because an earlier one was not taken up in time.
        question, ///< A Return that is held back until `deadline`.
        settled,  ///< It is held back no longer.
        disabled, ///< For the reason that the event says; the guard ends.
        alive,
        // Orvel's
        taken,    ///< The handler is being asked.
        answer,   ///< What it said.
        caughtUp, ///< Nobody was or will be asked about a Return that was missed, or came too late.
        areYouAlive
    };

    Kind kind = Kind::areYouAlive;
    TapEvent event;
    XOwnInput::Kind input = XOwnInput::Kind::keyDown; ///< What the server said.
    std::uint32_t detail = 0;                         ///< The keycode, or the number of the button.
    std::uint64_t number = 0;                         ///< Of the question, from 1.
    std::int64_t deadline = 0; ///< In nanoseconds of the steady clock, which all processes share.
    TapAnswer answer = TapAnswer::pass;
};

/// One end. Callable from one thread at a time, and waits only where it says so.
class GuardLink {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Side { orvel, guard };
    enum class Receipt { received, nothing, closed };

    GuardLink() = default;
    explicit GuardLink(Descriptor socket) : socket(std::move(socket)) {}

    int descriptor() const { return socket.get(); }
    void close() { socket.close(); }

    /// False if the other end is gone, or has left too much unread.
    bool send(const GuardMessage& message) const;
    Receipt receive(GuardMessage& message) const;
    /// Waits until there is something to receive; false if there isn't by then.
    bool waitUntil(Clock::time_point deadline) const;

    /// Says who this is, and waits so long for the other to do so. False if that is no Orvel or no guard, or
    /// one of another build.
    bool greet(Side side, Clock::time_point deadline) const;

  private:
    Descriptor socket;
};

} // namespace orvel
