#pragma once
// The three main loops, run alike by the suites that try all of them.

#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"

#include <system_error>

#include <QCoreApplication>
#include <QEventLoop>

namespace orvel {

/// Starts threads as long as there are any.
inline BackgroundThreads::Start startUnless(const bool& threadsAreExhausted) {
    return [&threadsAreExhausted](std::function<void()> work) {
        if (threadsAreExhausted) throw std::system_error(EAGAIN, std::generic_category(), "no thread");
        BackgroundThreads::startDetached(std::move(work));
    };
}

struct SimulatedDriver {
    SimulatedLoop loop;
    bool isStopped = false;
    void exhaustThreads(bool areExhausted) { loop.setThreadsExhausted(areExhausted); }
    void run() {
        for (isStopped = false; !isStopped;) loop.runFor(std::chrono::milliseconds(1));
    }
    void stop() { isStopped = true; }
};

struct PollDriver {
    bool threadsAreExhausted = false;
    PollLoop loop{startUnless(threadsAreExhausted)};
    void exhaustThreads(bool areExhausted) { threadsAreExhausted = areExhausted; }
    void run() { loop.run(); }
    void stop() { loop.stop(); }
};

struct QtDriver {
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{count, arguments};
    bool threadsAreExhausted = false;
    QtMainLoop loop{startUnless(threadsAreExhausted)};
    QEventLoop events;
    void exhaustThreads(bool areExhausted) { threadsAreExhausted = areExhausted; }
    void run() { events.exec(); }
    void stop() { events.quit(); }
};

/// Runs the loop until `stop`, or for a minute, which is a failure.
template <typename Driver>
void runWithin60s(Driver& driver) {
    bool isLate = false;
    const auto guard = driver.loop.after(std::chrono::seconds(60), [&] {
        isLate = true;
        driver.stop();
    });
    driver.run();
    ASSERT_FALSE(isLate);
}

} // namespace orvel
