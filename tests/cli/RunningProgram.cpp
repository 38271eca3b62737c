#include "cli/RunningProgram.h"

#include <fcntl.h>
#include <spawn.h>

namespace orvel {

RunningProgram::RunningProgram(std::vector<std::string> words, int standardOutput) {
    words.insert(words.begin(), "orvel-cli");
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int outEnds[2], errEnds[2];
    EXPECT_EQ(pipe2(outEnds, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(errEnds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (standardOutput == none)
        posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    else
        posix_spawn_file_actions_adddup2(&actions, standardOutput == ownPipe ? outEnds[1] : standardOutput,
                                         STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errEnds[1], STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&process, ORVEL_CLI, &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(outEnds[1]);
    close(errEnds[1]);
    out = outEnds[0];
    err = errEnds[0];
}

} // namespace orvel
