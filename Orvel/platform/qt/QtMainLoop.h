#pragma once
// The main loop of programs with a window: Qt's own.

#include "Orvel/platform/posix/BackgroundThreads.h"
#include "Orvel/platform/posix/DescriptorWatcher.h"
#include "Orvel/runtime/LoopThread.h"
#include "Orvel/runtime/MainLoop.h"

#include <QObject>

namespace orvel {

/// Exists on the thread of the QCoreApplication, while that does.
class QtMainLoop : public MainLoop, public DescriptorWatcher {
  public:
    explicit QtMainLoop(BackgroundThreads::Start startThread = BackgroundThreads::startDetached);
    ~QtMainLoop() override;

    Duration uptime() const override;
    Date now() const override;
    void post(std::function<void()> action) override;
    std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) override;
    void runInBackground(std::function<void()> work, std::function<void()> done) override;
    std::unique_ptr<DescriptorWatch> watch(int descriptor, Use use,
                                           std::function<void(bool isBroken)> ready) override;

  private:
    struct Receiver;
    class Notice;

    LoopThread thread;
    std::shared_ptr<Receiver> receiver; // Shared with the threads, which may outlive the loop.
    BackgroundThreads threads;
};

} // namespace orvel
