#pragma once
// A main loop whose clock moves only when everything waits, so that an hour of waiting passes at once and
// every run is the same run.

#include "Orvel/runtime/MainLoop.h"

#include <cstdint>
#include <map>

namespace orvel {

class SimulatedLoop : public MainLoop {
  public:
    ~SimulatedLoop() override;

    /// Runs until nothing waits any more.
    void run();

    /// Runs what falls due within `span`, and lets the clock pass it.
    void runFor(Duration span);

    /// How long background work takes that begins from now on.
    void setBackgroundDuration(Duration duration) { backgroundDuration = duration; }

    /// Lets the wall clock jump.
    void setNow(Date date);

    Duration uptime() const override { return clock; }
    Date now() const override;
    void post(std::function<void()> action) override;
    std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) override;
    /// The work runs on this thread, at the end of its duration.
    void runInBackground(std::function<void()> work, std::function<void()> done) override;

  private:
    using Key = std::pair<Duration, std::uint64_t>; // Due time, then order of creation.
    class SimulatedTimer;

    Key schedule(Duration delay, std::function<void()> action);
    void runNext();

    std::map<Key, std::function<void()>> waiting;
    std::uint64_t last = 0;
    Duration clock{0};
    Duration backgroundDuration{0};
    Date wallClockAtStart = 0;
};

} // namespace orvel
