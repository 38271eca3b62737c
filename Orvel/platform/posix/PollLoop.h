#pragma once
// The main loop of programs without a window, over poll(2).

#include "Orvel/platform/posix/BackgroundThreads.h"
#include "Orvel/platform/posix/DescriptorWatcher.h"
#include "Orvel/runtime/LoopThread.h"
#include "Orvel/runtime/MainLoop.h"

#include <memory>

namespace orvel {

class PollLoop : public MainLoop, public DescriptorWatcher {
  public:
    explicit PollLoop(BackgroundThreads::Start startThread = BackgroundThreads::startDetached);
    ~PollLoop() override;

    /// Runs until `stop`.
    void run();

    /// Ends `run` after the action under way; what else is due is dropped.
    void stop();

    Duration uptime() const override;
    Date now() const override;
    void post(std::function<void()> action) override;
    std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) override;
    void runInBackground(std::function<void()> work, std::function<void()> done) override;
    std::unique_ptr<DescriptorWatch> watch(int descriptor, Use use,
                                           std::function<void(bool isBroken)> ready) override;

  private:
    struct Mailbox;
    class TimerEntry;
    struct Timers;
    class WatchEntry;
    struct Watches;

    LoopThread thread;
    std::shared_ptr<Mailbox> mailbox; // Shared with the threads, which may outlive the loop.
    std::unique_ptr<Timers> timers;
    std::unique_ptr<Watches> watches;
    BackgroundThreads threads;
    bool running = false;
};

} // namespace orvel
