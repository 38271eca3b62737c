#pragma once
// A Qt application without a display, for tests of what needs one.

#include <functional>

#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>

namespace orvel {

class QtFixture : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (qApp) return;
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int count = 1;
        static char name[] = "test";
        static char* arguments[] = {name, nullptr};
        static const QApplication application(count, arguments);
    }

    /// Lets Qt work until the condition holds; fails the test if it doesn't within a generous time.
    static void waitFor(const std::function<bool()>& condition) {
        const QDeadlineTimer deadline(30'000);
        while (!condition() && !deadline.hasExpired()) QApplication::processEvents(QEventLoop::AllEvents, 10);
        EXPECT_TRUE(condition());
        QApplication::processEvents();
    }
};

} // namespace orvel
