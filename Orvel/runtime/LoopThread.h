#pragma once
// The thread to which a main loop belongs, and the check that it is used on no other.

#include <source_location>
#include <thread>
#include <utility>

#ifndef NDEBUG
#include <cstdio>
#include <cstdlib>
#endif

namespace orvel {

/// Remembers the thread on which it is made.
class LoopThread {
  public:
    /// While it lives, the loop's own thread counts as another one, for work that only pretends to be on one.
    class Elsewhere {
      public:
        explicit Elsewhere(LoopThread& thread) : thread(thread), owner(std::exchange(thread.owner, {})) {}
        Elsewhere(const Elsewhere&) = delete;
        Elsewhere& operator=(const Elsewhere&) = delete;
        ~Elsewhere() { thread.owner = owner; }

      private:
        LoopThread& thread;
        std::thread::id owner;
    };

    /// In debug builds, ends the program with the caller's name unless this is the loop's thread.
    void check([[maybe_unused]] std::source_location call = std::source_location::current()) const {
#ifndef NDEBUG
        if (std::this_thread::get_id() == owner) return;
        std::fprintf(stderr, "Called on a thread that is not the main loop's: %s\n", call.function_name());
        std::abort();
#endif
    }

  private:
    std::thread::id owner = std::this_thread::get_id();
};

} // namespace orvel
