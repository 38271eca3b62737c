// The program that the tests start as a child: its first argument says what it does.

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void say(std::string_view text) {
    while (!text.empty()) {
        const auto done = write(STDOUT_FILENO, text.data(), text.size());
        if (done <= 0) _exit(99);
        text.remove_prefix(static_cast<std::size_t>(done));
    }
}

[[noreturn]] void waitForTheEnd() {
    while (true) pause();
}

void echo() {
    char bytes[4096];
    for (ssize_t count; (count = read(STDIN_FILENO, bytes, sizeof bytes)) > 0;)
        say({bytes, static_cast<std::size_t>(count)});
}

// Whoever reads the FIFO sees its end with the end of the last process that holds it.
void holdLifeline(const char* fifo) {
    const int lifeline = open(fifo, O_WRONLY);
    if (lifeline < 0 || write(lifeline, "+", 1) != 1) _exit(98);
}

// What a child finds set up for it.
void tellState() {
    if (getpgrp() == getpid()) say("leads its group\n");
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            say("ignores " + std::to_string(number) + "\n");
        if (sigismember(&blocked, number) == 1) say("blocks " + std::to_string(number) + "\n");
    }
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
        if (fcntl(descriptor, F_GETFD) >= 0) say("has " + std::to_string(descriptor) + "\n");
}

// A bit for each of the three standard streams that is the null device.
int nullStreams() {
    struct stat null {};
    stat("/dev/null", &null);
    int bits = 0;
    for (int stream = 0; stream < 3; ++stream) {
        struct stat facts {};
        if (fstat(stream, &facts) == 0 && S_ISCHR(facts.st_mode) && facts.st_rdev == null.st_rdev)
            bits |= 1 << stream;
    }
    return bits;
}

void refuseToEnd() {
    struct sigaction action {};
    action.sa_handler = [](int) { say("no"); };
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace

int main(int count, char** arguments) {
    alarm(300); // Nothing stays behind, whatever a test forgets.
    const std::string_view task = count > 1 ? arguments[1] : "";
    const std::string value = count > 2 ? arguments[2] : "";
    if (task == "echo") {
        echo();
    } else if (task == "exit") {
        return std::stoi(value);
    } else if (task == "raise") {
        std::raise(std::stoi(value));
    } else if (task == "print") {
        say(std::string(std::stoul(value), 'x'));
    } else if (task == "hang up") {
        close(STDOUT_FILENO);
        waitForTheEnd();
    } else if (task == "be quiet") {
        waitForTheEnd();
    } else if (task == "wait") {
        say("yes");
        waitForTheEnd();
    } else if (task == "refuse") {
        refuseToEnd();
        say("yes");
        waitForTheEnd();
    } else if (task == "arguments") {
        for (int i = 2; i < count; ++i) say({arguments[i], std::string_view(arguments[i]).size() + 1});
    } else if (task == "environment") {
        for (char** entry = environ; *entry; ++entry) say({*entry, std::string_view(*entry).size() + 1});
    } else if (task == "state") {
        tellState();
    } else if (task == "null streams") {
        return nullStreams();
    } else if (task == "folder") {
        char folder[4096];
        say(getcwd(folder, sizeof folder));
    } else if (task == "hold") {
        holdLifeline(arguments[2]);
        waitForTheEnd();
    } else if (task == "leave a child") { // It ends when nobody watches its lifeline any more.
        if (fork() != 0) return 0;
        holdLifeline(arguments[2]);
        while (usleep(10'000) == 0) holdLifeline(arguments[2]);
    } else if (task == "have a child") { // Which asks to be killed.
        if (fork() != 0) waitForTheEnd();
        std::signal(SIGTERM, SIG_IGN);
        holdLifeline(arguments[2]);
        waitForTheEnd();
    } else {
        return 97;
    }
    return 0;
}
