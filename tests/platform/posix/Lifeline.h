#pragma once
// A FIFO that a process holds while it lives, so that its end is an event.

#include "Orvel/platform/posix/Descriptor.h"
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

namespace orvel {

class Lifeline {
  public:
    Lifeline() {
        if (mkfifo(path().c_str(), 0600) != 0) throw std::runtime_error("no FIFO");
        readEnd = Descriptor(open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }

    std::string path() const { return folder.path("lifeline"); }
    /// Waits until somebody holds it; false after a minute.
    bool isHeld() const { return next() == 1; }
    /// Waits until nobody holds it any more; false after a minute.
    bool isLetGo() const { return next() == 0; }

  private:
    ssize_t next() const {
        pollfd waiting{readEnd.get(), POLLIN, 0};
        char byte = 0;
        return poll(&waiting, 1, 60'000) == 1 ? read(readEnd.get(), &byte, 1) : -1;
    }

    TemporaryFolder folder;
    Descriptor readEnd;
};

} // namespace orvel
