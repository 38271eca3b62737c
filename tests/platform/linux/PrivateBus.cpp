#include "PrivateBus.h"

#include "Orvel/platform/linux/BusConnection.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr const char* daemonProgram = "/usr/bin/dbus-daemon";
constexpr const char* launcherProgram = "/usr/libexec/at-spi-bus-launcher";

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> found;
    for (auto& text : texts) found.push_back(text.data());
    found.push_back(nullptr);
    return found;
}

} // namespace

OwnChild::OwnChild(const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& environment) {
    auto words = arguments;
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);
    auto arguments_ = pointers(words), environment_ = pointers(variables);
    process = fork();
    if (process != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
    const auto nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    execve(arguments_[0], arguments_.data(), environment_.data());
    _exit(127);
}

void OwnChild::end() {
    if (process <= 0) return;
    kill(process, SIGTERM);
    const bool isEnded = comes([this] { return waitpid(process, nullptr, WNOHANG) != 0; });
    if (!isEnded) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    process = -1;
}

void OwnChild::signal(int number) const {
    kill(process, number);
}

bool comes(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::string PrivateBus::whatIsMissing() {
    for (const auto* program : {daemonProgram, launcherProgram})
        if (access(program, X_OK) != 0) return std::string("This machine has no ") + program + ".";
    return {};
}

PrivateBus::PrivateBus() {
    auto pattern = (std::filesystem::temp_directory_path() / "orvel-bus-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no folder for the bus");
    place = pattern;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    sessionAddress = "unix:path=" + (place / "session").string();
    start();
}

void PrivateBus::start() {
    std::filesystem::remove(place / "session");
    daemon =
        std::make_unique<OwnChild>(std::vector<std::string>{daemonProgram, "--session", "--nofork",
                                                            "--nopidfile", "--address=" + sessionAddress},
                                   environment());
    if (!comes([this] { return std::filesystem::exists(place / "session"); }))
        throw std::runtime_error("no session bus");
    launcher = std::make_unique<OwnChild>(std::vector<std::string>{launcherProgram, "--launch-immediately"},
                                          environment());
    turn(true);
}

PrivateBus::~PrivateBus() {
    end();
    std::error_code ignored;
    std::filesystem::remove_all(place, ignored);
}

void PrivateBus::end() {
    if (launcher) launcher->end();
    if (daemon) daemon->end();
    // What they started follows them.
    comes([] { return waitpid(-1, nullptr, WNOHANG) < 0; });
}

std::map<std::string, std::string> PrivateBus::environment() const {
    return {{"PATH", "/usr/bin:/bin"},
            {"HOME", place.string()},
            {"XDG_RUNTIME_DIR", place.string()},
            {"DBUS_SESSION_BUS_ADDRESS", sessionAddress},
            {"GSETTINGS_BACKEND", "memory"}};
}

void PrivateBus::turn(bool isOn) const {
    const std::array calls{BusCall{{"org.a11y.Bus", "/org/a11y/bus"},
                                   "org.freedesktop.DBus.Properties",
                                   "Set",
                                   [isOn](sd_bus_message* message) {
                                       return sd_bus_message_append(message, "ssv", "org.a11y.Status",
                                                                    "IsEnabled", "b", int{isOn});
                                   }}};
    const bool isSet = comes([&] {
        const auto end = std::chrono::steady_clock::now() + 2s;
        const auto connection = BusConnection::open(sessionAddress, BusKind::bus, end);
        return connection && connection->exchange(calls, end)[0].status() == AXStatus::success;
    });
    if (!isSet) throw std::runtime_error("no accessibility bus");
}

} // namespace orvel
