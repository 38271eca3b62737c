#include "Orvel/platform/simulated/SimulatedProcesses.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace orvel {

// A child as its two sides see it. Everything that reaches the program arrives from the loop, as from another
// process; what the program does is seen at once.
class SimulatedChildState : public std::enable_shared_from_this<SimulatedChildState> {
  public:
    struct Watch {
        PipeEnd end;
        std::function<void(bool)> ready;
        std::unique_ptr<Timer> firing;
    };

    SimulatedChildState(SimulatedProcesses& owner, const ChildLaunch& launch)
        : owner(owner),
          isInputOpen(launch.hasPipes),
          isOutputOpen(launch.hasPipes || launch.unattendedInput),
          isUnattended(launch.unattendedInput) {}

    void begin(std::unique_ptr<SimulatedProgram> newProgram) {
        program = std::move(newProgram);
        tellProgram([](SimulatedProgram& running) { running.started(); });
    }

    void step(std::string_view name) { owner.step(name); }
    SimulatedLoop& loop() const { return owner.loop; }

    // Runs the action from the loop, unless the program has ended by then.
    void after(MainLoop::Duration delay, std::function<void()> action) {
        if (status) return;
        const auto place = timers.emplace(timers.end());
        *place = loop().after(delay, [this, place, action = std::move(action)] {
            const auto alive = shared_from_this();
            const auto running = std::move(*place);
            timers.erase(place);
            action();
            forgetEndedProgram();
        });
    }

    template <typename Action>
    void tellProgram(Action action) {
        after(MainLoop::Duration::zero(), [this, action] { action(*program); });
    }

    void end(int newStatus) {
        if (status) return;
        status = newStatus;
        timers.clear();
        inbox.clear();
        isOutputOpen = false;
        wakeWatches();
    }

    // For an end that comes from outside, so never while the program's own code runs.
    void endFromOutside() {
        end(128 + 9);
        forgetEndedProgram();
    }

    void forgetEndedProgram() {
        if (status) program.reset();
    }

    // The program's output

    void writeOutput(std::string_view bytes) {
        if (!isOutputOpen || isSilent) return;
        outbox += bytes;
        wakeWatches();
    }

    void closeOutput() {
        isOutputOpen = false;
        wakeWatches();
    }

    void breakOffOutput() {
        outbox = outbox.substr(taken, (outbox.size() - taken) / 2);
        taken = 0;
        closeOutput();
    }

    PipeTransfer read(std::span<char> into) {
        if (!isHeld) return {PipeTransfer::Kind::finished, 0};
        if (outbox.empty())
            return {isOutputOpen ? PipeTransfer::Kind::notNow : PipeTransfer::Kind::finished, 0};
        const auto count = std::min({into.size(), outbox.size() - taken, owner.mostBytesPerTransfer});
        outbox.copy(into.data(), count, taken);
        taken += count;
        if (taken == outbox.size()) {
            outbox.clear();
            taken = 0;
        }
        return {PipeTransfer::Kind::moved, count};
    }

    // The program's input

    PipeTransfer write(std::string_view bytes) {
        if (!isHeld || !isInputOpen || status) return {PipeTransfer::Kind::finished, 0};
        const auto room = owner.pipeCapacity - std::min(owner.pipeCapacity, inbox.size());
        const auto count = std::min({bytes.size(), room, owner.mostBytesPerTransfer});
        if (count == 0) return {PipeTransfer::Kind::notNow, 0};
        if (inbox.empty())
            tellProgram([this](SimulatedProgram& running) {
                const auto arrived = std::exchange(inbox, {});
                wakeWatches();
                running.received(arrived);
            });
        inbox += bytes.substr(0, count);
        return {PipeTransfer::Kind::moved, count};
    }

    void closePipes() {
        if (!isHeld) return;
        isHeld = false;
        if (isInputOpen) tellProgram([](SimulatedProgram& running) { running.inputClosed(); });
        wakeWatches();
    }

    // Waiting

    bool isBroken(PipeEnd end) const {
        if (!isHeld || status) return true;
        return end == PipeEnd::output ? !isOutputOpen : !isInputOpen;
    }

    bool isReady(PipeEnd end) const {
        if (isBroken(end)) return true;
        return end == PipeEnd::output ? !outbox.empty() : inbox.size() < owner.pipeCapacity;
    }

    void wakeWatches() {
        for (auto* watch : watches)
            if (!watch->firing && isReady(watch->end))
                watch->firing = loop().after(MainLoop::Duration::zero(), [this, watch] {
                    watches.remove(watch);
                    const auto ready = std::move(watch->ready);
                    ready(isBroken(watch->end));
                });
    }

    SimulatedProcesses& owner;
    std::unique_ptr<SimulatedProgram> program;
    std::optional<int> status;
    std::list<std::unique_ptr<Timer>> timers;
    std::list<Watch*> watches;
    std::string inbox, outbox;
    std::size_t taken = 0; ///< How much of the outbox has been read.
    bool isInputOpen, isOutputOpen;
    bool isUnattended;
    bool isHeld = true; ///< The pipes are open on the side of the child's owner.
    bool isSilent = false;
    bool isOrphan = false; ///< The owner has ended.
};

namespace {

class SimulatedWatch : public PipeWatch {
  public:
    SimulatedWatch(std::shared_ptr<SimulatedChildState> state, PipeEnd end, std::function<void(bool)> ready)
        : state(std::move(state)), watch{end, std::move(ready), nullptr} {
        this->state->watches.push_back(&watch);
        this->state->wakeWatches();
    }
    ~SimulatedWatch() override { state->watches.remove(&watch); }

  private:
    std::shared_ptr<SimulatedChildState> state;
    SimulatedChildState::Watch watch;
};

} // namespace

class SimulatedChild : public ChildProcess {
  public:
    SimulatedChild(std::shared_ptr<SimulatedChildState> state,
                   std::set<std::shared_ptr<SimulatedChildState>>& children)
        : state(std::move(state)), children(children) {}
    ~SimulatedChild() override {
        if (!state->isOrphan && state->isUnattended)
            state->owner.goesOnAlone(state);
        else if (!state->isOrphan)
            state->endFromOutside();
        children.erase(state);
    }

    std::optional<int> exitStatus() override {
        state->step("exitStatus");
        return state->status;
    }
    void terminate() override {
        state->step("terminate");
        if (state->isOrphan) return;
        state->tellProgram([](SimulatedProgram& running) { running.terminated(); });
    }
    void kill() override {
        state->step("kill");
        if (!state->isOrphan) state->endFromOutside();
    }
    std::string said(std::size_t limit) override {
        state->step("said");
        return state->outbox.substr(0, limit);
    }
    PipeTransfer read(std::span<char> into) override {
        state->step("read");
        return state->read(into);
    }
    PipeTransfer write(std::string_view bytes) override {
        state->step("write");
        return state->write(bytes);
    }
    std::unique_ptr<PipeWatch> whenReady(PipeEnd end, std::function<void(bool)> ready) override {
        state->step("whenReady");
        return std::make_unique<SimulatedWatch>(state, end, std::move(ready));
    }
    void closePipes() override { state->closePipes(); }

  private:
    std::shared_ptr<SimulatedChildState> state;
    std::set<std::shared_ptr<SimulatedChildState>>& children;
};

SimulatedLoop& SimulatedChildSide::loop() const {
    return state.loop();
}

void SimulatedChildSide::write(std::string_view bytes) const {
    state.writeOutput(bytes);
}

void SimulatedChildSide::hangUp() const {
    state.closeOutput();
}

void SimulatedChildSide::exit(int status) const {
    state.end(status);
}

void SimulatedChildSide::after(MainLoop::Duration delay, std::function<void()> action) const {
    state.after(delay, std::move(action));
}

std::unique_ptr<ChildProcess> SimulatedProcesses::start(const ChildLaunch& launch) {
    step("start");
    const auto program = programs.find(launch.executable);
    if (program == programs.end())
        throw ProcessError(ProcessError::Case::launchFailed,
                           "The program could not be started: " + launch.executable);
    if (!launch.workingDirectory.empty() && !std::filesystem::is_directory(launch.workingDirectory))
        throw ProcessError(ProcessError::Case::launchFailed,
                           "The program could not be started in " + launch.workingDirectory);
    for (const auto& argument : launch.arguments)
        if (argument.size() > longest || argument.find('\0') != argument.npos)
            throw ProcessError(ProcessError::Case::launchFailed,
                               "An argument can't be passed on: " + launch.executable);
    launches.push_back(launch);
    if (onStart) onStart(launch);
    auto state = std::make_shared<SimulatedChildState>(*this, launch);
    children.insert(state);
    state->begin(program->second(SimulatedChildSide(*state), launch));
    return std::make_unique<SimulatedChild>(std::move(state), children);
}

bool SimulatedProcesses::isExecutable(const std::string& path) {
    return programs.contains(path);
}

bool SimulatedProcesses::isRunning(ProcessID process, const std::string& startMark) {
    step("isRunning");
    const auto found = strangers.find(process);
    return found != strangers.end() && (startMark.empty() || found->second == startMark);
}

std::optional<std::string> SimulatedProcesses::environmentVariable(const std::string& name) {
    const auto variable = environment.find(name);
    return variable == environment.end() ? std::nullopt : std::optional(variable->second);
}

int SimulatedProcesses::running() const {
    return static_cast<int>(std::count_if(children.begin(), children.end(), [](const auto& child) {
        return !child->status && !child->isUnattended;
    }));
}

void SimulatedProcesses::killAll() {
    for (const auto& child : children) child->endFromOutside();
}

void SimulatedProcesses::breakOffOutputs() {
    for (const auto& child : children) child->breakOffOutput();
}

void SimulatedProcesses::silenceAll() {
    for (const auto& child : children) child->isSilent = true;
}

void SimulatedProcesses::orphanAll() {
    for (const auto& child : children) {
        child->closePipes();
        child->isOrphan = true;
    }
    orphans.insert(orphans.end(), children.begin(), children.end());
    children.clear();
}

void SimulatedProcesses::goesOnAlone(std::shared_ptr<SimulatedChildState> child) {
    orphans.push_back(std::move(child));
}

void SimulatedProcesses::endOrphans() {
    for (const auto& child : orphans) child->endFromOutside();
    orphans.clear();
}

void SimulatedProcesses::step(std::string_view name) {
    if (beforeStep) beforeStep(name);
}

} // namespace orvel
