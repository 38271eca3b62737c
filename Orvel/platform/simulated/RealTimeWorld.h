#pragma once
// A simulated world on the clock of a real program, for a sample that somebody looks at.

#include "Orvel/platform/simulated/WorldLoop.h"

#include <cstdint>
#include <map>

namespace orvel {

/// Passes everything on to a real loop, which outlives this object. The world acts between two turns; calls
/// take no longer than they take.
class RealTimeWorld : public WorldLoop {
  public:
    explicit RealTimeWorld(MainLoop& loop) : loop(loop) {}

    Duration uptime() const override { return loop.uptime(); }
    Date now() const override { return loop.now(); }
    void post(std::function<void()> action) override { loop.post(std::move(action)); }
    std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) override {
        return loop.after(delay, std::move(action));
    }
    void runInBackground(std::function<void()> work, std::function<void()> done) override {
        loop.runInBackground(std::move(work), std::move(done));
    }

    void outside(Duration delay, std::function<void()> action) override {
        const auto number = ++last;
        events[number] = loop.after(delay, [this, number, action = std::move(action)] {
            const auto event = events.extract(number);
            action();
        });
    }
    void spend(Duration) override {}
    bool spendUntil(const std::function<bool()>& isDone, Duration) override { return isDone(); }

  private:
    MainLoop& loop;
    std::uint64_t last = 0;
    std::map<std::uint64_t, std::unique_ptr<Timer>> events;
};

} // namespace orvel
