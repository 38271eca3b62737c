#include "Orvel/platform/qt/TerminationSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <fcntl.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

// A signal handler may do little more than write to a pipe, from which the event loop reads.
std::array<int, 2> pipeEnds{-1, -1};

void tellEventLoop(int) {
    const int code = errno;
    [[maybe_unused]] const auto done = write(pipeEnds[1], "", 1);
    errno = code;
}

void handleSignals(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : endingSignals) sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals() {
    if (pipe(pipeEnds.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : pipeEnds) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
    handleSignals(tellEventLoop);
}

TerminationSignals::~TerminationSignals() {
    handleSignals(SIG_DFL);
    notifier.reset();
    for (int& end : pipeEnds) close(std::exchange(end, -1));
}

} // namespace orvel
