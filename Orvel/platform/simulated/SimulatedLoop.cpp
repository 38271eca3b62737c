#include "Orvel/platform/simulated/SimulatedLoop.h"

namespace orvel {

class SimulatedLoop::SimulatedTimer : public Timer {
  public:
    SimulatedTimer(SimulatedLoop& loop, const Key& key) : loop(loop), key(key) {}
    ~SimulatedTimer() override { loop.waiting.erase(key); }

  private:
    SimulatedLoop& loop;
    Key key;
};

SimulatedLoop::~SimulatedLoop() = default;

void SimulatedLoop::run() {
    while (!waiting.empty()) runNext();
}

void SimulatedLoop::runFor(Duration span) {
    const auto end = clock + span;
    while (!waiting.empty() && waiting.begin()->first.first <= end) runNext();
    clock = end;
}

void SimulatedLoop::setNow(Date date) {
    wallClockAtStart += date - now();
}

Date SimulatedLoop::now() const {
    return wallClockAtStart + std::chrono::duration<double>(clock).count();
}

void SimulatedLoop::post(std::function<void()> action) {
    schedule(Duration::zero(), std::move(action));
}

std::unique_ptr<Timer> SimulatedLoop::after(Duration delay, std::function<void()> action) {
    return std::make_unique<SimulatedTimer>(*this, schedule(delay, std::move(action)));
}

void SimulatedLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    schedule(backgroundDuration, [work = std::move(work), done = std::move(done)] {
        work();
        done();
    });
}

SimulatedLoop::Key SimulatedLoop::schedule(Duration delay, std::function<void()> action) {
    const Key key{clock + delay, ++last};
    waiting.emplace(key, std::move(action));
    return key;
}

void SimulatedLoop::runNext() {
    const auto next = waiting.extract(waiting.begin());
    clock = std::max(clock, next.key().first);
    next.mapped()();
}

} // namespace orvel
