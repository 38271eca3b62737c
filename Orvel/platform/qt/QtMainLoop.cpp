#include "Orvel/platform/qt/QtMainLoop.h"

#include "Orvel/platform/posix/SystemClock.h"

#include <mutex>

#include <QMetaObject>
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

QtMainLoop::QtMainLoop() : receiver(std::make_shared<Receiver>()) {}

QtMainLoop::~QtMainLoop() {
    receiver->shut();
}

MainLoop::Duration QtMainLoop::uptime() const {
    return SystemClock::uptime();
}

Date QtMainLoop::now() const {
    return SystemClock::now();
}

void QtMainLoop::post(std::function<void()> action) {
    receiver->put(std::move(action));
}

std::unique_ptr<Timer> QtMainLoop::after(Duration delay, std::function<void()> action) {
    return std::make_unique<OneShot>(delay, std::move(action));
}

void QtMainLoop::runInBackground(std::function<void()> work, std::function<void()> done) {
    threads.run([work = std::move(work), done = std::move(done), receiver = receiver]() mutable {
        work();
        receiver->put(std::move(done));
    });
}

} // namespace orvel
