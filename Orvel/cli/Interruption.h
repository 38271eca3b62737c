#pragma once
// The signals that ask the program to end, noted, so that it can end in order.

#include <array>
#include <csignal>
#include <exception>

namespace orvel {

/// Leaves the work that the user broke off.
class Interrupted : public std::exception {
  public:
    const char* what() const noexcept override { return "Interrupted."; }
};

/// While it lives, SIGINT, SIGTERM and SIGHUP are noted and do nothing else; a signal that is ignored stays
/// ignored. There is one at a time.
class Interruption {
  public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// The signal that was noted last, also by one that no longer lives; 0 if there was none.
    static int signal() noexcept;

    /// Throws Interrupted if a signal was noted.
    static void check();

  private:
    static constexpr std::array numbers{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, numbers.size()> before{};
};

} // namespace orvel
