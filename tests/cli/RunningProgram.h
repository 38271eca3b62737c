#pragma once
// The program itself, running beside the test.

#include "cli/CommandLineRun.h"

#include <csignal>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orvel {

class RunningProgram {
  public:
    static constexpr int ownPipe = -2, none = -1;

    /// `standardOutput` is a descriptor, none, or a pipe to this object.
    explicit RunningProgram(std::vector<std::string> words, int standardOutput = ownPipe);
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram() {
        if (process > 0) {
            ::kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
        close(out);
        close(err);
    }

    pid_t id() const { return process; }
    void signal(int number) const { ::kill(process, number); }

    /// Waits until standard output holds the text. False if it never will, or not soon.
    bool says(std::string_view text) {
        while (result.out.find(text) == std::string::npos)
            if (!readSome(out, result.out)) return false;
        return true;
    }

    /// Waits for the end. The status of a program that a signal ended is 128 and the signal's number.
    RunResult finish() {
        while (readSome(out, result.out)) {
        }
        while (readSome(err, result.err)) {
        }
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        process = 0;
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return result;
    }

  private:
    static constexpr int patience = 60'000; // Milliseconds; nothing here takes more than a few.

    static bool readSome(int from, std::string& into) {
        pollfd waiting{from, POLLIN, 0};
        if (poll(&waiting, 1, patience) != 1) {
            ADD_FAILURE() << "The program keeps silent.";
            return false;
        }
        char buffer[4096];
        const auto count = read(from, buffer, sizeof buffer);
        if (count > 0) into.append(buffer, static_cast<std::size_t>(count));
        return count > 0;
    }

    pid_t process = 0;
    int out = -1, err = -1;
    RunResult result{};
};

} // namespace orvel
