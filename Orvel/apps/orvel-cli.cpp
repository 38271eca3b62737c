// The program orvel-cli: Orvel in a terminal.

#include "Orvel/cli/CommandLine.h"
#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/Output.h"
#include "Orvel/platform/posix/StandardStreams.h"

#include <csignal>
#include <string>
#include <vector>

int main(int count, char** arguments) {
    orvel::holdStandardStreams();
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
