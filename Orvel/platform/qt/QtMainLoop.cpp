#include "Orvel/platform/qt/QtMainLoop.h"

#include "Orvel/platform/posix/SystemClock.h"

#include <mutex>

#include <QMetaObject>
#include <QSocketNotifier>
#include <QTimer>

namespace orvel {

// Takes what is posted; once it is shut, nothing any more.
struct QtMainLoop::Receiver {
    void put(std::function<void()> action) {
        const std::lock_guard lock(mutex);
        if (context) QMetaObject::invokeMethod(context.get(), std::move(action), Qt::QueuedConnection);
    }

    void shut() {
        const std::lock_guard lock(mutex);
        context.reset();
    }

    std::mutex mutex;
    std::unique_ptr<QObject> context = std::make_unique<QObject>();
};

namespace {

class OneShot : public Timer {
  public:
    OneShot(MainLoop::Duration delay, std::function<void()> action) {
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        // The action may destroy this object, so it is moved out first.
        QObject::connect(&timer, &QTimer::timeout,
                         [action = std::move(action)]() mutable { std::exchange(action, {})(); });
        timer.start(std::chrono::ceil<std::chrono::milliseconds>(delay));
    }

  private:
    QTimer timer;
};

} // namespace

class QtMainLoop::Notice : public DescriptorWatch {
  public:
    Notice(int descriptor, Use use, std::function<void(bool)> ready)
        : notifier(descriptor, use == Use::read ? QSocketNotifier::Read : QSocketNotifier::Write) {
        // The action may destroy this object, so it is moved out first.
        QObject::connect(&notifier, &QSocketNotifier::activated,
                         [this, use, ready = std::move(ready)]() mutable {
                             notifier.setEnabled(false);
                             std::exchange(ready, {})(failed(use));
                         });
    }

  private:
    // Qt tells that something happened, but not what.
    bool failed(Use use) const {
        pollfd state{static_cast<int>(notifier.socket()), pollEvents(use), 0};
        return poll(&state, 1, 0) > 0 && isBroken(state.revents);
    }

    QSocketNotifier notifier;
};

QtMainLoop::QtMainLoop(BackgroundThreads::Start startThread)
    : receiver(std::make_shared<Receiver>()), threads(std::move(startThread)) {}

QtMainLoop::~QtMainLoop() {
    receiver->shut();
}

MainLoop::Duration QtMainLoop::uptime() const {
    thread.check();
    return SystemClock::uptime();
}

Date QtMainLoop::now() const {
    thread.check();
    return SystemClock::now();
}

void QtMainLoop::post(std::function<void()> action) {
    receiver->put(std::move(action));
}

std::unique_ptr<Timer> QtMainLoop::after(Duration delay, std::function<void()> action) {
    thread.check();
    return std::make_unique<OneShot>(delay, std::move(action));
}

std::unique_ptr<DescriptorWatch> QtMainLoop::watch(int descriptor, Use use, std::function<void(bool)> ready) {
    thread.check();
    return std::make_unique<Notice>(descriptor, use, std::move(ready));
}

void QtMainLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    thread.check();
    threads.run([work = std::move(work), done = std::move(done), receiver = receiver]() mutable {
        work();
        receiver->put(std::move(done));
    });
}

} // namespace orvel
