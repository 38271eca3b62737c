#include "Orvel/platform/posix/StandardStreams.h"

#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace orvel {

void holdStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace orvel
