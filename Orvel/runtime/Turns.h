#pragma once
// Lets asynchronous work happen one piece after the other, in the order in which it was asked for.

#include "Orvel/runtime/MainLoop.h"

#include <algorithm>
#include <coroutine>
#include <deque>
#include <memory>
#include <utility>

namespace orvel {

/// Belongs to the loop's thread and outlives all work that waits for its turn.
class Turns {
  public:
    explicit Turns(MainLoop& loop) : loop(loop) {}

    /// Held while it is somebody's turn; destroying it gives the turn to the next one.
    class Turn {
      public:
        Turn(Turn&& other) noexcept : turns(std::exchange(other.turns, nullptr)) {}
        Turn& operator=(Turn&&) = delete;
        ~Turn() {
            if (turns) turns->passOn();
        }

      private:
        friend class Turns;
        explicit Turn(Turns& turns) : turns(&turns) {}

        Turns* turns;
    };

    /// `const auto turn = co_await turns.next();` goes on when everything before has ended.
    auto next() { return Waiting(*this); }

    /// Whether nobody has the turn.
    bool isFree() const { return !isTaken; }

  private:
    // Lives in the frame of the waiting coroutine; if that is destroyed, its place is given up.
    class Waiting {
      public:
        explicit Waiting(Turns& turns) : turns(turns) {}
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;
        ~Waiting() {
            std::erase(turns.waiting, this);
            if (isOffered) turns.passOn();
        }

        bool await_ready() { return std::exchange(turns.isTaken, true) ? false : (isOffered = true); }
        void await_suspend(std::coroutine_handle<> waiting) {
            handle = waiting;
            turns.waiting.push_back(this);
        }
        Turn await_resume() {
            isOffered = false;
            return Turn(turns);
        }

      private:
        friend class Turns;

        void offer() {
            isOffered = true;
            resumption = turns.loop.after(MainLoop::Duration::zero(), [this] { handle.resume(); });
        }

        Turns& turns;
        std::coroutine_handle<> handle;
        std::unique_ptr<Timer> resumption;
        bool isOffered = false;
    };

    void passOn() {
        isTaken = !waiting.empty();
        if (!isTaken) return;
        auto* first = waiting.front();
        waiting.pop_front();
        first->offer();
    }

    MainLoop& loop;
    std::deque<Waiting*> waiting;
    bool isTaken = false;
};

} // namespace orvel
