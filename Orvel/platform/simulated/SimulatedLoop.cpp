#include "Orvel/platform/simulated/SimulatedLoop.h"

#include "Orvel/runtime/Observable.h"

#include <algorithm>
#include <limits>
#include <system_error>

namespace orvel {

class SimulatedLoop::SimulatedTimer : public Timer {
  public:
    SimulatedTimer(SimulatedLoop& loop, const Key& key) : loop(loop), key(key) {}
    ~SimulatedTimer() override {
        loop.thread.check();
        loop.waiting.erase(key);
    }

  private:
    SimulatedLoop& loop;
    Key key;
};

SimulatedLoop::~SimulatedLoop() = default;

void SimulatedLoop::run() {
    while (runNextBefore(Duration::max())) {
    }
}

void SimulatedLoop::runFor(Duration span) {
    const auto end = clock + span;
    while (runNextBefore(end)) {
    }
    clock = std::max(clock, end);
}

void SimulatedLoop::setNow(Date date) {
    wallClockAtStart += date - now();
}

MainLoop::Duration SimulatedLoop::uptime() const {
    thread.check();
    return clock;
}

Date SimulatedLoop::now() const {
    thread.check();
    return wallClockAtStart + std::chrono::duration<double>(clock).count();
}

void SimulatedLoop::post(std::function<void()> action) {
    schedule(waiting, Duration::zero(), std::move(action));
}

std::unique_ptr<Timer> SimulatedLoop::after(Duration delay, std::function<void()> action) {
    thread.check();
    return std::make_unique<SimulatedTimer>(*this, schedule(waiting, delay, std::move(action)));
}

void SimulatedLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    thread.check();
    if (threadsAreExhausted)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                                "Couldn't start a thread");
    schedule(waiting, backgroundDuration, [this, work = std::move(work), done = std::move(done)] {
        {
            const LoopThread::Elsewhere elsewhere(thread);
            const WhileTrue working(isInBackground);
            work();
        }
        turnBegan = clock; // It did not hold the main thread.
        done();
    });
}

void SimulatedLoop::outside(Duration delay, std::function<void()> action) {
    schedule(world, delay, std::move(action));
}

void SimulatedLoop::spend(Duration duration) {
    if (isOutside || isInBackground || duration <= Duration::zero()) return;
    latest = std::max(latest, clock - turnBegan);
    slowestCall = std::max(slowestCall, duration);
    const auto end = clock + duration;
    while (!world.empty() && world.begin()->first.first <= end) runOutside();
    clock = end;
}

bool SimulatedLoop::spendUntil(const std::function<bool()>& isDone, Duration limit) {
    const auto began = clock;
    latest = std::max(latest, began - turnBegan);
    while (!isDone() && !world.empty() && world.begin()->first.first <= began + limit) runOutside();
    const bool done = isDone();
    if (!done) clock = began + limit;
    awaited += clock - began;
    return done;
}

SimulatedLoop::Key SimulatedLoop::schedule(Queue& queue, Duration delay, std::function<void()> action) {
    const Key key{clock + delay, ++last};
    queue.emplace(key, std::move(action));
    return key;
}

// What is overdue in this program runs now, so it comes after what happened outside before.
bool SimulatedLoop::runNextBefore(Duration end) {
    thread.check();
    const auto due = [this](const Queue& queue) {
        return queue.empty() ? Key(Duration::max(), std::numeric_limits<std::uint64_t>::max())
                             : std::max(queue.begin()->first, Key(clock, 0));
    };
    const auto turn = due(waiting), event = due(world);
    if (std::min(turn, event).first > end || (waiting.empty() && world.empty())) return false;
    if (event < turn)
        runOutside();
    else
        runTurn();
    return true;
}

void SimulatedLoop::runTurn() {
    const auto next = waiting.extract(waiting.begin());
    clock = std::max(clock, next.key().first);
    turnBegan = clock;
    slowestCall = awaited = Duration::zero();
    next.mapped()();
    const Hold hold{clock - turnBegan, slowestCall, awaited};
    if (hold.duration > longest.duration) longest = hold;
    if (hold.own() > busiest.own()) busiest = hold;
    turnBegan = clock;
}

void SimulatedLoop::runOutside() {
    const auto next = world.extract(world.begin());
    clock = std::max(clock, next.key().first);
    const auto before = std::exchange(isOutside, true);
    next.mapped()();
    isOutside = before;
}

} // namespace orvel
