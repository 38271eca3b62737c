#include "Orvel/platform/posix/PollLoop.h"

#include "Orvel/platform/posix/BackgroundThreads.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "Orvel/platform/posix/WakePipe.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <map>
#include <mutex>
#include <system_error>
#include <vector>

#include <poll.h>

namespace orvel {

// What other threads hand to the loop, and the pipe that wakes it.
struct PollLoop::Mailbox {
    void put(std::function<void()> action) {
        const std::lock_guard lock(mutex);
        if (closed) return;
        actions.push_back(std::move(action));
        pipe.wake();
    }

    std::vector<std::function<void()>> takeAll() {
        pipe.drain();
        const std::lock_guard lock(mutex);
        return std::exchange(actions, {});
    }

    void shut() {
        const std::lock_guard lock(mutex);
        closed = true;
        actions.clear();
    }

    WakePipe pipe;
    std::mutex mutex;
    std::vector<std::function<void()>> actions;
    bool closed = false;
};

struct PollLoop::Timers {
    using Key = std::pair<Duration, std::uint64_t>; // Due time, then order of creation.
    std::map<Key, std::function<void()>> waiting;
    std::uint64_t last = 0;
    BackgroundThreads threads;
};

class PollLoop::TimerEntry : public Timer {
  public:
    TimerEntry(Timers& timers, const Timers::Key& key) : timers(timers), key(key) {}
    ~TimerEntry() override { timers.waiting.erase(key); }

  private:
    Timers& timers;
    Timers::Key key;
};

PollLoop::PollLoop() : mailbox(std::make_shared<Mailbox>()), timers(std::make_unique<Timers>()) {}

PollLoop::~PollLoop() {
    mailbox->shut();
}

void PollLoop::run() {
    running = true;
    while (running) {
        int timeout = -1;
        if (!timers->waiting.empty()) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(timers->waiting.begin()->first.first - uptime());
            timeout =
                static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
        }
        pollfd wake{mailbox->pipe.readEnd(), POLLIN, 0};
        if (poll(&wake, 1, timeout) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        for (auto& action : mailbox->takeAll())
            if (running) action();
        // Only what is due by now: a timer that one of these starts waits for the next round.
        const Timers::Key round{uptime(), timers->last};
        while (running && !timers->waiting.empty() && timers->waiting.begin()->first <= round) {
            const auto due = timers->waiting.extract(timers->waiting.begin());
            due.mapped()();
        }
    }
}

void PollLoop::stop() {
    running = false;
}

MainLoop::Duration PollLoop::uptime() const {
    return SystemClock::uptime();
}

Date PollLoop::now() const {
    return SystemClock::now();
}

void PollLoop::post(std::function<void()> action) {
    mailbox->put(std::move(action));
}

std::unique_ptr<Timer> PollLoop::after(Duration delay, std::function<void()> action) {
    const Timers::Key key{uptime() + delay, ++timers->last};
    timers->waiting.emplace(key, std::move(action));
    return std::make_unique<TimerEntry>(*timers, key);
}

void PollLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    timers->threads.run([work = std::move(work), done = std::move(done), mailbox = mailbox]() mutable {
        work();
        mailbox->put(std::move(done));
    });
}

} // namespace orvel
