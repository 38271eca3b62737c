#pragma once
// Child processes: started without a shell, and killed with their owner unless they are unattended.

#include "Orvel/desktop/ProcessID.h"
#include "OrvelCore/text/Failure.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// How to start a child.
struct ChildLaunch {
    std::string executable; ///< Absolute path.
    std::vector<std::string> arguments;
    /// Variables that differ from this process's environment.
    std::map<std::string, std::string> environment;
    /// Whether standard input and output are pipes to this process. Otherwise they are the null device, as
    /// standard error always is.
    bool hasPipes = false;
    std::string workingDirectory; ///< Absolute; this process's own if empty.
    /// With a text the child is unattended: it finds the text on standard input, whole from the beginning;
    /// its output and errors are kept for `said`; and it goes on, in a session of its own, when its owner or
    /// this process ends. It has no pipes.
    std::optional<std::string> unattendedInput;
    /// Variables of this process's environment whose names begin with one of these are not the child's.
    std::vector<std::string> withoutVariables;

    bool operator==(const ChildLaunch&) const = default;
};

class ProcessError : public Failure {
  public:
    enum class Case { launchFailed, pipesFailed };

    ProcessError(Case kind, std::string text)
        : Failure(kind == Case::launchFailed ? "launchFailed" : "pipesFailed", std::move(text)),
          which(kind) {}

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

/// This process's ends of the two pipes: `input` writes to the child, `output` reads from it.
enum class PipeEnd { input, output };

/// The outcome of one non-blocking read or write on a pipe.
struct PipeTransfer {
    enum class Kind {
        moved,   ///< `count` bytes, at least one.
        notNow,  ///< Nothing at the moment.
        finished ///< The other end is closed, or the pipe failed.
    };

    Kind kind = Kind::notNow;
    std::size_t count = 0;
};

/// Waits for a pipe, until destroyed.
class PipeWatch {
  public:
    virtual ~PipeWatch() = default;
};

/// A child process. Destroying it kills the child and everything it started, if it is still running or was
/// asked to end, and reaps it; an unattended child runs on. Belongs to the main loop's thread.
class ChildProcess {
  public:
    virtual ~ChildProcess() = default;

    /// The exit status, or 128 plus the number of the signal that ended the child; nothing while it runs.
    virtual std::optional<int> exitStatus() = 0;
    /// Asks the child to end.
    virtual void terminate() = 0;
    /// Kills the child and everything it started.
    virtual void kill() = 0;

    /// What an unattended child has written to standard output and error so far, at most the first `limit`
    /// bytes.
    virtual std::string said(std::size_t limit) = 0;

    // Only with pipes

    virtual PipeTransfer read(std::span<char> into) = 0;
    virtual PipeTransfer write(std::string_view bytes) = 0;
    /// Calls `ready` once, from the loop, as soon as the end can be used, with true if it is broken: it
    /// failed or the other side closed it. `ready` may destroy the watch and the child.
    [[nodiscard]] virtual std::unique_ptr<PipeWatch> whenReady(PipeEnd end,
                                                               std::function<void(bool isBroken)> ready) = 0;
    virtual void closePipes() = 0;
};

class Processes {
  public:
    virtual ~Processes() = default;

    /// Starts a child, which inherits no descriptors but its pipes. Throws ProcessError; then nothing runs.
    [[nodiscard]] virtual std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) = 0;

    /// How many bytes one argument of a child can have.
    virtual std::size_t longestArgument() = 0;

    /// Whether there is an executable file at the path.
    virtual bool isExecutable(const std::string& path) = 0;

    /// Whether that process runs and is the one that began at `startMark`, as the system counts (on Linux
    /// field 22 of /proc/PID/stat). Where the mark is empty or the system tells none, whether any process
    /// with that identifier runs.
    virtual bool isRunning(ProcessID process, const std::string& startMark) = 0;

    /// A variable of this process's environment.
    virtual std::optional<std::string> environmentVariable(const std::string& name) = 0;
};

} // namespace orvel
