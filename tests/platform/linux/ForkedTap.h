#pragma once
// Another process with a tap, as Orvel is one: it can be suspended and killed.

#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "platform/linux/XTestDesktop.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <poll.h>

namespace orvel {

/// State and parent of a process, as the system tells; nothing if there is none.
struct ProcessStanding {
    std::string name;
    char state = 0;
    pid_t parent = 0;
};

inline std::optional<ProcessStanding> standingOf(const std::string& process) {
    std::ifstream file("/proc/" + process + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const auto begin = line.find('('), end = line.rfind(')');
    if (begin == line.npos || end == line.npos) return std::nullopt;
    ProcessStanding standing{.name = line.substr(begin + 1, end - begin - 1)};
    std::istringstream(line.substr(end + 1)) >> standing.state >> standing.parent;
    return standing;
}

inline bool runs(pid_t process) {
    const auto standing = standingOf(std::to_string(process));
    return standing && standing->state != 'Z';
}

/// The guards that a process has, ended ones that nobody has reaped among them.
inline std::vector<pid_t> guardsOf(pid_t parent) {
    std::vector<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const auto number = entry.path().filename().string();
        const auto standing = std::isdigit(number.front()) ? standingOf(number) : std::nullopt;
        if (standing && standing->parent == parent && standing->name.starts_with("orvel-keyboard"))
            found.push_back(std::stoi(number));
    }
    return found;
}

/// Ends with its owner. Its handler says a letter for each Return: "a" as it is asked, "r" for a repeat; and
/// "t" or "u" as the tap is disabled, by a timeout or otherwise.
class ForkedTap {
  public:
    ForkedTap(const std::string& display, std::chrono::milliseconds answersAfter) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        process = fork();
        if (process == 0) run(display, answersAfter, ends[1]);
        close(ends[1]);
        words = ends[0];
    }
    ~ForkedTap() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        close(words);
    }
    ForkedTap(const ForkedTap&) = delete;
    ForkedTap& operator=(const ForkedTap&) = delete;

    /// Its next letter, or a blank if there is none for long.
    char next() const {
        char letter = ' ';
        pollfd wanted{.fd = words, .events = POLLIN, .revents = 0};
        constexpr int limit = 20'000;
        if (poll(&wanted, 1, limit) > 0 && read(words, &letter, 1) != 1) letter = ' ';
        return letter;
    }

    pid_t process = 0;

  private:
    [[noreturn]] static void run(const std::string& display, std::chrono::milliseconds answersAfter,
                                 int words) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const auto say = [words](char letter) {
            if (write(words, &letter, 1) != 1) _exit(1);
        };
        PollLoop loop;
        XKeyboardTap tap(loop, std::make_shared<XOwnInput>(), display);
        const auto started = tap.start([&](const TapEvent& event) {
            if (event.type == TapEventType::tapDisabledByTimeout) say('t');
            if (event.type == TapEventType::tapDisabledByUserInput) say('u');
            if (event.type != TapEventType::keyDown || !KeyCode::isReturn(event.keyCode))
                return TapAnswer::pass;
            say(event.isRepeat ? 'r' : 'a');
            if (event.isRepeat) return TapAnswer::pass;
            std::this_thread::sleep_for(answersAfter);
            return TapAnswer::swallow;
        });
        say(started == TapStart::started ? 's' : 'x');
        loop.run();
        _exit(0);
    }

    int words = -1;
};

} // namespace orvel
