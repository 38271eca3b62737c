#include "Orvel/platform/qt/TerminationSignals.h"

#include "Orvel/platform/posix/WakePipe.h"

#include <array>
#include <csignal>

#include <QCoreApplication>
#include <QSocketNotifier>

namespace orvel {

namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

// A signal handler may do little more than write to a pipe, from which the event loop reads.
const WakePipe* toldPipe = nullptr;

void tellEventLoop(int) {
    toldPipe->wake();
}

void handleSignals(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : endingSignals) sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals() : pipe(std::make_unique<WakePipe>()) {
    toldPipe = pipe.get();
    notifier = std::make_unique<QSocketNotifier>(pipe->readEnd(), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [] { QCoreApplication::exit(); });
    handleSignals(tellEventLoop);
}

TerminationSignals::~TerminationSignals() {
    handleSignals(SIG_DFL);
}

} // namespace orvel
