// Claude Code's own command as a destination: how it is started, and what stands in the transcript.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include "OrvelCore/conversations/TranscriptReader.h"

#include <chrono>
#include <fstream>
#include <optional>

#include <nlohmann/json.hpp>

namespace orvel::explore {

namespace {

// From the look at who has the conversation open to the start; nobody can make that nothing.
constexpr MainLoop::Duration longestLook = std::chrono::milliseconds(10);

class ClaudeCodeWatch : public DestinationWatch {
  public:
    ClaudeCodeWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
        desk.desktop.processes.onStart = [this](const ChildLaunch& launch) { see(launch); };
    }
    ~ClaudeCodeWatch() override { desk.desktop.processes.onStart = nullptr; }

    bool touches(const SimulatedStep& step) override {
        if (!desk.claudeCode.isOpenElsewhere())
            openSince.reset();
        else if (!openSince)
            openSince = desk.desktop.loop.uptime();
        return step.operation == "process" && step.name == "start";
    }

    bool mayHoldMessage() const override { return handovers > 0; }

    bool hasReceived(const std::string& text) const override { return count(text) > 0; }

    bool isProvable(const std::string& text) const override {
        const auto path = desk.claudeCode.transcriptPath(ExplorationDesk::claudeCodeSession);
        return hasReceived(text) && !TranscriptReader::read(path, Agent::claude).hasAmbiguousBranches;
    }

    void finish(const std::string& text) override {
        if (count(text) > 1) judge.fail(Rule::sentOnce, "the message stands in the destination twice");
    }

  private:
    void see(const ChildLaunch& launch) {
        if (launch.arguments == std::vector<std::string>{"--version"}) return;
        if (++handovers > 1) judge.fail(Rule::writtenOnce, "handed over twice");
        const std::vector<std::string> expected{"-p", "--resume", ExplorationDesk::claudeCodeSession,
                                                "--output-format", "json"};
        if (launch.arguments != expected || launch.unattendedInput != judge.payload())
            judge.fail(Rule::onlyTheMessageIsSent, "handed something else to Claude Code than the message");
        if (launch.workingDirectory != desk.codeFolder())
            judge.fail(Rule::onlyTheMessageIsSent, "started outside the conversation's folder");
        if (openSince && desk.desktop.loop.uptime() - *openSince > longestLook)
            judge.fail(Rule::nothingIsSweptAlong, "started while somebody has the conversation open");
    }

    // In the file, whether or not the turn still belongs to the branch that is read.
    std::ptrdiff_t count(const std::string& text) const {
        std::ifstream file(desk.claudeCode.transcriptPath(ExplorationDesk::claudeCodeSession));
        std::ptrdiff_t found = 0;
        for (std::string line; std::getline(file, line);) {
            const auto record = nlohmann::json::parse(line);
            if (record.at("type") == "user" && record.at("message").at("content") == text) ++found;
        }
        return found;
    }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    int handovers = 0;
    std::optional<MainLoop::Duration> openSince; ///< Since when somebody else has the conversation open.
};

} // namespace

std::unique_ptr<DestinationWatch> watchClaudeCode(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<ClaudeCodeWatch>(desk, judge);
}

} // namespace orvel::explore
