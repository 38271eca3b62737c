#include "Orvel/platform/posix/WakePipe.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace orvel {

WakePipe::WakePipe() {
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

WakePipe::~WakePipe() {
    for (const int end : ends) close(end);
}

void WakePipe::wake() const noexcept {
    const int code = errno;
    // A full pipe wakes the loop as well as one more byte would.
    [[maybe_unused]] const auto done = write(ends[1], "", 1);
    errno = code;
}

void WakePipe::drain() const {
    char bytes[64];
    while (read(ends[0], bytes, sizeof bytes) > 0) {
    }
}

} // namespace orvel
