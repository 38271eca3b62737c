// Conversations that Codex begins as a destination: which commands are run, and what they begin with.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include "samples/SampleCodexHome.h"

#include <algorithm>

namespace orvel::explore {

namespace {

class CodexStartWatch : public DestinationWatch {
  public:
    CodexStartWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
        desk.desktop.processes.onStart = [this](const ChildLaunch& launch) { see(launch); };
    }
    ~CodexStartWatch() override { desk.desktop.processes.onStart = nullptr; }

    bool touches(const SimulatedStep& step) override {
        return step.operation == "process" && step.name == "start" &&
               desk.model().messageOperation().isUnderWay();
    }

    bool mayHoldMessage() const override { return starts > 0; }

    bool hasReceived(const std::string& text) const override {
        return withText(desk.newWithCodex(), text) > 0;
    }

    bool isProvable(const std::string& text) const override {
        return withText(desk.newWithCodex(), text) == 1;
    }

    void finish(const std::string& text) override {
        if (withText(desk.codex.begun(), text) > 1)
            judge.fail(Rule::sentOnce, "two conversations were begun with the message");
    }

  private:
    void see(const ChildLaunch& launch) {
        if (launch.arguments.empty() || launch.arguments.front() != "exec") return;
        if (++starts > 1) judge.fail(Rule::writtenOnce, "handed over twice");
        const std::vector<std::string> expected{"exec", "--json",          "--skip-git-repo-check",
                                                "-C",   desk.codeFolder(), "-"};
        if (launch.arguments != expected || launch.unattendedInput != judge.payload())
            judge.fail(Rule::onlyTheMessageIsSent, "handed something else to Codex than the message");
    }

    std::ptrdiff_t withText(const std::vector<std::string>& threads, const std::string& text) const {
        const SampleCodexHome home(desk.folder + "/home/.codex");
        return std::count_if(threads.begin(), threads.end(), [&](const std::string& id) {
            const auto thread = home.thread(id);
            return thread && !thread->turns.empty() && thread->turns.front().items.front().text == text;
        });
    }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    int starts = 0;
};

} // namespace

std::unique_ptr<DestinationWatch> watchNewWithCodex(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<CodexStartWatch>(desk, judge);
}

} // namespace orvel::explore
