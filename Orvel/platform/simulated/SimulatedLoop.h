#pragma once
// A main loop whose clock moves only when everything waits, or when a call is said to take its time, so that
// an hour of waiting passes at once and every run is the same run.

#include "Orvel/platform/simulated/WorldLoop.h"
#include "Orvel/runtime/LoopThread.h"

#include <cstdint>
#include <map>

namespace orvel {

class SimulatedLoop : public WorldLoop {
  public:
    /// One turn of the loop, during which nothing else of this program could run.
    struct Hold {
        Duration duration{0};
        Duration slowestCall{0}; ///< The longest `spend` in it.
        Duration awaited{0};     ///< In all calls of `spendUntil`.

        /// Without what the program can't shorten.
        Duration own() const { return duration - slowestCall - awaited; }
    };

    ~SimulatedLoop() override;

    /// Runs until nothing waits any more.
    void run();

    /// Runs what falls due within `span`, and lets the clock pass it.
    void runFor(Duration span);

    /// Runs until `isDone`, which is asked before every turn, or until nothing falls due within `limit`;
    /// gives whether it is done.
    template <typename Condition>
    bool runUntil(Condition isDone, Duration limit) {
        const auto end = clock + limit;
        while (!isDone()) {
            if (!runNextBefore(end)) return isDone();
        }
        return true;
    }

    /// How long background work takes that begins from now on.
    void setBackgroundDuration(Duration duration) { backgroundDuration = duration; }

    /// Whether there is no thread to be had for background work.
    void setThreadsExhausted(bool areExhausted) { threadsAreExhausted = areExhausted; }

    /// Lets the wall clock jump.
    void setNow(Date date);

    // The world outside this program

    /// Also in the middle of a call that takes its time.
    void outside(Duration delay, std::function<void()> action) override;
    Duration worldTime() const override { return clock; }
    void spend(Duration duration) override;
    bool spendUntil(const std::function<bool()>& isDone, Duration limit) override;

    /// Whether background work is being done at this moment.
    bool isElsewhere() const { return isInBackground; }

    /// The longest turn so far, and how far into its turn the latest call began that took its time.
    const Hold& longestHold() const { return longest; }
    /// The turn that took longest of its own accord.
    const Hold& busiestHold() const { return busiest; }
    Duration latestCall() const { return latest; }

    Duration uptime() const override;
    Date now() const override;
    void post(std::function<void()> action) override;
    std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) override;
    /// The work runs on this thread, at the end of its duration, and may touch the loop no more than if it
    /// were on another.
    void runInBackground(std::function<void()> work, std::function<void()> done) override;

  private:
    using Key = std::pair<Duration, std::uint64_t>; // Due time, then order of creation.
    using Queue = std::map<Key, std::function<void()>>;
    class SimulatedTimer;

    Key schedule(Queue& queue, Duration delay, std::function<void()> action);
    bool runNextBefore(Duration end);
    void runTurn();
    void runOutside();

    LoopThread thread;
    Queue waiting, world;
    std::uint64_t last = 0;
    Duration clock{0};
    Duration backgroundDuration{0};
    bool threadsAreExhausted = false;
    Date wallClockAtStart = 0;

    bool isOutside = false;
    bool isInBackground = false; ///< What background work calls takes no time besides its own.
    Duration turnBegan{0};
    Duration slowestCall{0}, awaited{0};
    Hold longest, busiest;
    Duration latest{0};
};

} // namespace orvel
