// Dia as a destination: what was there to be seen when Orvel looked, and what it does to ChatGPT's page.

#include "explore/DestinationWatch.h"
#include "explore/SafetyJudge.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;
using Deed = SimulatedDia::Deed;

/// How old the last look at the text, the front application and the window may be when Send is pressed.
constexpr MainLoop::Duration longestLookAge = 5ms;
/// The same of what is attached, and of what a click would hit: a walk over the composer lies in between.
constexpr MainLoop::Duration longestControlsAge = 200ms;

constexpr std::array<std::string_view, 4> touching{"setAttribute", "performAction", "post", "activate"};
constexpr std::array<std::string_view, 2> pressable{"Add files and more",
                                                    "Add photos & files Upload from computer"};

class DiaWatch : public DestinationWatch {
  public:
    DiaWatch(ExplorationDesk& desk, SafetyJudge& judge)
        : desk(desk), judge(judge), clipboard(desk.desktop.pasteboard.contents()) {
        desk.dia.onDeed = [this](const Deed& deed) { see(deed); };
        desk.desktop.accessibility.onRead = [this](const SimulatedElement& element, std::string_view name,
                                                   bool isAhead) { seeRead(element, name, isAhead); };
    }
    ~DiaWatch() override {
        desk.dia.onDeed = nullptr;
        desk.desktop.accessibility.onRead = nullptr;
    }

    bool touches(const SimulatedStep& step) override {
        if (step.operation == "frontmost")
            front = {step.at, desk.desktop.applications.inFront() == &desk.dia};
        if (step.operation == "elementAtPosition") hitTested = step.at;
        if (step.operation == "setAttribute" && step.name == "AXValue" && !isPathField(step.element) &&
            ++writes > 1)
            judge.fail(Rule::questionWrittenOnce, "another write");
        const bool isAct = std::find(touching.begin(), touching.end(), step.operation) != touching.end();
        if (isAct) acted = step.at;
        return isAct;
    }

    bool mayHoldMessage() const override { return false; }

    bool hasReceived(const std::string& text) const override {
        const auto& all = desk.dia.conversations();
        return std::any_of(all.begin(), all.end(), [&](const auto& conversation) {
            return std::any_of(conversation.messages.begin(), conversation.messages.end(),
                               [&](const auto& message) { return message.text == text; });
        });
    }

    void finish(const std::string&) override {
        const auto held = desk.desktop.pasteboard.contents();
        const bool isLent = std::any_of(held.begin(), held.end(),
                                        [](const auto& item) { return item.contains("text/uri-list"); });
        if (isLent && !desk.hasDied()) judge.fail(Rule::clipboardIsGivenBack, "the ZIP stands there");
        const bool isOverwritten = desk.desktop.pasteboard.text == "CANARY copied";
        if (held != clipboard && !isOverwritten && !desk.hasDied())
            judge.fail(Rule::clipboardIsGivenBack, "it holds something else than before");
    }

  private:
    bool isPathField(std::uint64_t element) const {
        const auto& windows = desk.dia.windows();
        return std::any_of(windows.begin(), windows.end(), [element](const auto& window) {
            return window.panel && window.panel->field && window.panel->field->number == element;
        });
    }

    // What Orvel looks at

    // What was fetched ahead is no look at a text: it is as old as the fetch.
    void seeRead(const SimulatedElement& element, std::string_view name, bool isAhead) {
        auto& dia = desk.dia;
        const auto now = desk.desktop.loop.worldTime();
        const auto is = [&element](const SimulatedElement::Shared& one) { return one.get() == &element; };
        if (!isAhead && name == "AXFocusedWindow" && is(dia.applicationElement()))
            window = {now, dia.focusedWindow()};
        for (std::size_t i = 0; i < dia.windows().size(); ++i) {
            auto* each = dia.window(i);
            if (!each) continue;
            const auto& page = each->page;
            if (!isAhead && name == "AXValue" && is(page.editor)) text = {now, {i, element.text("AXValue")}};
            if (name == "AXURL" && is(page.web)) place = {now, std::get<AXURL>(*element.find("AXURL")).text};
            if (name == "AXChildren" && is(page.chips)) files = {now, shownFiles(*page.chips)};
            if (name == "AXSelected" && each->panel) chosen = each->panel->selected;
        }
    }

    // Names, as nothing else of a file is to be seen, and of each whether it is still on its way.
    static std::vector<std::string> shownFiles(const SimulatedElement& chips) {
        std::vector<std::string> names;
        for (const auto& chip : chips.below())
            for (const auto& part : chip->below()) {
                if (part->text("AXRole") == "AXStaticText") names.push_back(part->text("AXValue"));
                if (part->text("AXRole") == "AXProgressIndicator") names.emplace_back("on its way");
            }
        return names;
    }

    // What it does

    void see(const Deed& deed) {
        if (deed.byPerson) return;
        seeTouched(deed);
        switch (deed.kind) {
        case Deed::Kind::written:
            if (deed.after != desk.question)
                judge.fail(Rule::questionWrittenOnce, "wrote something else than the question");
            return;
        case Deed::Kind::attached: return seeAttached(deed);
        case Deed::Kind::pressedSend: return seePressed(deed);
        case Deed::Kind::pressedOther:
            // A click lands on whatever has taken the control's place since the last moment.
            if (hitTested > 0ns && acted - hitTested <= longestControlsAge) return;
            if (std::find(pressable.begin(), pressable.end(), deed.after) == pressable.end())
                judge.fail(Rule::nothingElseIsPressed, "pressed another button: " + deed.after);
            return;
        case Deed::Kind::sent: return seeSent(deed);
        }
    }

    // A page that another one took the place of within the last moment nobody could have seen, and what is
    // composed goes where the keyboard is by then.
    void seeTouched(const Deed& deed) {
        if (desk.desktop.accessibility.composesWrites && deed.kind == Deed::Kind::written) return;
        if (deed.conversation.empty() && deed.host == "chatgpt.com") return;
        const bool isHidden = place.seen == "https://chatgpt.com/" && acted - place.at <= longestLookAge;
        if (!isHidden && (judge.judgesTimes() || place.seen != "https://chatgpt.com/"))
            judge.fail(Rule::neverAnotherConversation, "touched what was no empty page");
    }

    // By the panel: what was seen to be selected there. A file that the page adds by itself is none of
    // Orvel's.
    void seeAttached(const Deed& deed) {
        const auto zip = desk.archive.fileURL;
        if (deed.after == desk.dia.habits.alsoAttaches) return;
        if (!desk.isPasting && chosen != std::vector{zip})
            judge.fail(Rule::zipIsThePrepared, "attached what was not seen to be the only selection");
        if (desk.isPasting && deed.after != zip) judge.fail(Rule::zipIsThePrepared, "pasted another file");
        if (++attachments > 1) judge.fail(Rule::zipIsThePrepared, "attached a second time");
    }

    void seePressed(const Deed&) {
        constexpr auto rule = Rule::nothingUnproved;
        const auto isFresh = [this](const auto& look, MainLoop::Duration most) {
            return look.at > 0ns && acted - look.at <= most;
        };
        if (++presses > 1) judge.fail(Rule::sendPressedOnce, "another press");
        if (writes != 1) judge.fail(rule, "no question was written");
        if (text.seen.text != desk.question) judge.fail(rule, "another text was to be seen");
        if (files.seen != std::vector{desk.zipName()}) judge.fail(rule, "other files were to be seen");
        if (place.seen != "https://chatgpt.com/")
            judge.fail(Rule::neverAnotherConversation, "another page was to be seen");
        if (!front.seen || window.seen != text.seen.window)
            judge.fail(rule, "another window or application was to be seen in front");
        const bool isFreshlySeen = isFresh(text, longestLookAge) && isFresh(front, longestLookAge) &&
                                   isFresh(window, longestLookAge) && isFresh(files, longestControlsAge);
        if (judge.judgesTimes() && !isFreshlySeen) judge.fail(rule, "pressed on what was looked at long ago");
    }

    void seeSent(const Deed& deed) {
        if (desk.dia.habits.losesFiles) return;
        // What somebody else does to the files is judged as a press on what was seen.
        for (const auto& file : deed.files)
            if (file.path == desk.archive.fileURL && file.bytes != desk.zipBytes)
                judge.fail(Rule::zipIsThePrepared, "sent other bytes");
    }

    struct Text {
        std::size_t window = 0;
        std::string text;
    };

    ExplorationDesk& desk;
    SafetyJudge& judge;
    std::vector<PasteboardItem> clipboard;
    int writes = 0, presses = 0, attachments = 0;
    MainLoop::Duration hitTested{0};
    MainLoop::Duration acted{0}; ///< When the latest act began, which takes its time.
    Look<bool> front;
    Look<std::size_t> window;
    Look<Text> text;
    Look<std::string> place;
    Look<std::vector<std::string>> files;
    std::vector<std::string> chosen; ///< As last seen in the panel.
};

} // namespace

std::unique_ptr<DestinationWatch> watchDia(ExplorationDesk& desk, SafetyJudge& judge) {
    return std::make_unique<DiaWatch>(desk, judge);
}

} // namespace orvel::explore
