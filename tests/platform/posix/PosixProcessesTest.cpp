// What only real child processes can get wrong.

#include "Orvel/platform/posix/PosixProcesses.h"

#include "Failures.h"
#include "TemporaryFolder.h"
#include "platform/posix/ChildConversation.h"
#include "platform/posix/Lifeline.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <optional>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace orvel {
namespace {

struct World : PollDriver {
    PosixProcesses processes{loop, loop};

    std::unique_ptr<ChildProcess> start(std::vector<std::string> arguments, bool hasPipes = true) {
        return processes.start({CHILD_PROGRAM, std::move(arguments), {}, hasPipes});
    }
    std::string output(std::vector<std::string> arguments,
                       std::map<std::string, std::string> environment = {}) {
        const auto child =
            processes.start({CHILD_PROGRAM, std::move(arguments), std::move(environment), true});
        return readSome(*this, *child);
    }
};

std::vector<std::string> piecesEndedByNul(std::string_view text) {
    std::vector<std::string> pieces;
    while (!text.empty()) {
        pieces.emplace_back(text.substr(0, text.find('\0')));
        text.remove_prefix(std::min(text.size(), pieces.back().size() + 1));
    }
    return pieces;
}

int openDescriptors() {
    int count = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) count += fcntl(descriptor, F_GETFD) >= 0;
    return count;
}

// The only child of this process, by what the system lists.
pid_t onlyChild() {
    std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
    pid_t child = -1;
    list >> child;
    return child;
}

// As `ps` counts.
std::string startMarkOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string field;
    for (int i = 0; i < 22; ++i) file >> field; // The program's name has no blanks.
    return field;
}

bool hasChildren() {
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

TEST(PosixProcessesTest, ArgumentsArriveUnchanged) {
    const std::vector<std::string> arguments{"two words", "",  "\"'`$HOME\\", "-h",       "--",         "*",
                                             "a\nb\r\n",  " ", "日本語 é",    "\xFF\x01", "; exit 1 #", "日"};
    std::vector<std::string> all{"arguments"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(piecesEndedByNul(World().output(all)), arguments);
}

TEST(PosixProcessesTest, AChildBeginsInTheFolderThatItIsGiven) {
    World world;
    const TemporaryFolder folder;
    const auto child = world.processes.start({.executable = CHILD_PROGRAM,
                                              .arguments = {"folder"},
                                              .hasPipes = true,
                                              .workingDirectory = folder.path()});
    EXPECT_EQ(readSome(world, *child), folder.path());
    EXPECT_EQ(caseOf([&] {
                  (void)world.processes.start({.executable = CHILD_PROGRAM,
                                               .arguments = {"folder"},
                                               .workingDirectory = folder.path("gone")});
              }),
              "launchFailed");
}

// Nobody waits for it, and its session has no terminal whose end could reach it.
TEST(PosixProcessesTest, AnUnattendedChildGoesOnWithoutItsOwner) {
    World world;
    const Lifeline lifeline;
    std::optional<pid_t> process;
    {
        const auto child = world.processes.start(
            {.executable = CHILD_PROGRAM, .arguments = {"hold", lifeline.path()}, .unattendedInput = ""});
        ASSERT_TRUE(lifeline.isHeld());
        process = onlyChild();
        EXPECT_EQ(getsid(*process), *process);
    }
    EXPECT_EQ(kill(*process, 0), 0);
    const auto mark = startMarkOf(*process);
    EXPECT_TRUE(world.processes.isRunning(*process, mark));
    EXPECT_FALSE(world.processes.isRunning(*process, mark + "1"));
    kill(*process, SIGKILL);
    EXPECT_TRUE(lifeline.isLetGo());
    waitUntil(world,
              [&] { return !world.processes.isRunning(*process, mark); }); // Though nobody has reaped it.
    waitpid(*process, nullptr, 0);
    EXPECT_FALSE(world.processes.isRunning(*process, mark));
    EXPECT_FALSE(world.processes.isRunning(0, ""));
}

TEST(PosixProcessesTest, TheEnvironmentDiffersOnlyWhereAsked) {
    setenv("ORVEL_TEST_KEPT", "kept = so", 1);
    setenv("ORVEL_TEST_CHANGED", "before", 1);
    setenv("ORVEL_TEST_CHANGED_NOT", "before", 1);
    std::vector<std::string> expected;
    for (char** entry = environ; *entry; ++entry)
        if (!std::string_view(*entry).starts_with("ORVEL_TEST_CHANGED=")) expected.emplace_back(*entry);
    expected.insert(expected.end(), {"ORVEL_TEST_CHANGED=a=b", "ORVEL_TEST_NEW=", "ORVEL_TEST_AWAY_2="});
    setenv("ORVEL_TEST_AWAY_1", "away", 1);
    World world;
    const auto child = world.processes.start(
        {.executable = CHILD_PROGRAM,
         .arguments = {"environment"},
         .environment = {{"ORVEL_TEST_CHANGED", "a=b"}, {"ORVEL_TEST_NEW", ""}, {"ORVEL_TEST_AWAY_2", ""}},
         .hasPipes = true,
         .withoutVariables = {"ORVEL_TEST_AWAY_"}});
    const auto output = readSome(world, *child);
    unsetenv("ORVEL_TEST_AWAY_1");
    EXPECT_THAT(piecesEndedByNul(output), testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ(world.processes.environmentVariable("ORVEL_TEST_KEPT"), "kept = so");
    EXPECT_EQ(world.processes.environmentVariable("ORVEL_TEST_NEW"), std::nullopt);
    for (const char* name : {"ORVEL_TEST_KEPT", "ORVEL_TEST_CHANGED", "ORVEL_TEST_CHANGED_NOT"})
        unsetenv(name);
}

constexpr std::string_view cleanState = "leads its group\nhas 0\nhas 1\nhas 2\n";

TEST(PosixProcessesTest, AChildInheritsNoDescriptorsAndNoSignalSettings) {
    World world;
    const auto other = world.start({"wait"}); // Its pipes are this process's alone.
    const Descriptor inheritable(fcntl(STDERR_FILENO, F_DUPFD, 200));
    const auto before = std::signal(SIGHUP, SIG_IGN);
    sigset_t blocked, mask;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, &mask);
    EXPECT_EQ(world.output({"state"}), cleanState);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    std::signal(SIGHUP, before);
}

TEST(PosixProcessesTest, StreamsThatAreNoPipesAreTheNullDevice) {
    World world;
    EXPECT_EQ(waitForExit(world, *world.start({"null streams"}, true)), 1 << STDERR_FILENO);
    EXPECT_EQ(waitForExit(world, *world.start({"null streams"}, false)), 7);
}

TEST(PosixProcessesTest, AProcessWithoutStandardStreamsCanStartChildren) {
    const auto talk = [](int streams) {
        World world; // Before, so that its own descriptors don't fill the gaps.
        for (int stream = 0; stream < 3; ++stream)
            if (streams & 1 << stream) close(stream);
        if (world.output({"state"}) != cleanState) _exit(1);
        const auto child = world.start({"echo"});
        child->write("hello");
        _exit(readSome(world, *child, 5) == "hello" ? 0 : 2);
    };
    for (int streams = 1; streams < 8; ++streams) {
        SCOPED_TRACE(streams);
        EXPECT_EXIT(talk(streams), testing::ExitedWithCode(0), "");
    }
}

TEST(PosixProcessesTest, AFailedStartSaysWhyAndLeavesNothing) {
    const TemporaryFolder folder;
    const auto text = folder.write("text", "#!/bin/sh\n");
    const auto noFormat = folder.write("no format", "?");
    const auto noInterpreter = folder.write("no interpreter", "#!/there/is/none\n");
    for (const auto& file : {noFormat, noInterpreter})
        std::filesystem::permissions(file, std::filesystem::perms(0700));
    struct Case {
        ChildLaunch launch;
        std::string reason;
    };
    const std::vector<Case> cases{
        {{folder.path("none"), {}, {}, true}, "No such file or directory"},
        {{"", {}, {}, true}, "No such file or directory"},
        {{text, {}, {}, true}, "Permission denied"},
        {{noFormat, {}, {}, true}, "Exec format error"},
        {{noInterpreter, {}, {}, true}, "No such file or directory"},
        {{CHILD_PROGRAM, {std::string("a\0b", 3)}, {}, true}, "Invalid argument"},
        {{CHILD_PROGRAM, {std::string(10'000'000, 'x')}, {}, true}, "Argument list too long"},
    };
    World world;
    const int before = openDescriptors();
    for (const auto& [launch, reason] : cases) {
        EXPECT_EQ(endOf([&] { (void)world.processes.start(launch); }),
                  "launchFailed: Couldn't start “" + launch.executable + "”: " + reason + ".");
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

TEST(PosixProcessesTest, WithoutDescriptorsNoPipesAreMadeAndNothingLeaks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "The sanitizer makes pipes itself when it looks at an object's type.";
#endif
    const auto startWithFew = [] {
        World world;
        const rlimit limit{64, 64};
        setrlimit(RLIMIT_NOFILE, &limit);
        std::vector<Descriptor> taken;
        for (int number; (number = dup(STDERR_FILENO)) >= 0;) taken.emplace_back(number);
        int failures = 0;
        for (bool isStarted = false; !isStarted; taken.pop_back()) {
            const int before = openDescriptors();
            try {
                isStarted = waitForExit(world, *world.start({"exit", "0"})) == 0;
            } catch (const ProcessError& failure) {
                if (failure.kind() != ProcessError::Case::pipesFailed) _exit(100);
                ++failures;
            }
            if (openDescriptors() != before || hasChildren()) _exit(101);
        }
        _exit(failures);
    };
    // Three pipes and the null device.
    EXPECT_EXIT(startWithFew(), testing::ExitedWithCode(7), "");
}

TEST(PosixProcessesTest, ABrokenPipeRaisesNoSignalAndOthersStayPending) {
    World world;
    sigset_t brokenPipe, mask, after;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    const auto child = world.start({"exit", "0"});
    waitForExit(world, *child);
    EXPECT_EQ(child->write("hello").kind, PipeTransfer::Kind::finished);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
    sigpending(&after);
    EXPECT_EQ(sigismember(&after, SIGPIPE), 0);

    pthread_kill(pthread_self(), SIGPIPE);
    EXPECT_EQ(child->write("hello").kind, PipeTransfer::Kind::finished);
    sigpending(&after);
    EXPECT_EQ(sigismember(&after, SIGPIPE), 1);
    int number = 0;
    if (sigismember(&after, SIGPIPE) == 1) sigwait(&brokenPipe, &number);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

TEST(PosixProcessesTest, ADestroyedChildIsGoneWithItsPipesAndWithWhatItStarted) {
    World world;
    const int before = openDescriptors();
    for (const std::string task : {"hold", "have a child"}) {
        SCOPED_TRACE(task);
        const Lifeline lifeline;
        auto child = world.start({task, lifeline.path()});
        EXPECT_TRUE(lifeline.isHeld());
        if (task != "hold") {
            child->terminate();
            EXPECT_EQ(waitForExit(world, *child), 128 + SIGTERM);
        }
        child.reset();
        EXPECT_TRUE(lifeline.isLetGo());
        EXPECT_FALSE(hasChildren());
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(PosixProcessesTest, WhatAChildLeavesThatHasEndedByItselfGoesOn) {
    World world;
    const Lifeline lifeline;
    auto child = world.start({"leave a child", lifeline.path()}, false);
    EXPECT_EQ(waitForExit(world, *child), 0);
    child.reset();
    for (int looks = 0; looks < 20; ++looks) EXPECT_TRUE(lifeline.isHeld());
}

TEST(PosixProcessesTest, TheLongestArgumentArrivesAndNoLongerOne) {
    World world;
    const auto most = world.processes.longestArgument();
    EXPECT_EQ(waitForExit(world, *world.start({"exit", "0", std::string(most, 'x')}, false)), 0);
#ifdef __linux__
    EXPECT_THROW((void)world.start({"exit", "0", std::string(most + 1, 'x')}, false), ProcessError);
#endif
}

TEST(PosixProcessesTest, AChildReapedBySomebodyElseCountsAsEndedAndIsLeftAlone) {
    World world;
    auto child = world.start({"exit", "0"});
    EXPECT_GT(waitpid(-1, nullptr, 0), 0);
    EXPECT_EQ(child->exitStatus(), 255);
    child->kill();
    child.reset();
}

#ifdef __linux__

TEST(PosixProcessesTest, AProcessKilledTakesItsChildrenWithIt) {
    const Lifeline lifeline;
    const pid_t parent = fork();
    if (parent == 0) {
        World world;
        const auto child = world.start({"hold", lifeline.path()}, false);
        while (true) pause();
    }
    EXPECT_TRUE(lifeline.isHeld());
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    EXPECT_TRUE(lifeline.isLetGo());
}

#endif

TEST(PosixProcessesTest, OnlyAFileThatMayBeExecutedIsExecutable) {
    const TemporaryFolder folder;
    const auto text = folder.write("text", "");
    std::filesystem::create_symlink(CHILD_PROGRAM, folder.path("link"));
    std::filesystem::create_symlink(folder.path("none"), folder.path("broken link"));
    World world;
    const std::vector<std::pair<std::string, bool>> cases{
        {CHILD_PROGRAM, true},  {folder.path("link"), true},         {text, false},
        {folder.path(), false}, {folder.path("broken link"), false}, {"", false},
    };
    for (const auto& [path, isExecutable] : cases)
        EXPECT_EQ(world.processes.isExecutable(path), isExecutable) << path;
}

} // namespace
} // namespace orvel
