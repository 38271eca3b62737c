#include "Orvel/platform/simulated/SimulatedCodex.h"

#include "samples/SampleCodexCommand.h"
#include "samples/SampleCodexServer.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace orvel {

using std::chrono::milliseconds;

class SimulatedCodex::Proxy : public SimulatedProgram {
  public:
    Proxy(SimulatedChildSide side, SimulatedCodex& codex)
        : SimulatedProgram(side), codex(codex), server(codex.home, codex.manner) {}

    void started() override {
        if (!codex.hasServer) side.exit(1);
    }

    void received(std::string_view bytes) override {
        say(server.receive(bytes, codex.moment()));
        if (const auto& complaint = server.complaint(); complaint && !std::exchange(hasComplained, true))
            codex.complained.push_back(*complaint);
        if (server.isClosed())
            leave(0);
        else
            waitForNextPass();
    }

    void inputClosed() override { leave(0); }
    void terminated() override { leave(128 + 15); }

  private:
    void waitForNextPass() {
        const auto next = server.nextPass();
        if (!next || (wakesAt && *wakesAt <= *next)) return;
        wakesAt = next;
        side.after(std::max(Duration::zero(), Duration(*next) - side.loop().uptime()), [this, at = *next] {
            if (wakesAt != at) return;
            wakesAt.reset();
            say(server.pass(codex.moment()));
            waitForNextPass();
        });
    }

    void leave(int status) {
        server.end(codex.moment());
        side.exit(status);
    }

    void say(const std::string& bytes) {
        if (!bytes.empty()) side.write(bytes);
    }

    SimulatedCodex& codex;
    SampleCodexServer server;
    std::optional<milliseconds> wakesAt;
    bool hasComplained = false;
};

class SimulatedCodex::Queue : public SimulatedProgram {
  public:
    Queue(SimulatedChildSide side, SimulatedCodex& codex, SampleCodexCommand command)
        : SimulatedProgram(side), codex(codex), command(std::move(command)) {}

    void started() override {
        side.after(codex.queueDuration / 2, [this] { store(); });
        side.after(codex.queueDuration, [this] {
            if (codex.queueEnds) side.exit(status);
        });
    }

  private:
    void store() {
        status = codex.queueStatus;
        if (const auto typed = std::exchange(codex.typedWhileStoring, std::nullopt))
            codex.queuesAsAnother(command.threadID, *typed);
        if (!codex.queueStores) return;
        if (codex.home.queue(command.threadID, command.message, codex.moment().unixMilliseconds,
                             codex.manner.turnsFail))
            codex.lookForMessages(command.threadID);
        else
            status = 1;
    }

    SimulatedCodex& codex;
    SampleCodexCommand command;
    int status = 0;
};

class SimulatedCodex::Exec : public SimulatedProgram {
  public:
    Exec(SimulatedChildSide side, SimulatedCodex& codex, std::string folder, std::string text)
        : SimulatedProgram(side),
          codex(codex),
          folder(std::move(folder)),
          text(std::move(text)),
          id(fmt::format("01a1fd20-0000-7000-8000-1{:011}", ++codex.startedThreads)) {}

    void started() override {
        side.after(startingUp, [this] {
            if (codex.exec.prints) side.write(printedAtStart(id));
            side.after(codex.exec.recordsAfter, [this] { record(); });
        });
    }

  private:
    static constexpr milliseconds startingUp{300};

    void record() {
        if (codex.exec.records) {
            writer = codex.home.begin(id, folder, text + codex.exec.adds, codex.moment().unixMilliseconds);
            codex.begunIDs.push_back(id);
        }
        const auto half = milliseconds(codex.manner.turnMilliseconds) / 2;
        side.after(half, [this] {
            if (codex.exec.endsEarly) side.exit(*codex.exec.endsEarly);
        });
        side.after(2 * half, [this] { end(); });
    }

    void end() {
        if (!codex.exec.ends) return;
        if (writer) {
            const auto moment = codex.moment().unixMilliseconds;
            side.write(printedAtEnd(writer->finish(moment, codex.manner.turnsFail)));
            writer->finishAll(moment, codex.manner.turnsFail);
        }
        side.exit(codex.manner.turnsFail ? 1 : 0);
    }

    SimulatedCodex& codex;
    std::string folder, text, id;
    std::unique_ptr<SampleCodexWriter> writer;
};

SimulatedCodex::SimulatedCodex(SimulatedProcesses& processes, SimulatedLoop& loop, const std::string& path,
                               std::string codexHome)
    : loop(loop), home(std::move(codexHome)) {
    processes.programs[path] = [this](SimulatedChildSide side,
                                      const ChildLaunch& launch) -> std::unique_ptr<SimulatedProgram> {
        auto command = SampleCodexCommand::parse(launch.arguments);
        switch (command.kind) {
        case SampleCodexCommand::Kind::proxy: return std::make_unique<Proxy>(side, *this);
        case SampleCodexCommand::Kind::queue: return std::make_unique<Queue>(side, *this, std::move(command));
        case SampleCodexCommand::Kind::exec:
            if (!launch.unattendedInput) break;
            return std::make_unique<Exec>(side, *this, command.folder, *launch.unattendedInput);
        case SampleCodexCommand::Kind::invalid: break;
        }
        return std::make_unique<SimulatedSaying>(side, "", SampleCodexCommand::statusOfInvalid);
    };
}

SimulatedCodex::~SimulatedCodex() = default;

bool SimulatedCodex::isFree(const std::string& threadID) const {
    const auto thread = home.thread(threadID);
    return thread && !home.hasWriter(*thread);
}

void SimulatedCodex::holdAsAnother(const std::string& threadID) {
    const auto thread = home.thread(threadID);
    auto writer = thread ? home.writer(*thread) : nullptr;
    if (!writer) throw std::logic_error("The thread is unknown or has a writer: " + threadID);
    others[threadID] = std::move(writer);
}

void SimulatedCodex::queuesAsAnother(const std::string& threadID, const std::string& message) {
    if (home.queue(threadID, message, moment().unixMilliseconds, manner.turnsFail)) lookForMessages(threadID);
}

void SimulatedCodex::letGo(const std::string& threadID) {
    if (!others.contains(threadID)) return;
    others.at(threadID)->finishAll(moment().unixMilliseconds, manner.turnsFail);
    others.erase(threadID);
    otherTurns.erase(threadID);
}

void SimulatedCodex::lookForMessages(const std::string& threadID) {
    const auto other = others.find(threadID);
    if (other == others.end() || !other->second->begin(moment().unixMilliseconds)) return;
    otherTurns[threadID] = loop.after(milliseconds(manner.turnMilliseconds), [this, threadID] {
        others.at(threadID)->finish(moment().unixMilliseconds, manner.turnsFail);
        lookForMessages(threadID);
    });
}

SampleMoment SimulatedCodex::moment() const {
    return {std::chrono::duration_cast<milliseconds>(loop.uptime()),
            std::llround(1000 * (loop.now() + referenceDateInUnixTime))};
}

} // namespace orvel
