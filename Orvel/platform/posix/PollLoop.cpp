#include "Orvel/platform/posix/PollLoop.h"

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
};

class PollLoop::TimerEntry : public Timer {
  public:
    TimerEntry(PollLoop& loop, const Timers::Key& key) : loop(loop), key(key) {}
    ~TimerEntry() override {
        loop.thread.check();
        loop.timers->waiting.erase(key);
    }

  private:
    PollLoop& loop;
    Timers::Key key;
};

struct PollLoop::Watches {
    struct Waiting {
        int descriptor;
        short events;
        std::function<void(bool)> ready;
    };
    using Key = std::uint64_t; // Never used twice, as descriptors are.

    // All that is waited for: the pipe, then every watch, whose keys go to `keys`.
    std::vector<pollfd> pollSet(int wakeDescriptor, std::vector<Key>& keys) const {
        std::vector<pollfd> set{{wakeDescriptor, POLLIN, 0}};
        for (const auto& [key, watch] : waiting) {
            set.push_back({watch.descriptor, watch.events, 0});
            keys.push_back(key);
        }
        return set;
    }

    std::map<Key, Waiting> waiting;
    Key last = 0;
};

class PollLoop::WatchEntry : public DescriptorWatch {
  public:
    WatchEntry(PollLoop& loop, Watches::Key key) : loop(loop), key(key) {}
    ~WatchEntry() override {
        loop.thread.check();
        loop.watches->waiting.erase(key);
    }

  private:
    PollLoop& loop;
    Watches::Key key;
};

PollLoop::PollLoop(BackgroundThreads::Start startThread)
    : mailbox(std::make_shared<Mailbox>()),
      timers(std::make_unique<Timers>()),
      watches(std::make_unique<Watches>()),
      threads(std::move(startThread)) {}

PollLoop::~PollLoop() {
    mailbox->shut();
}

void PollLoop::run() {
    thread.check();
    running = true;
    while (running) {
        int timeout = -1;
        if (!timers->waiting.empty()) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(timers->waiting.begin()->first.first - uptime());
            timeout =
                static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
        }
        std::vector<Watches::Key> keys;
        auto set = watches->pollSet(mailbox->pipe.readEnd(), keys);
        if (poll(set.data(), static_cast<nfds_t>(set.size()), timeout) < 0) {
            if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
            for (auto& entry : set) entry.revents = 0;
        }
        for (auto& action : mailbox->takeAll())
            if (running) action();
        for (std::size_t i = 0; running && i < keys.size(); ++i) {
            const auto events = set[i + 1].revents;
            if (events == 0) continue;
            // One of those before may have ended this watch.
            if (const auto watch = watches->waiting.extract(keys[i])) watch.mapped().ready(isBroken(events));
        }
        // Only what is due by now: a timer that one of these starts waits for the next round.
        const Timers::Key round{uptime(), timers->last};
        while (running && !timers->waiting.empty() && timers->waiting.begin()->first <= round) {
            const auto due = timers->waiting.extract(timers->waiting.begin());
            due.mapped()();
        }
    }
}

void PollLoop::stop() {
    thread.check();
    running = false;
}

MainLoop::Duration PollLoop::uptime() const {
    thread.check();
    return SystemClock::uptime();
}

Date PollLoop::now() const {
    thread.check();
    return SystemClock::now();
}

void PollLoop::post(std::function<void()> action) {
    mailbox->put(std::move(action));
}

std::unique_ptr<Timer> PollLoop::after(Duration delay, std::function<void()> action) {
    thread.check();
    const Timers::Key key{uptime() + delay, ++timers->last};
    timers->waiting.emplace(key, std::move(action));
    return std::make_unique<TimerEntry>(*this, key);
}

std::unique_ptr<DescriptorWatch> PollLoop::watch(int descriptor, Use use, std::function<void(bool)> ready) {
    thread.check();
    const auto key = ++watches->last;
    watches->waiting.emplace(key, Watches::Waiting{descriptor, pollEvents(use), std::move(ready)});
    return std::make_unique<WatchEntry>(*this, key);
}

void PollLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    thread.check();
    threads.run([work = std::move(work), done = std::move(done), mailbox = mailbox]() mutable {
        work();
        mailbox->put(std::move(done));
    });
}

} // namespace orvel
