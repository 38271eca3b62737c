#pragma once
// The thread beside the main loop.

#include "Orvel/desktop/SideQueue.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace orvel {

/// Used on one thread, which is not held by work that hangs until it destroys the queue.
class PosixSideQueue : public SideQueue {
  public:
    /// Throws std::system_error if there is no thread to be had.
    PosixSideQueue();
    PosixSideQueue(const PosixSideQueue&) = delete;
    PosixSideQueue& operator=(const PosixSideQueue&) = delete;
    ~PosixSideQueue() override;

    bool run(std::function<void()> work, MainLoop::Duration maximumWait) override;

  private:
    struct Job {
        std::function<void()> work;
        bool isDone = false;
    };
    void serve();

    std::mutex mutex; // Guards what follows.
    std::condition_variable arrived, done;
    std::deque<std::shared_ptr<Job>> waiting;
    bool isEnding = false;

    std::thread thread; // Last: begins when all else is there.
};

} // namespace orvel
