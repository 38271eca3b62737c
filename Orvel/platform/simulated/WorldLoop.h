#pragma once
// A main loop with a world around it: other programs and people, who act by themselves.

#include "Orvel/runtime/MainLoop.h"

namespace orvel {

class WorldLoop : public MainLoop {
  public:
    /// Other programs and people go on while a turn runs: `action` happens as soon as the clock has come so
    /// far. It must not call into this program.
    virtual void outside(Duration delay, std::function<void()> action) = 0;

    /// The uptime, which what stands for another program may also ask for in background work.
    virtual Duration worldTime() const { return uptime(); }

    /// The call that this turn makes takes so long. Says nothing of what happens outside.
    virtual void spend(Duration duration) = 0;

    /// The same, of a call that ends as soon as `isDone`, which is asked whenever something has happened
    /// outside; gives whether it is done within the limit.
    virtual bool spendUntil(const std::function<bool()>& isDone, Duration limit) = 0;
};

} // namespace orvel
