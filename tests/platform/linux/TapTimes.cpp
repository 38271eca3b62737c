// Prints what the tap costs a person on this machine, over a server of its own: how long a Return that passes
// takes to an ordinary window, with and without the tap, and how long the keyboard stands still when Orvel or
// its guard hangs or dies. For people; the tests judge no times.

#include "platform/linux/ForkedTap.h"

#include <algorithm>
#include <cstdio>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t returnKey = 36, keyX = 7;

class Times {
  public:
    // In milliseconds, from the press until the window has it.
    double untilArrived(std::int64_t code) {
        const auto keycode = window.keys.stroke(code, 0)->keycode;
        const auto pressed = std::to_string(code) + " ";
        window.seen.clear();
        const auto began = Clock::now();
        fake(XCB_KEY_PRESS, keycode);
        arrives(pressed);
        const auto took = std::chrono::duration<double, std::milli>(Clock::now() - began).count();
        fake(XCB_KEY_RELEASE, keycode);
        arrives("-" + pressed);
        return took;
    }

    void returns(const char* name) {
        constexpr int count = 2'000;
        std::vector<double> times;
        for (int number = 0; number < count; ++number) {
            times.push_back(untilArrived(returnKey));
            std::this_thread::sleep_for(2ms);
        }
        std::sort(times.begin(), times.end());
        std::printf("Return %s: median %.2f ms, 99th percentile %.2f ms, longest %.2f ms of %d\n", name,
                    times[count / 2], times[count * 99 / 100], times.back(), count);
    }

    // Until a letter arrives that is pressed behind a Return.
    void standstill(const char* name, int signal, bool isAsking, bool hitsGuard) {
        constexpr int count = 10;
        double longest = 0;
        for (int round = 0; round < count; ++round) {
            const ForkedTap orvel(server.display(), isAsking ? 10min : 0ms);
            if (orvel.next() != 's') return void(std::puts("There is no tap."));
            const auto guard = guardsOf(orvel.process).front();
            const auto struck = hitsGuard ? guard : orvel.process;
            const auto keycode = window.keys.stroke(returnKey, 0)->keycode;
            if (!isAsking) kill(struck, signal);
            const auto began = Clock::now();
            fake(XCB_KEY_PRESS, keycode);
            if (isAsking && orvel.next() == 'a') kill(struck, signal);
            untilArrived(keyX);
            longest =
                std::max(longest, std::chrono::duration<double, std::milli>(Clock::now() - began).count());
            fake(XCB_KEY_RELEASE, keycode);
            person->synchronise();
            if (!hitsGuard) kill(orvel.process, SIGKILL);
            while (runs(guard)) std::this_thread::sleep_for(1ms);
        }
        std::printf("%s: the longest standstill of %d is %.0f ms\n", name, count, longest);
    }

    TestServer server;

  private:
    // As the last key.
    void arrives(const std::string& key) {
        const auto end = Clock::now() + 5s;
        const auto isThere = [&] { return window.seen == key || window.seen.ends_with(" " + key); };
        while (!isThere() && Clock::now() < end) {
            window.connection->waitUntil(Clock::now() + 5ms);
            window.connection->dispatch();
        }
        if (!isThere()) std::puts("A key never arrived.");
    }
    void fake(std::uint8_t type, xcb_keycode_t keycode) {
        xcb_test_fake_input(person->get(), type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        xcb_flush(person->get());
    }

    std::unique_ptr<XConnection> person = XConnection::open(server.display());
    TestApplication window{server.display()};

  public:
    Times() {
        window.show();
        window.focus();
    }
};

// The loop of a tap whose handler passes everything at once.
void returnsThroughATap(Times& times) {
    int ready[2];
    if (pipe(ready) != 0) return;
    const auto process = fork();
    if (process == 0) {
        PollLoop loop;
        XKeyboardTap tap(loop, std::make_shared<XOwnInput>(), times.server.display());
        const bool isStarted =
            tap.start([](const TapEvent&) { return TapAnswer::pass; }) == TapStart::started;
        if (write(ready[1], isStarted ? "s" : "x", 1) == 1) loop.run();
        _exit(0);
    }
    char started = 0;
    if (read(ready[0], &started, 1) == 1 && started == 's') times.returns("through the tap");
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

} // namespace
} // namespace orvel

int main() {
    using namespace orvel;
    if (!isInstalled("Xvfb")) return std::puts("Xvfb is not installed."), EXIT_FAILURE;
    Times times;
    times.returns("without a tap");
    returnsThroughATap(times);
    times.returns("without a tap, again");
    times.standstill("Orvel suspended before a Return", SIGSTOP, false, false);
    times.standstill("Orvel suspended while it is asked", SIGSTOP, true, false);
    times.standstill("Orvel killed before a Return", SIGKILL, false, false);
    times.standstill("Orvel killed while it is asked", SIGKILL, true, false);
    times.standstill("Its guard suspended before a Return", SIGSTOP, false, true);
    times.standstill("Its guard suspended while it asks", SIGSTOP, true, true);
    times.standstill("Its guard killed while it asks", SIGKILL, true, true);
}
