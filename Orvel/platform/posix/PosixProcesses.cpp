#include "Orvel/platform/posix/PosixProcesses.h"

#include "Orvel/platform/posix/Descriptor.h"
#include "OrvelCore/files/FileError.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <list>
#include <sstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/mman.h>
#include <sys/prctl.h>
#endif

extern char** environ; // NOLINT(readability-redundant-declaration): not every system declares it.

namespace orvel {

namespace {

[[noreturn]] void failLaunch(const std::string& path, int code) {
    throw ProcessError(ProcessError::Case::launchFailed, FileError::fromErrno(code, "start", path).what());
}

[[noreturn]] void failPipes(const std::string& path) {
    throw ProcessError(ProcessError::Case::pipesFailed,
                       FileError::fromErrno(errno, "make pipes to", path).what());
}

// Descriptors

// Where this process has closed its own standard streams, a new descriptor takes such a number, in whose way
// the child's would come.
Descriptor aboveStandardStreams(int number) {
    if (number > STDERR_FILENO) return Descriptor(number);
    const Descriptor low(number);
    return Descriptor(fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct Pipe {
    Descriptor readEnd, writeEnd;
};

Pipe makePipe(const std::string& path) {
    int ends[2];
#ifdef __linux__
    if (pipe2(ends, O_CLOEXEC) != 0) failPipes(path);
#else
    if (pipe(ends) != 0) failPipes(path);
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
    Pipe made{aboveStandardStreams(ends[0]), aboveStandardStreams(ends[1])};
    if (!made.readEnd || !made.writeEnd) failPipes(path);
    return made;
}

// A file that only its descriptors reach: on Linux in memory, so that no disk ever sees what it holds.
Descriptor namelessFile(const std::string& path) {
#ifdef __linux__
    Descriptor file = aboveStandardStreams(memfd_create("orvel", MFD_CLOEXEC));
#else
    const char* folder = std::getenv("TMPDIR");
    std::string name = std::string(folder && *folder ? folder : "/tmp") + "/orvel-XXXXXX";
    Descriptor file = aboveStandardStreams(mkstemp(name.data()));
    if (file) {
        unlink(name.c_str());
        fcntl(file.get(), F_SETFD, FD_CLOEXEC);
    }
#endif
    if (!file) failPipes(path);
    return file;
}

Descriptor fileHolding(std::string_view text, const std::string& path) {
    auto file = namelessFile(path);
    while (!text.empty()) {
        const auto count = write(file.get(), text.data(), text.size());
        if (count < 0 && errno != EINTR) failPipes(path);
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    if (lseek(file.get(), 0, SEEK_SET) != 0) failPipes(path);
    return file;
}

void neverBlock(const Descriptor& end, const std::string& path) {
    if (fcntl(end.get(), F_SETFL, O_NONBLOCK) != 0) failPipes(path);
}

void raiseNoSignal([[maybe_unused]] const Descriptor& end, [[maybe_unused]] const std::string& path) {
#ifdef F_SETNOSIGPIPE
    if (fcntl(end.get(), F_SETNOSIGPIPE, 1) != 0) failPipes(path);
#endif
}

// Where a pipe can't be told to raise no signal when it is broken, the signal is held back while one write
// lasts, and one that the write has raised is taken away. Other signals of that kind are left alone.
class BrokenPipeSilence {
#ifdef F_SETNOSIGPIPE
  public:
    void takeSignal() const {}
#else
  public:
    BrokenPipeSilence() {
        sigset_t pending;
        sigpending(&pending);
        wasPending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&brokenPipe);
        sigaddset(&brokenPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
    }
    BrokenPipeSilence(const BrokenPipeSilence&) = delete;
    BrokenPipeSilence& operator=(const BrokenPipeSilence&) = delete;
    ~BrokenPipeSilence() {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    void takeSignal() const {
        const timespec atOnce{};
        if (!wasPending) sigtimedwait(&brokenPipe, nullptr, &atOnce);
    }

  private:
    bool wasPending;
    sigset_t brokenPipe, before;
#endif
};

PipeTransfer transferred(ssize_t count) {
    using enum PipeTransfer::Kind;
    if (count > 0) return {moved, static_cast<std::size_t>(count)};
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return {notNow, 0};
    return {finished, 0};
}

// The start of a child. Behind the fork only calls that are safe in a signal handler may be made, so all that
// the child needs is made before.

using Words = std::vector<std::string>;

std::vector<char*> pointersTo(Words& words) {
    std::vector<char*> pointers;
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

Words commandOf(const ChildLaunch& launch) {
    Words command{launch.executable};
    command.insert(command.end(), launch.arguments.begin(), launch.arguments.end());
    return command;
}

Words environmentOf(const ChildLaunch& launch, const PosixProcesses::Environment& general) {
    const auto isKept = [&](std::string_view variable) {
        return std::none_of(launch.withoutVariables.begin(), launch.withoutVariables.end(),
                            [&](const auto& beginning) { return variable.starts_with(beginning); });
    };
    auto changed = launch.environment;
    for (const auto& [name, value] : general)
        if (isKept(name)) changed.emplace(name, value);
    Words variables;
    for (char** entry = environ; *entry; ++entry) {
        const std::string_view variable(*entry);
        if (isKept(variable) && !changed.contains(std::string(variable.substr(0, variable.find('=')))))
            variables.emplace_back(variable);
    }
    for (const auto& [name, value] : changed) {
        variables.push_back(name + '=');
        variables.back() += value;
    }
    return variables;
}

bool holdsNul(const Words& words) {
    return std::any_of(words.begin(), words.end(),
                       [](const auto& word) { return word.find('\0') != word.npos; });
}

struct ChildStart {
    char* const* command;
    char* const* environment;
    int input, output, error; ///< What becomes the standard streams.
    int report;               ///< Where a failure's code is written to.
    int descriptorLimit;      ///< No descriptor of this process has a higher number.
    pid_t parent;
    const char* workingDirectory; ///< Null for this process's own.
    bool isUnattended;
};

int descriptorLimit() {
    constexpr rlim_t most = 65'536;
    rlimit limit{};
    return static_cast<int>(getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min(limit.rlim_cur, most) : most);
}

void closeOthersOnExec(const ChildStart& start) {
    constexpr int first = STDERR_FILENO + 1;
#ifdef CLOSE_RANGE_CLOEXEC
    if (close_range(first, ~0U, CLOSE_RANGE_CLOEXEC) == 0) return;
#endif
    for (int descriptor = first; descriptor < start.descriptorLimit; ++descriptor)
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

void endWithParent([[maybe_unused]] const ChildStart& start) {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != start.parent) _exit(127); // It has ended already.
#endif
}

void resetSignals() {
    for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeChild(const ChildStart& start) {
    if (start.isUnattended) {
        setsid();
    } else {
        setpgid(0, 0);
        endWithParent(start);
    }
    resetSignals();
    if ((!start.workingDirectory || chdir(start.workingDirectory) == 0) &&
        dup2(start.input, STDIN_FILENO) >= 0 && dup2(start.output, STDOUT_FILENO) >= 0 &&
        dup2(start.error, STDERR_FILENO) >= 0) {
        closeOthersOnExec(start);
        execve(start.command[0], start.command, start.environment);
    }
    const int code = errno;
    [[maybe_unused]] const auto done = write(start.report, &code, sizeof code);
    _exit(127);
}

// Forks while no signal can arrive, since a handler of this process must not run in the child.
pid_t forkChild(const ChildStart& start) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    if (child == 0) becomeChild(start);
    const int code = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = code;
    return child;
}

void reap(pid_t child) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// The code with which a start failed, or zero: the report's other end is closed by the exec.
int reportedFailure(const Descriptor& report) {
    int code = 0;
    while (read(report.get(), &code, sizeof code) < 0 && errno == EINTR) {
    }
    return code;
}

// The running child

class PosixWatch;

// This process's ends, known to the child and to all that waits for them.
struct Pipes {
    Pipes(MainLoop& loop, DescriptorWatcher& descriptors) : loop(loop), descriptors(descriptors) {}

    MainLoop& loop;
    DescriptorWatcher& descriptors;
    Descriptor input, output;
    std::list<PosixWatch*> watches;
};

class PosixWatch : public PipeWatch {
  public:
    PosixWatch(std::shared_ptr<Pipes> ends, PipeEnd end, std::function<void(bool)> action)
        : pipes(std::move(ends)), ready(std::move(action)) {
        const auto& descriptor = end == PipeEnd::input ? pipes->input : pipes->output;
        const auto use = end == PipeEnd::input ? DescriptorWatcher::Use::write : DescriptorWatcher::Use::read;
        if (descriptor)
            opened =
                pipes->descriptors.watch(descriptor.get(), use, [this](bool isBroken) { call(isBroken); });
        else
            pipeIsClosed();
        pipes->watches.push_back(this);
    }
    PosixWatch(const PosixWatch&) = delete;
    PosixWatch& operator=(const PosixWatch&) = delete;
    ~PosixWatch() override { pipes->watches.remove(this); }

    void pipeIsClosed() {
        opened.reset();
        closed = pipes->loop.after(MainLoop::Duration::zero(), [this] { call(true); });
    }

  private:
    void call(bool isBroken) {
        pipes->watches.remove(this);
        const auto action = std::move(ready); // It may destroy this object.
        action(isBroken);
    }

    std::shared_ptr<Pipes> pipes;
    std::function<void(bool)> ready;
    std::unique_ptr<DescriptorWatch> opened;
    std::unique_ptr<Timer> closed;
};

class PosixChild : public ChildProcess {
  public:
    /// `record` is where an unattended child writes to.
    PosixChild(pid_t process, std::shared_ptr<Pipes> pipes, Descriptor record)
        : process(process), pipes(std::move(pipes)), record(std::move(record)) {}
    PosixChild(const PosixChild&) = delete;
    PosixChild& operator=(const PosixChild&) = delete;
    ~PosixChild() override {
        PosixChild::closePipes();
        const bool hasEnded = PosixChild::exitStatus().has_value();
        if (record && !hasEnded && !isEnding) return; // The system reaps it behind this process.
        if (isEnding || !hasEnded) PosixChild::kill();
        if (!isLost) reap(process);
    }

    std::optional<int> exitStatus() override {
        if (!status) look();
        return status;
    }

    void terminate() override {
        isEnding = true;
        signal(SIGTERM);
    }

    void kill() override {
        signal(SIGKILL);
        if (!isLost) ::kill(process, SIGKILL); // It may have joined another group.
    }

    std::string said(std::size_t limit) override {
        std::string text(limit, '\0');
        const auto count = record ? pread(record.get(), text.data(), limit, 0) : 0;
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return text;
    }

    PipeTransfer read(std::span<char> into) override {
        if (into.empty()) return {};
        return transferred(::read(pipes->output.get(), into.data(), into.size()));
    }

    PipeTransfer write(std::string_view bytes) override {
        if (bytes.empty()) return {};
        const BrokenPipeSilence silence;
        const auto count = ::write(pipes->input.get(), bytes.data(), bytes.size());
        const auto result = transferred(count);
        if (result.kind == PipeTransfer::Kind::finished) silence.takeSignal();
        return result;
    }

    std::unique_ptr<PipeWatch> whenReady(PipeEnd end, std::function<void(bool)> ready) override {
        return std::make_unique<PosixWatch>(pipes, end, std::move(ready));
    }

    void closePipes() override {
        for (auto* watch : pipes->watches) watch->pipeIsClosed();
        pipes->input.close();
        pipes->output.close();
    }

  private:
    // Asks without reaping: as long as the child is not reaped, its number stays its own and its group's, and
    // no signal can reach a stranger.
    void look() {
        siginfo_t end{};
        int result = 0;
        do result = waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT);
        while (result != 0 && errno == EINTR);
        if (result != 0) {
            // It ended where this process has children reaped without being asked, and left no status.
            isLost = true;
            status = 255;
        } else if (end.si_pid != 0) {
            status = end.si_code == CLD_EXITED ? end.si_status : 128 + end.si_status;
        }
    }

    void signal(int number) {
        look();
        if (!isLost) ::kill(-process, number);
    }

    pid_t process;
    std::shared_ptr<Pipes> pipes;
    Descriptor record;
    std::optional<int> status;
    bool isLost = false;   ///< The number is the child's no more.
    bool isEnding = false; ///< It was asked to end, with all that it started.
};

// What the system tells of any process.
struct ProcessFacts {
    bool hasEnded = false; ///< And waits to be reaped.
    std::string startMark;
};

// Nothing where the system tells nothing.
std::optional<ProcessFacts> knownOf([[maybe_unused]] pid_t process) {
#ifdef __linux__
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    // The program's name stands in parentheses and may hold anything; behind it comes the third field.
    const auto name = line.rfind(')');
    if (name == line.npos) return std::nullopt;
    constexpr int firstField = 3, startField = 22;
    std::istringstream rest(line.substr(name + 1));
    std::string field, state;
    for (int number = firstField; number <= startField; ++number) {
        if (!(rest >> field)) return std::nullopt;
        if (number == firstField) state = field;
    }
    return ProcessFacts{state == "Z" || state == "X", field};
#else
    return std::nullopt;
#endif
}

} // namespace

std::unique_ptr<ChildProcess> PosixProcesses::start(const ChildLaunch& launch) {
    auto command = commandOf(launch);
    auto variables = environmentOf(launch, environment);
    if (holdsNul(command) || holdsNul(variables)) failLaunch(launch.executable, EINVAL);

    auto pipes = std::make_shared<Pipes>(loop, descriptors);
    Pipe input, output;
    Descriptor text, record;
    if (launch.unattendedInput) {
        text = fileHolding(*launch.unattendedInput, launch.executable);
        record = namelessFile(launch.executable);
    } else if (launch.hasPipes) {
        input = makePipe(launch.executable);
        output = makePipe(launch.executable);
        pipes->input = std::move(input.writeEnd);
        pipes->output = std::move(output.readEnd);
        neverBlock(pipes->input, launch.executable);
        neverBlock(pipes->output, launch.executable);
        raiseNoSignal(pipes->input, launch.executable);
    }
    auto report = makePipe(launch.executable);
    const auto null = aboveStandardStreams(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null) failPipes(launch.executable);

    const auto firstOf = [&](const Descriptor& unattended, const Descriptor& pipe) {
        return unattended ? unattended.get() : pipe ? pipe.get() : null.get();
    };
    const auto process = forkChild(
        {.command = pointersTo(command).data(),
         .environment = pointersTo(variables).data(),
         .input = firstOf(text, input.readEnd),
         .output = firstOf(record, output.writeEnd),
         .error = firstOf(record, null),
         .report = report.writeEnd.get(),
         .descriptorLimit = descriptorLimit(),
         .parent = getpid(),
         .workingDirectory = launch.workingDirectory.empty() ? nullptr : launch.workingDirectory.c_str(),
         .isUnattended = launch.unattendedInput.has_value()});
    if (process < 0) failLaunch(launch.executable, errno);
    report.writeEnd.close();
    if (const int code = reportedFailure(report.readEnd); code != 0) {
        reap(process);
        failLaunch(launch.executable, code);
    }
    return std::make_unique<PosixChild>(process, std::move(pipes), std::move(record));
}

std::size_t PosixProcesses::longestArgument() {
#ifdef __linux__
    // The kernel's MAX_ARG_STRLEN, of which the closing NUL takes one byte.
    constexpr long pages = 32;
    return static_cast<std::size_t>(pages * sysconf(_SC_PAGESIZE) - 1);
#else
    // Elsewhere only all arguments and variables together are limited.
    constexpr std::size_t reserve = 8'192; // For the other arguments, and for the pointers to all of them.
    std::size_t taken = reserve;
    for (const auto& variable : environmentOf({}, environment)) taken += variable.size() + 1 + sizeof(char*);
    const auto all = static_cast<std::size_t>(sysconf(_SC_ARG_MAX));
    return all - std::min(taken, all);
#endif
}

bool PosixProcesses::isExecutable(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) && access(path.c_str(), X_OK) == 0;
}

bool PosixProcesses::isRunning(ProcessID process, const std::string& startMark) {
    if (process <= 0 || (::kill(process, 0) != 0 && errno != EPERM)) return false;
    const auto known = knownOf(process);
    if (!known) return true;
    return !known->hasEnded && (startMark.empty() || startMark == known->startMark);
}

std::optional<std::string> PosixProcesses::environmentVariable(const std::string& name) {
    if (const auto given = environment.find(name); given != environment.end()) return given->second;
    const char* value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace orvel
