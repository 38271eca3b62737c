#pragma once
// The keyboard guard as Orvel's child: its start, what is said to it, and its end.

#include "Orvel/platform/linux/KeyboardGuardLink.h"

#include <chrono>
#include <memory>
#include <string>

#include <sys/types.h>

namespace orvel {

/// A guard that holds its grab. Not bound to a thread.
class KeyboardGuardProcess {
  public:
    /// A guard that has not begun within this time, or not ended once it was told to, is killed.
    static constexpr std::chrono::milliseconds startLimit{2000}, endLimit{300};

    /// Starts the program for a display; an empty name is the environment's. Null if it doesn't start, is
    /// another program, or could not grab Return.
    static std::unique_ptr<KeyboardGuardProcess> start(const std::string& program,
                                                       const std::string& display);
    ~KeyboardGuardProcess() { end(); }
    KeyboardGuardProcess(const KeyboardGuardProcess&) = delete;
    KeyboardGuardProcess& operator=(const KeyboardGuardProcess&) = delete;

    /// Closed by `end`.
    const GuardLink& link() const { return connected; }

    /// A guard that works passes what it holds, and ends; one that doesn't is killed. Nothing is left of it.
    void end();
    /// Kills it, which gives the keyboard back.
    void kill();

  private:
    KeyboardGuardProcess(GuardLink link, pid_t process, Descriptor handle)
        : connected(std::move(link)), process(process), handle(std::move(handle)) {}

    bool begins(std::chrono::steady_clock::time_point deadline) const;
    bool endsWithin(std::chrono::milliseconds limit);

    GuardLink connected;
    pid_t process; ///< 0 once it has been reaped.
    Descriptor handle;
};

} // namespace orvel
