#pragma once
// Child processes in memory: programs are objects that get bytes and answer with bytes on the simulated
// clock, and whatever can go wrong with a child can be made to go wrong.

#include "Orvel/desktop/Processes.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"

#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace orvel {

class SimulatedChildState;

/// What a running simulated program does to the outside. Lives as long as the program.
class SimulatedChildSide {
  public:
    explicit SimulatedChildSide(SimulatedChildState& state) : state(state) {}

    SimulatedLoop& loop() const;
    /// Puts bytes on standard output.
    void write(std::string_view bytes) const;
    /// Closes standard output and goes on running.
    void hangUp() const;
    /// Ends the program; it is destroyed before the loop goes on.
    void exit(int status) const;
    /// Runs the action after the delay, unless the program has ended.
    void after(MainLoop::Duration delay, std::function<void()> action) const;

  private:
    SimulatedChildState& state;
};

/// A program that can be started.
class SimulatedProgram {
  public:
    explicit SimulatedProgram(SimulatedChildSide side) : side(side) {}
    virtual ~SimulatedProgram() = default;

    virtual void started() {}
    /// Bytes from standard input.
    virtual void received(std::string_view) {}
    virtual void inputClosed() { side.exit(0); }
    /// Asked to end; one that does nothing here has to be killed.
    virtual void terminated() { side.exit(128 + 15); }

  protected:
    SimulatedChildSide side;
};

/// A program that says something and ends.
class SimulatedSaying : public SimulatedProgram {
  public:
    SimulatedSaying(SimulatedChildSide side, std::string text, int status)
        : SimulatedProgram(side), text(std::move(text)), status(status) {}

    void started() override {
        side.write(text);
        side.exit(status);
    }

  private:
    std::string text;
    int status;
};

class SimulatedProcesses : public Processes {
  public:
    using Program =
        std::function<std::unique_ptr<SimulatedProgram>(SimulatedChildSide side, const ChildLaunch& launch)>;

    explicit SimulatedProcesses(SimulatedLoop& loop) : loop(loop) {}

    std::unique_ptr<ChildProcess> start(const ChildLaunch& launch) override;
    std::size_t longestArgument() override { return longest; }
    bool isExecutable(const std::string& path) override;
    bool isRunning(ProcessID process, const std::string& startMark) override;
    std::optional<std::string> environmentVariable(const std::string& name) override;

    /// How many children have been started and not ended, without those that are unattended.
    int running() const;

    std::map<std::string, Program> programs; ///< By path.
    std::map<std::string, std::string> environment;
    std::map<ProcessID, std::string> strangers; ///< Other running processes, with their start marks.
    std::list<ChildLaunch> launches;            ///< All that were started.
    std::size_t longest = 131'071; ///< Bytes of an argument; a longer one, or a NUL in one, fails the start.

    std::size_t mostBytesPerTransfer = std::numeric_limits<std::size_t>::max();
    std::size_t pipeCapacity = 65'536; ///< How many bytes wait for a program before no more are taken.
    /// Called before each use of this port and of its children, by its name ("start", "isRunning", "read",
    /// "write", "said", "whenReady", "exitStatus", "terminate", "kill"); may throw from "start", kill
    /// children, or do anything else to the outside but destroy a child.
    std::function<void(std::string_view step)> beforeStep;
    /// Told of each child that is started.
    std::function<void(const ChildLaunch& launch)> onStart;
    /// Ends all children at once, as if each had been killed from outside.
    void killAll();
    /// The output of every child ends in the middle of what has not been read of it.
    void breakOffOutputs();
    /// No child says anything any more; they run on.
    void silenceAll();
    /// The program that started them has ended: its ends of the pipes are closed, its handles reach nothing
    /// any more, and the children go their own ways.
    void orphanAll();
    void endOrphans();

  private:
    friend class SimulatedChild;
    friend class SimulatedChildState;
    void step(std::string_view name);
    void goesOnAlone(std::shared_ptr<SimulatedChildState> child);

    SimulatedLoop& loop;
    std::set<std::shared_ptr<SimulatedChildState>> children;
    std::list<std::shared_ptr<SimulatedChildState>> orphans;
};

} // namespace orvel
