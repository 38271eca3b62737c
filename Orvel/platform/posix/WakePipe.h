#pragma once
// A pipe that wakes an event loop from another thread or from a signal handler.

namespace orvel {

class WakePipe {
  public:
    /// Throws std::system_error.
    WakePipe();
    ~WakePipe();
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;

    /// The descriptor that becomes readable; owned by this object.
    int readEnd() const { return ends[0]; }

    /// Callable from any thread and from signal handlers. Keeps errno.
    void wake() const noexcept;

    /// Forgets all wakes so far.
    void drain() const;

  private:
    int ends[2];
};

} // namespace orvel
