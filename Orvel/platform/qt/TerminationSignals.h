#pragma once
// Lets the signals that ask a program to end close a Qt application in order, so that it saves and removes
// what it has to.

#include <memory>

class QSocketNotifier;

namespace orvel {

class WakePipe;

/// While it lives, SIGINT, SIGTERM and SIGHUP end the event loop; no window is asked. There is one at a time.
class TerminationSignals {
  public:
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    ~TerminationSignals();

  private:
    std::unique_ptr<WakePipe> pipe;
    std::unique_ptr<QSocketNotifier> notifier; // Ends before the pipe that it watches.
};

} // namespace orvel
