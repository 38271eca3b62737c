// The program orvel-cli: Orvel in a terminal.

#include "Orvel/cli/CommandLine.h"
#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/Output.h"

#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Nothing that is opened later may take the place of a standard stream that was closed. What stands there now
// fails as the closed one did.
void holdStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int count, char** arguments) {
    holdStandardStreams();
    // A closed pipe is to be reported like every other failure.
    std::signal(SIGPIPE, SIG_IGN);
    orvel::StandardOutput output;
    const std::vector<std::string> given(arguments + (count > 0), arguments + count);
    const int status = orvel::runCommandLine(given, output);
    // Whoever waits for this process is to see that the signal ended it.
    if (const int number = orvel::Interruption::signal()) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    return status;
}
