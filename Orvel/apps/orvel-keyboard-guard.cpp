// The program orvel-keyboard-guard: holds the grab of Return for Orvel, which starts it with one end of their
// link as its standard input and the name of the display as its argument. It is of no use by itself.

#include "Orvel/platform/linux/KeyboardGuard.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

int main(int count, char** words) {
    int type = 0;
    socklen_t size = sizeof type;
    const bool isLinked =
        getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET;
    if (!isLinked || count != 2) {
        std::fputs("orvel-keyboard-guard: Orvel starts this program; it does nothing by itself.\n", stderr);
        return EXIT_FAILURE;
    }
    std::signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGCONT); // One that is suspended must still let go when Orvel dies.
    return orvel::runKeyboardGuard(orvel::GuardLink(orvel::Descriptor(STDIN_FILENO)), words[1]);
}
