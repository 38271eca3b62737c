// Claude as a destination: what is written into its editors, and which of its buttons are pressed.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;
using Deed = SimulatedClaude::Deed;

/// How long a composition may be open before it can have been seen.
constexpr MainLoop::Duration compositionShows = 150ms;

constexpr std::array<std::string_view, 5> touching{"setAttribute", "performAction", "openURL",
                                                   "openApplication", "activate"};

class ClaudeWatch : public DestinationWatch {
  public:
    ClaudeWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
        desk.claude.onDeed = [this](const Deed& deed) { see(deed); };
    }
    ~ClaudeWatch() override { desk.claude.onDeed = nullptr; }

    bool touches(const SimulatedStep& step) override {
        if (std::find(touching.begin(), touching.end(), step.operation) == touching.end()) return false;
        if (step.operation == "setAttribute" && ++writes > 1) judge.fail(Rule::writtenOnce, "a second write");
        const auto send = desk.claude.sendElement();
        if (step.operation == "performAction" && send && send->number == step.element &&
            ++presses > judge.allowedPresses())
            judge.fail(Rule::sentOnce, "another press of Send");
        const auto since = desk.claude.composingSince();
        if (step.operation == "openURL" && since && step.at - *since > compositionShows)
            judge.fail(Rule::compositionSurvives, "asked Claude to leave an open composition");
        return true;
    }

    bool mayHoldMessage() const override { return writes > 0; }

    bool hasReceived(const std::string& text) const override {
        const auto& started = desk.orvel->started;
        const auto* conversation =
            desk.claude.conversation(started ? started->desktopSessionID.value_or("") : desk.destination);
        return conversation && std::find(conversation->received.begin(), conversation->received.end(),
                                         text) != conversation->received.end();
    }

  private:
    /// Where the text belongs; the page of a new conversation has no identifier.
    std::string destination() const { return judge.isNewConversation() ? "" : desk.destination; }

    void see(const Deed& deed) {
        switch (deed.kind) {
        case Deed::Kind::written: return seeWrite(deed);
        case Deed::Kind::pressedSend: return seePress(deed);
        case Deed::Kind::sent:
            if (deed.before == judge.payload() && ++sends > 1)
                judge.fail(Rule::sentOnce, "the message was sent twice");
            return;
        case Deed::Kind::pressedOther:
            if (deed.after != "New" || !judge.isNewConversation())
                judge.fail(Rule::nothingElseIsPressed, "pressed another button: " + deed.after);
            return;
        case Deed::Kind::lostComposition: return; // Judged where it was caused.
        }
    }

    // That the user types behind the last look can't be seen by anybody.
    void seeWrite(const Deed& deed) {
        constexpr auto rule = Rule::onlyIntoTheEmptyEditor;
        if (deed.desktopID != destination()) judge.fail(rule, "wrote into another conversation");
        if (deed.after != judge.payload()) judge.fail(rule, "wrote something else than the message");
        if (!deed.lastSeen)
            judge.fail(rule, "wrote into an editor that was never read");
        else if (!trimmed(*deed.lastSeen).empty())
            judge.fail(rule, "wrote over a text that was seen");
    }

    void seePress(const Deed& deed) {
        if (deed.byPerson) return;
        constexpr auto rule = Rule::onlyTheMessageIsSent;
        if (deed.desktopID != destination()) judge.fail(rule, "pressed Send in another conversation");
        if (deed.lastSeen != judge.payload())
            judge.fail(rule, "pressed Send without having seen the message in the editor");
    }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    int writes = judge.isWritten() ? 1 : 0, presses = 0, sends = 0;
};

} // namespace

std::unique_ptr<DestinationWatch> watchClaude(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<ClaudeWatch>(desk, judge);
}

} // namespace orvel::explore
