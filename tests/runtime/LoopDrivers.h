#pragma once
// The three main loops, run alike by the suites that try all of them.

#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/qt/QtMainLoop.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <gtest/gtest.h>

namespace orvel {

struct SimulatedDriver {
    SimulatedLoop loop;
    bool isStopped = false;
    void run() {
        for (isStopped = false; !isStopped;) loop.runFor(std::chrono::milliseconds(1));
    }
    void stop() { isStopped = true; }
};

struct PollDriver {
    PollLoop loop;
    void run() { loop.run(); }
    void stop() { loop.stop(); }
};

struct QtDriver {
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{count, arguments};
    QtMainLoop loop;
    QEventLoop events;
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
