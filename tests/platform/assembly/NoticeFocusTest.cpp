// The notice of a failed command on a real X server with a window manager: what is typed meanwhile goes where
// it went before.

#include "Orvel/platform/linux/XApplications.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/screens/FailureNotice.h"
#include "platform/linux/XTestDesktop.h"

#include <QApplication>
#include <QPushButton>

namespace orvel {
namespace {

class NoticeFocusTest : public XDesktopTest {};

TEST_F(NoticeFocusTest, theKeyboardStaysWhereItWas) {
    if (!isInstalled("openbox")) GTEST_SKIP() << "openbox is not installed.";
    setenv("DISPLAY", server->display().c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    unsetenv("WAYLAND_DISPLAY");
    const TestProcess manager({"openbox", "--sm-disable"});
    PosixProcesses processes{loop, loop};
    XApplications applications(*person, loop, processes);
    const auto atom = person->atom("_NET_SUPPORTING_WM_CHECK");
    ASSERT_TRUE(runUntil([&] { return person->property(person->root(), atom, 4).has_value(); }));
    TestApplication agent(server->display());
    agent.claim(4711, "claude");
    agent.show();
    const auto isInFront = [&] {
        const auto front = applications.frontmost();
        return front && front->process == 4711;
    };
    ASSERT_TRUE(runUntil([&] { return applications.activate(4711) && isInFront(); }));

    int count = 1;
    char name[] = "notice";
    char* arguments[] = {name, nullptr};
    QApplication application(count, arguments);
    const auto read = XWindowList(server->display()).reader();
    const auto isShown = [&] {
        QApplication::processEvents();
        const auto owners = read(1000);
        return owners && std::find(owners->begin(), owners->end(), "notice") != owners->end();
    };
    SimulatedLoop clock;
    FailureNotice notice(clock);
    notice.tell("Something failed.", "14:32:07 / Codex / Return", [] {});
    ASSERT_TRUE(runUntil(isShown));
    const auto arrives = [&](const std::string& keys) {
        agent.seen.clear();
        stroke(0);
        return runUntil([&] {
            QApplication::processEvents();
            agent.connection->dispatch();
            return agent.seen == keys;
        });
    };
    EXPECT_TRUE(arrives("0 -0 "));
    EXPECT_TRUE(isInFront());

    auto* close = notice.findChildren<QPushButton*>().back();
    const auto place = close->mapToGlobal(close->rect().center());
    xcb_test_fake_input(person->get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, person->root(),
                        static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y()), 0);
    for (const auto type : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE})
        xcb_test_fake_input(person->get(), static_cast<std::uint8_t>(type), 1, XCB_CURRENT_TIME, 0, 0, 0, 0);
    xcb_flush(person->get());
    EXPECT_TRUE(runUntil([&] { return !isShown(); })) << "its button was clicked";
    EXPECT_TRUE(arrives("0 -0 "));
    EXPECT_TRUE(isInFront());
}

} // namespace
} // namespace orvel
