#include "Orvel/platform/posix/PosixSideQueue.h"

#include <utility>

namespace orvel {

PosixSideQueue::PosixSideQueue() : thread([this] { serve(); }) {}

PosixSideQueue::~PosixSideQueue() {
    {
        decltype(waiting) dropped; // What they hold goes without the lock.
        const std::lock_guard lock(mutex);
        isEnding = true;
        dropped.swap(waiting);
    }
    arrived.notify_one();
    thread.join();
}

bool PosixSideQueue::run(std::function<void()> work, MainLoop::Duration maximumWait) {
    const auto job = std::make_shared<Job>(std::move(work));
    std::unique_lock lock(mutex);
    waiting.push_back(job);
    arrived.notify_one();
    return done.wait_for(lock, maximumWait, [&] { return job->isDone; });
}

void PosixSideQueue::serve() {
    std::unique_lock lock(mutex);
    while (true) {
        arrived.wait(lock, [this] { return isEnding || !waiting.empty(); });
        if (isEnding) return;
        const auto job = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        job->work();
        job->work = nullptr; // What it holds goes before the end is told.
        lock.lock();
        job->isDone = true;
        done.notify_one();
    }
}

} // namespace orvel
