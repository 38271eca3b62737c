#include "Orvel/platform/posix/BackgroundThreads.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace orvel {

namespace {

constexpr std::chrono::seconds patienceAtTheEnd{2};

} // namespace

struct BackgroundThreads::State {
    std::mutex mutex;
    std::condition_variable finished;
    int running = 0;
};

BackgroundThreads::BackgroundThreads() : state(std::make_shared<State>()) {}

BackgroundThreads::~BackgroundThreads() {
    std::unique_lock lock(state->mutex);
    state->finished.wait_for(lock, patienceAtTheEnd, [this] { return state->running == 0; });
}

void BackgroundThreads::run(std::function<void()> work) {
    {
        const std::lock_guard lock(state->mutex);
        ++state->running;
    }
    std::thread([state = state, work = std::move(work)]() mutable {
        work();
        work = nullptr; // What it holds goes before the end is told.
        const std::lock_guard lock(state->mutex);
        --state->running;
        state->finished.notify_all();
    }).detach();
}

} // namespace orvel
