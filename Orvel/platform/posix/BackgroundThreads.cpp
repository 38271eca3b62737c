#include "Orvel/platform/posix/BackgroundThreads.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace orvel {

namespace {

constexpr std::chrono::seconds patienceAtTheEnd{2};

} // namespace

struct BackgroundThreads::State {
    std::mutex mutex;
    std::condition_variable finished;
    int running = 0;
};

// Work counts as running while this lives.
class BackgroundThreads::Running {
  public:
    explicit Running(std::shared_ptr<State> counted) : state(std::move(counted)) {
        const std::lock_guard lock(state->mutex);
        ++state->running;
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() {
        const std::lock_guard lock(state->mutex);
        --state->running;
        state->finished.notify_all();
    }

  private:
    std::shared_ptr<State> state;
};

void BackgroundThreads::startDetached(std::function<void()> work) {
    try {
        std::thread(std::move(work)).detach();
    } catch (const std::system_error& failure) {
        throw std::system_error(failure.code(), "Couldn't start a thread");
    }
}

BackgroundThreads::BackgroundThreads(Start start)
    : start(std::move(start)), state(std::make_shared<State>()) {}

BackgroundThreads::~BackgroundThreads() {
    std::unique_lock lock(state->mutex);
    state->finished.wait_for(lock, patienceAtTheEnd, [this] { return state->running == 0; });
}

void BackgroundThreads::run(std::function<void()> work) {
    start([running = std::make_shared<Running>(state), work = std::move(work)]() mutable {
        work();
        work = nullptr; // What it holds goes before the end is told.
        running = nullptr;
    });
}

} // namespace orvel
