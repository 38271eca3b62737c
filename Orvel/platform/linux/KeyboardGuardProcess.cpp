#include "Orvel/platform/linux/KeyboardGuardProcess.h"

#include "Orvel/platform/linux/XKeyboardTap.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" { // Which glibc 2.36 forgot to say itself.
#include <sys/pidfd.h>
}

extern char** environ; // NOLINT(readability-redundant-declaration): not every system declares it.

namespace orvel {

namespace {

// What becomes of the guard's descriptors and signals.
class SpawnPlan {
  public:
    explicit SpawnPlan(int socket) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        posix_spawnattr_init(&attributes);
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        // In a session of its own, since what a terminal does to Orvel, such as to suspend it, must not meet
        // the one that gives the keyboard back.
        posix_spawnattr_setflags(&attributes,
                                 POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

} // namespace

std::optional<std::string> keyboardGuardProgram() {
    std::error_code failure;
    const auto program = std::filesystem::canonical("/proc/self/exe", failure);
    if (failure) return std::nullopt;
    for (const auto* place : {".", "..", ORVEL_TOOLS_FROM_PROGRAMS}) {
        const auto path = (program.parent_path() / place / "orvel-keyboard-guard").lexically_normal();
        if (access(path.c_str(), X_OK) == 0) return path.string();
    }
    return std::nullopt;
}

std::unique_ptr<KeyboardGuardProcess> KeyboardGuardProcess::start(const std::string& program,
                                                                  const std::string& display) {
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return nullptr;
    Descriptor own(ends[0]), other(ends[1]);
    const SpawnPlan plan(other.get());
    std::string path = program, argument = display;
    char* const words[] = {path.data(), argument.data(), nullptr};
    pid_t process = 0;
    if (posix_spawn(&process, path.c_str(), &plan.actions, &plan.attributes, words, environ) != 0)
        return nullptr;
    other.close(); // So that the guard's end shows at once.
    Descriptor handle(pidfd_open(process, 0));
    if (!handle) {
        ::kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        return nullptr;
    }
    std::unique_ptr<KeyboardGuardProcess> made(
        new KeyboardGuardProcess(GuardLink(std::move(own)), process, std::move(handle)));
    return made->begins(deadline) ? std::move(made) : nullptr;
}

bool KeyboardGuardProcess::begins(std::chrono::steady_clock::time_point deadline) const {
    GuardMessage first;
    return connected.greet(GuardLink::Side::orvel, deadline) && connected.waitUntil(deadline) &&
           connected.receive(first) == GuardLink::Receipt::received &&
           first.kind == GuardMessage::Kind::ready;
}

bool KeyboardGuardProcess::endsWithin(std::chrono::milliseconds limit) {
    pollfd wanted{.fd = handle.get(), .events = POLLIN, .revents = 0};
    poll(&wanted, 1, static_cast<int>(limit.count()));
    const auto reaped = waitpid(process, nullptr, WNOHANG);
    if (reaped == process || (reaped < 0 && errno == ECHILD)) process = 0;
    return process == 0;
}

void KeyboardGuardProcess::end() {
    connected.close();
    if (process == 0 || endsWithin(endLimit)) return;
    kill();
}

void KeyboardGuardProcess::kill() {
    if (process == 0) return;
    pidfd_send_signal(handle.get(), SIGKILL, nullptr, 0);
    endsWithin(startLimit);
}

} // namespace orvel
