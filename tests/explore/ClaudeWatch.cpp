// Claude as a destination: what was there to be seen when Orvel looked, what is written into its editors, and
// which of its buttons are pressed.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;
using Deed = SimulatedClaude::Deed;

/// How long a composition may be open before it can have been seen.
constexpr MainLoop::Duration compositionShows = 150ms;

/// How old the last look at the text, the front application and the window may be when Orvel acts. Younger
/// than this is what nobody could have seen.
constexpr MainLoop::Duration longestLookAge = 5ms;

/// The same of the controls around the editor: a walk over a composer and what has to follow it.
constexpr MainLoop::Duration longestControlsAge = 200ms;

constexpr std::array<std::string_view, 5> touching{"setAttribute", "performAction", "openURL",
                                                   "openApplication", "activate"};

/// Whether another page below the element has the page's address.
bool hasTwin(const SimulatedElement& element, const SimulatedElement& page) {
    const auto *own = page.find("AXURL"), *other = element.find("AXURL");
    if (&element != &page && own && other && *own == *other) return true;
    const auto& below = element.below();
    return std::any_of(below.begin(), below.end(), [&](const auto& each) { return hasTwin(*each, page); });
}

struct Text {
    std::uint64_t editor, window;
    std::string conversation, text;
};

struct Controls {
    bool hasAttachment, hasDialog, hasStop;
};

class ClaudeWatch : public DestinationWatch {
  public:
    ClaudeWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
        desk.claude.onDeed = [this](const Deed& deed) { see(deed); };
        desk.desktop.accessibility.onRead = [this](const SimulatedElement& element, std::string_view name,
                                                   bool isAhead) { seeRead(element, name, isAhead); };
    }
    ~ClaudeWatch() override {
        desk.claude.onDeed = nullptr;
        desk.desktop.accessibility.onRead = nullptr;
    }

    bool touches(const SimulatedStep& step) override {
        if (step.operation == "frontmost")
            front = {step.at, desk.desktop.applications.inFront() == &desk.claude};
        if (std::find(touching.begin(), touching.end(), step.operation) == touching.end()) return false;
        if (step.name == "AXManualAccessibility" || desk.codexApp.wasEditor(step.element)) return false;
        if (step.operation == "setAttribute") seeWriting(step);
        if (step.operation == "performAction") seePressing(step);
        if (step.operation == "openURL") seeNavigating(step);
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

    // What Orvel looks at

    void seeRead(const SimulatedElement& element, std::string_view name, bool isAhead) {
        const auto& claude = desk.claude;
        const auto now = desk.desktop.loop.worldTime();
        const auto is = [&element](const SimulatedElement::Shared& one) { return one.get() == &element; };
        const auto& other = claude.otherWindow();
        if (name == "AXChildren" && is(claude.composerElement()))
            controls = {now, {claude.showsAttachment(), claude.showsDialog(), claude.showsStop()}};
        if (name == "AXChildren" && is(claude.messagesElement())) sawReplyNote = claude.showsReplyNote();
        if (name == "AXChildren" && other && is(other->composer)) controls = {now, {}}, sawReplyNote = false;
        if (isAhead) return; // As old as the fetch by the time it is used.
        if (name == "AXFocusedWindow" && is(claude.applicationElement()) && claude.windowElement())
            window = {now, (other ? other->window : claude.windowElement())->number};
        if (name == "AXURL" && (is(claude.pageElement()) || (other && is(other->page))))
            page = element.number;
        const bool isOthers = other && is(other->editor);
        if (name == "AXValue" && (isOthers || is(claude.editorElement()))) {
            const auto shownIn = isOthers ? other->window : claude.windowElement();
            text = {now,
                    {element.number, shownIn->number, isOthers ? other->conversation : claude.shown(),
                     element.text("AXValue")}};
            ++looks[element.number], ++looks[page];
        }
        if (name == "AXEnabled" && is(claude.sendElement())) ++looks[element.number];
    }

    /// What must hold wherever Orvel acts on a page: it acts on what it has seen, in front of the person, in
    /// this conversation, and has looked at `what` often enough.
    void judgeAct(const SimulatedStep& step, const std::string& conversation, std::uint64_t what) {
        const auto age = [&step](const auto& look) { return step.at - look.at; };
        const auto isFresh = [&](const auto& look) { return look.at > 0ns && age(look) <= longestLookAge; };
        if (judge.judgesTimes() && !(isFresh(text) && isFresh(window) && isFresh(front)))
            judge.fail(Rule::lastLookIsFresh,
                       "microseconds since the text: " + std::to_string(age(text) / 1us) +
                           ", the window: " + std::to_string(age(window) / 1us) +
                           ", the front application: " + std::to_string(age(front) / 1us));
        if (judge.judgesTimes() && age(controls) > longestControlsAge)
            judge.fail(Rule::lastLookIsFresh,
                       "microseconds since the controls: " + std::to_string(age(controls) / 1us));
        if (!front.seen) judge.fail(Rule::onlyWhatWasProved, "another application was seen in front");
        if (window.seen != text.seen.window)
            judge.fail(Rule::onlyWhatWasProved, "another window was seen with the focus");
        if (text.seen.conversation != conversation)
            judge.fail(Rule::onlyWhatWasProved, "another conversation was seen");
        const auto& habits = desk.claude.habits;
        const bool isFirstWindow =
            desk.claude.windowElement() && text.seen.window == desk.claude.windowElement()->number;
        const auto shown = desk.claude.pageElement();
        if (isFirstWindow &&
            (habits.editor || (habits.page && shown && hasTwin(*desk.claude.windowElement(), *shown))))
            judge.fail(Rule::onlyWhatWasProved, "chose one of several pages or editors");
        // In two readings that agree, and in the last look.
        if (looks[what] < 3) judge.fail(Rule::onlyWhatWasProved, "was not seen in two readings");
        judgeSurroundings();
    }

    void seeNavigating(const SimulatedStep& step) {
        const auto since = desk.claude.composingSince();
        if (since && step.at - *since > compositionShows)
            judge.fail(Rule::compositionSurvives, "asked Claude to leave an open composition");
        judgeSurroundings();
    }

    // Nothing that somebody could lose was to be seen around the editor.
    void judgeSurroundings() {
        const auto [hasAttachment, hasDialog, hasStop] = controls.seen;
        if (hasAttachment) judge.fail(Rule::nothingIsSweptAlong, "an attachment was to be seen");
        if (hasDialog) judge.fail(Rule::nothingIsSweptAlong, "a dialog was to be seen");
        if (hasStop || sawReplyNote) judge.fail(Rule::nothingIsSweptAlong, "a reply was to be seen");
    }

    void seeWriting(const SimulatedStep& step) {
        constexpr auto rule = Rule::onlyIntoTheEmptyEditor;
        if (++writes > 1) judge.fail(Rule::writtenOnce, "a second write");
        judgeAct(step, destination(), text.seen.editor);
        if (step.element != text.seen.editor)
            judge.fail(Rule::onlyWhatWasProved, "wrote to another element than the editor");
        if (!trimmed(text.seen.text).empty()) judge.fail(rule, "wrote over a text that was seen");
        written = {step.element, page};
        looks.clear();
    }

    void seePressing(const SimulatedStep& step) {
        pressed = step;
        const auto send = desk.claude.sendElement();
        if (!send || send->number != step.element) return; // Judged as a deed, where it has a label.
        constexpr auto rule = Rule::onlyTheMessageIsSent;
        if (++presses > judge.allowedPresses()) judge.fail(Rule::sentOnce, "another press of Send");
        judgeAct(step, destination(), text.seen.editor);
        if (text.seen.text != judge.payload())
            judge.fail(rule, "pressed Send without having seen the message in the editor");
        if (looks[step.element] < 2) judge.fail(Rule::onlyWhatWasProved, "Send was not seen in two readings");
        if (written && judge.allowedPresses() == 1 && *written != std::pair(text.seen.editor, page))
            judge.fail(Rule::onlyWhatWasProved, "pressed Send beside another editor than was written to");
    }

    // What it does there

    void see(const Deed& deed) {
        switch (deed.kind) {
        case Deed::Kind::written: return seeWritten(deed);
        case Deed::Kind::pressedSend: return;
        case Deed::Kind::sent:
            if (deed.before == judge.payload() && ++sends > 1)
                judge.fail(Rule::sentOnce, "the message was sent twice");
            return;
        case Deed::Kind::pressedOther: return seePressedOther(deed);
        case Deed::Kind::lostComposition: return; // Judged where it was caused.
        }
    }

    // A composed write goes where the keyboard is by then, and so may everything that happens during the
    // call.
    void seeWritten(const Deed& deed) {
        constexpr auto rule = Rule::onlyIntoTheEmptyEditor;
        if (deed.after != judge.payload()) judge.fail(rule, "wrote something else than the message");
        if (desk.desktop.accessibility.composesWrites) return;
        if (deed.isStray) judge.fail(rule, "wrote into an editor that is not the conversation's");
        if (deed.desktopID != destination()) judge.fail(rule, "wrote into another conversation");
    }

    void seePressedOther(const Deed& deed) {
        if (deed.after != "New" || !judge.isNewConversation())
            return judge.fail(Rule::nothingElseIsPressed, "pressed another button: " + deed.after);
        judgeAct(pressed, text.seen.conversation, page);
        if (!trimmed(text.seen.text).empty())
            judge.fail(Rule::nothingElseIsPressed, "pressed New beside a draft that was seen");
    }

    ExplorationDesk& desk;
    SafetyJudge& judge;
    int writes = judge.isWritten() ? 1 : 0, presses = 0, sends = 0;
    SimulatedStep pressed; ///< The latest press.
    Look<bool> front{};
    Look<std::uint64_t> window{};
    std::uint64_t page = 0; ///< Whose address was last read.
    Look<Text> text{};
    Look<Controls> controls{};
    bool sawReplyNote = false;
    std::map<std::uint64_t, int>
        looks; ///< At each editor's text, by editor and page, and each Send, since the write.
    std::optional<std::pair<std::uint64_t, std::uint64_t>> written; ///< Editor and page.
};

} // namespace

std::unique_ptr<DestinationWatch> watchClaude(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<ClaudeWatch>(desk, judge);
}

} // namespace orvel::explore
