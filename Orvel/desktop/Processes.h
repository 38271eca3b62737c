#pragma once
// Child processes: started with separate arguments and without a shell, and ended with whoever owns them.

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

/// What is started, and how.
struct ChildLaunch {
    std::string executable; ///< Absolute path.
    std::vector<std::string> arguments;
    /// Variables in which the child's environment differs from this process's.
    std::map<std::string, std::string> environment;
    /// Whether standard input and output are pipes to this process; otherwise they are the null device, as
    /// standard error always is.
    bool hasPipes = false;

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

/// What became of one attempt to move bytes through a pipe. It never blocks.
struct PipeTransfer {
    enum class Kind {
        moved,   ///< `count` bytes, at least one.
        notNow,  ///< Nothing at this moment.
        finished ///< The other end is closed, or the pipe failed.
    };

    Kind kind = Kind::notNow;
    std::size_t count = 0;
};

/// Waits for a pipe; destroying it ends the waiting.
class PipeWatch {
  public:
    virtual ~PipeWatch() = default;
};

/// A child process. Destroying it kills the child, if it still runs, and reaps it. Belongs to the main loop's
/// thread.
class ChildProcess {
  public:
    virtual ~ChildProcess() = default;

    /// The child's exit status, with 128 and the number of a signal that ended it; nothing while it runs.
    virtual std::optional<int> exitStatus() = 0;
    /// Asks the child to end.
    virtual void terminate() = 0;
    /// Ends the child and what it started.
    virtual void kill() = 0;

    // Only with pipes

    virtual PipeTransfer read(std::span<char> into) = 0;
    virtual PipeTransfer write(std::string_view bytes) = 0;
    /// Calls `ready` once, from the loop, as soon as the end can be used; with true if it is broken: it
    /// failed, or the other side hung up. `ready` may destroy the watch and the child.
    [[nodiscard]] virtual std::unique_ptr<PipeWatch> whenReady(PipeEnd end,
                                                               std::function<void(bool isBroken)> ready) = 0;
    virtual void closePipes() = 0;
};

class Processes {
  public:
    virtual ~Processes() = default;

    /// Starts a child. No descriptor of this process reaches it but its pipes. Throws ProcessError; then
    /// nothing runs.
    [[nodiscard]] virtual std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) = 0;

    /// Whether an executable file lies at the path.
    virtual bool isExecutable(const std::string& path) = 0;

    /// A variable of this process's environment.
    virtual std::optional<std::string> environmentVariable(const std::string& name) = 0;
};

} // namespace orvel
