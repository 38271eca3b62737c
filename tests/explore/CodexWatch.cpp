// Codex as a destination: which commands are run, and what stands in the transcript and waits in the queue.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include "samples/SampleCodexThread.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include <nlohmann/json.hpp>

namespace orvel::explore {

namespace {

using Item = SampleCodexTurn::Item;

class CodexWatch : public DestinationWatch {
  public:
    CodexWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
        desk.desktop.processes.onStart = [this](const ChildLaunch& launch) { see(launch); };
    }
    ~CodexWatch() override { desk.desktop.processes.onStart = nullptr; }

    bool touches(const SimulatedStep& step) override {
        // Outside of a delivery Codex is only asked what stands in a conversation.
        return step.operation == "process" && step.name == "start" &&
               desk.model().outbox.state().operation.isUnderWay();
    }

    bool mayHoldMessage() const override { return handovers.contains(destination()); }

    bool hasReceived(const std::string& text) const override { return inTranscript(text) > 0; }

    void finish(const std::string& text) override {
        if (inTranscript(text) + inQueue(text) > 1)
            judge.fail(Rule::sentOnce, "the message stands in the destination twice");
        for (const auto& complaint : desk.codex.complaints()) judge.fail(Rule::protocolIsKept, complaint);
    }

  private:
    void see(const ChildLaunch& launch) {
        if (launch.arguments.empty() || launch.arguments.front() != "queue") return;
        const auto thread = destination();
        if (++handovers[thread] > 1) judge.fail(Rule::writtenOnce, "handed over twice");
        const auto text = judge.payload().value_or("");
        std::vector<std::string> expected{"queue", "--thread", thread};
        if (text.starts_with('-'))
            expected.push_back("--message=" + text);
        else
            expected.insert(expected.end(), {"--message", text});
        if (launch.arguments != expected)
            judge.fail(Rule::onlyTheMessageIsSent, "handed something else to Codex than the message");
    }

    // Of the last saved message; in a link of three the person may have turned to the other one.
    std::string destination() const {
        const auto& state = desk.model().ledger.state().relayState.get();
        const auto pair = state.transfers.empty() ? nullptr : state.pairs.find(state.transfers.back().pairID);
        return pair ? pair->codex.sessionID : ExplorationDesk::codexSession;
    }

    std::string transcriptPath() const {
        const auto isFirst = destination() == ExplorationDesk::codexSession;
        return isFirst ? desk.codexTranscriptPath() : desk.threadPath(destination());
    }

    std::ptrdiff_t inTranscript(const std::string& text) const {
        std::ptrdiff_t count = 0;
        if (!std::filesystem::exists(transcriptPath())) return 0; // Archived.
        for (const auto& turn : SampleCodexThread::read(transcriptPath()).turns)
            count += std::count_if(turn.items.begin(), turn.items.end(), [&](const Item& item) {
                return item.kind == Item::Kind::user && item.text == text;
            });
        return count;
    }

    std::ptrdiff_t inQueue(const std::string& text) const {
        std::ifstream file(desk.codexQueuePath(destination()), std::ios::binary);
        const std::string lines{std::istreambuf_iterator<char>(file), {}};
        const auto line = nlohmann::json(text).dump() + '\n';
        std::ptrdiff_t count = 0;
        for (auto at = lines.find(line); at != lines.npos; at = lines.find(line, at + 1)) ++count;
        return count;
    }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    std::map<std::string, int> handovers; ///< By thread.
};

} // namespace

std::unique_ptr<DestinationWatch> watchCodex(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<CodexWatch>(desk, judge);
}

} // namespace orvel::explore
