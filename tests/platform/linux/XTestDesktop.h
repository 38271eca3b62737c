#pragma once
// An X server of the test's own, another application on it, and the person at its keyboard.

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"
#include "Orvel/platform/posix/PollLoop.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xtest.h>

namespace orvel {

/// A program that ends with its owner, by its own number.
class TestProcess {
  public:
    explicit TestProcess(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (auto& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process = fork();
        if (process != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int null = open("/dev/null", O_RDWR);
        for (const int stream : {0, 1, 2}) dup2(null, stream);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    ~TestProcess() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    TestProcess(const TestProcess&) = delete;
    TestProcess& operator=(const TestProcess&) = delete;

    pid_t process = 0;
};

inline bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

/// A server on a free display, of which only this machine's sockets know.
class TestServer {
  public:
    TestServer() {
        int ends[2];
        if (pipe(ends) != 0) return;
        server = std::make_unique<TestProcess>(
            std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(ends[1]), "-nolisten", "tcp",
                                     "-noreset", "-screen", "0", "800x600x24"});
        close(ends[1]);
        for (char digit = 0; read(ends[0], &digit, 1) == 1 && digit != '\n';) number += digit;
        close(ends[0]);
    }
    std::string display() const { return ":" + number; }
    void end() { server.reset(); }

  private:
    std::unique_ptr<TestProcess> server;
    std::string number;
};

/// Another application with a window, which notes the keys that reach it: "a" as it is pressed, "-a" as it is
/// released, by their numbers on macOS.
class TestApplication {
  public:
    explicit TestApplication(const std::string& display) : connection(XConnection::open(display)) {
        window = xcb_generate_id(get());
        const std::uint32_t events =
            XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_BUTTON_PRESS;
        xcb_create_window(get(), XCB_COPY_FROM_PARENT, window, connection->root(), 0, 0, 200, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
        connection->listen([this](const xcb_generic_event_t& event) { take(event); });
    }
    xcb_connection_t* get() const { return connection->get(); }

    void show() {
        xcb_map_window(get(), window);
        connection->synchronise();
    }
    /// Says whose the window is, as programs do.
    void claim(std::uint32_t process, const std::string& name) {
        const std::string both = "some" + std::string(1, '\0') + name + std::string(1, '\0');
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, window, connection->atom("_NET_WM_PID"),
                            XCB_ATOM_CARDINAL, 32, 1, &process);
        xcb_change_property(get(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                            static_cast<std::uint32_t>(both.size()), both.data());
    }
    void focus() {
        xcb_set_input_focus(get(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
        connection->synchronise();
    }

    std::unique_ptr<XConnection> connection;
    XKeys keys{*connection};
    xcb_window_t window = 0;
    std::string seen;            ///< The keys, each with a blank behind it.
    std::uint16_t lastState = 0; ///< The modifiers of the last key.
    std::vector<std::string> buttons;

  private:
    void take(const xcb_generic_event_t& event) {
        const auto type = event.response_type & 0x7F;
        const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
        if (type == XCB_BUTTON_PRESS)
            buttons.push_back(std::to_string(key.event_x) + "," + std::to_string(key.event_y));
        if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
        seen += (type == XCB_KEY_RELEASE ? "-" : "") + std::to_string(keys.code(key.detail)) + " ";
        lastState = key.state;
    }
};

/// Skips where there is no server to be had.
class XDesktopTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!isInstalled("Xvfb")) GTEST_SKIP() << "Xvfb is not installed.";
        server = std::make_unique<TestServer>();
        person = XConnection::open(server->display());
        ASSERT_TRUE(person);
        other = std::make_unique<TestApplication>(server->display());
        other->show();
        other->focus();
    }

    /// What a keyboard would send for the key with this number on macOS.
    void fake(std::uint8_t type, std::int64_t code) {
        const auto stroke = other->keys.stroke(code, 0);
        ASSERT_TRUE(stroke);
        xcb_test_fake_input(person->get(), type, stroke->keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        xcb_flush(person->get());
    }
    void press(std::int64_t code) { fake(XCB_KEY_PRESS, code); }
    void release(std::int64_t code) { fake(XCB_KEY_RELEASE, code); }
    void stroke(std::int64_t code) {
        press(code);
        release(code);
    }

    /// Runs the loop until something holds; false if it doesn't within the limit.
    bool runUntil(const std::function<bool()>& holds,
                  std::chrono::nanoseconds limit = std::chrono::seconds(20)) {
        const auto end = loop.uptime() + limit;
        bool isMet = false;
        std::unique_ptr<Timer> timer;
        const std::function<void()> look = [&] {
            other->connection->dispatch();
            isMet = holds();
            if (isMet || loop.uptime() > end) return loop.stop();
            timer = loop.after(std::chrono::milliseconds(1), look);
        };
        timer = loop.after(std::chrono::nanoseconds(0), look);
        loop.run();
        return isMet;
    }
    /// Until nothing that was sent before can still be on its way, to judge by a key that is sent now.
    bool settle() {
        stroke(marker);
        const auto end = "-" + std::to_string(marker) + " ";
        const bool isThere = runUntil([&] { return other->seen.ends_with(end); });
        const auto begin = other->seen.find(std::to_string(marker) + " ");
        if (begin != other->seen.npos) other->seen.erase(begin);
        return isThere;
    }

    static constexpr std::int64_t marker = 123; ///< An arrow, which no test presses.

    PollLoop loop;
    std::unique_ptr<TestServer> server;
    std::unique_ptr<XConnection> person;
    std::unique_ptr<TestApplication> other;
};

} // namespace orvel
