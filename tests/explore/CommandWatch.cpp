#include "explore/CommandWatch.h"

#include "Orvel/model/RelayStateFile.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "explore/SafetyJudge.h"
#include "explore/Scenarios.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

/// What stood on the clipboard for a shorter time before Codex's copy or Orvel's own write nobody can have
/// seen, since Orvel looks every 20 ms, and directly before it writes.
constexpr MainLoop::Duration unseenByPolls = 50ms, unseenByLook = 1ms;

/// How old the look at an editor's text may be when it is erased, besides what the write itself takes.
constexpr MainLoop::Duration longestLookAge = 30ms;

/// Orvel waits a second for a copy; a later one it can only tell of.
constexpr MainLoop::Duration timelyCopy = 900ms;

bool isReturn(std::int64_t code) {
    return code == KeyCode::returnKey || code == KeyCode::keypadEnter;
}

} // namespace

CommandWatch::CommandWatch(ExplorationDesk& desk, SafetyJudge& judge)
    : desk(desk),
      judge(judge),
      otherInClaude(std::exchange(desk.claude.onDeed, nullptr)),
      otherRead(std::exchange(desk.desktop.accessibility.onRead, nullptr)),
      postedBefore(desk.desktop.keyboard.posted.size()),
      newest(desk.desktop.pasteboard.contents()) {
    copied.push_back(newest);
    const auto& transfers = desk.model().ledger.state().relayState->transfers;
    transfersBefore = transfers.size();
    wasProved = transfersBefore > 0 && !transfers.back().isPending();
    desk.claude.onDeed = [this](const auto& deed) { seeInClaude(deed); };
    desk.codexApp.onDeed = [this](const auto& deed) { seeInCodex(deed); };
    desk.desktop.keyboard.onFate = [this](const SimulatedPress& press) { see(press); };
    desk.desktop.accessibility.onRead = [this](const auto& element, std::string_view name, bool isAhead) {
        seeRead(element, name);
        if (otherRead) otherRead(element, name, isAhead);
    };
    desk.desktop.pasteboard.onForeignChange = [this] {
        before = std::exchange(newest, this->desk.desktop.pasteboard.contents());
        copied.push_back(newest);
        stoodFor = this->desk.desktop.loop.worldTime() -
                   std::exchange(newestSince, this->desk.desktop.loop.worldTime());
    };
}

CommandWatch::~CommandWatch() {
    desk.claude.onDeed = std::move(otherInClaude);
    desk.desktop.accessibility.onRead = std::move(otherRead);
    desk.codexApp.onDeed = nullptr;
    desk.desktop.keyboard.onFate = nullptr;
    desk.desktop.pasteboard.onForeignChange = nullptr;
}

// The keys

void CommandWatch::see(const SimulatedPress& press) {
    constexpr auto rule = Rule::otherKeysPass;
    const auto& event = press.key.event;
    const bool isDown = event.type == TapEventType::keyDown, isFresh = isDown && !event.isRepeat;
    if (press.fate != SimulatedPress::Fate::swallowed) {
        if (press.number < nextArrival) judge.fail(rule, "a key has overtaken another");
        nextArrival = press.number + 1;
        const bool endsReturn = event.type == TapEventType::flagsChanged && event.flags == 0 &&
                                std::exchange(isCommandHeld, false);
        if (event.type != TapEventType::keyUp && !endsReturn) isTouched = true;
        if (isFresh && event.keyCode == heldCode) heldCode.reset();
        return;
    }
    if (!isReturn(event.keyCode)) judge.fail(rule, "another key was swallowed");
    if (isFresh) {
        if (commandReadFor != press.number) judge.fail(rule, "a Return was swallowed, and no command read");
        heldCode = event.keyCode;
        captured = commandRead;
        isCommandHeld = (event.flags & SyntheticKey::command) != 0;
        ++swallowed;
        isTouched = false;
        return;
    }
    if (heldCode != event.keyCode) judge.fail(rule, "the rest of another Return was swallowed");
    if (!isDown) heldCode.reset();
}

// What Orvel has read while the key waits.
void CommandWatch::seeRead(const SimulatedElement& element, std::string_view name) {
    if (name != "AXValue") return;
    seen = {desk.desktop.loop.worldTime(), element.text(name)};
    const auto press = desk.desktop.keyboard.current();
    if (!press || !OrvelCommand::parse(seen.second)) return;
    commandReadFor = press;
    commandRead = seen.second;
}

// What is done in the editors

void CommandWatch::seeInClaude(const SimulatedClaude::Deed& deed) {
    using Kind = SimulatedClaude::Deed::Kind;
    if (otherInClaude) return otherInClaude(deed); // The message goes there.
    const auto& claude = desk.claude;
    // What stands beside a dialog, an attachment or a second editor is no composer that could be proved, and
    // neither is one of a page with several.
    const auto& habits = claude.habits;
    const bool isComposer = !claude.showsDialog() && !claude.showsAttachment() && !habits.page &&
                            !habits.editor && !habits.hasTwoSends;
    if (deed.kind == Kind::sent && isComposer) seeSent(deed.before);
    if (deed.kind == Kind::written && !deed.byPerson) seeErased(deed.before, deed.after);
}

void CommandWatch::seeInCodex(const SimulatedCodexApp::Deed& deed) {
    using Kind = SimulatedCodexApp::Deed::Kind;
    switch (deed.kind) {
    case Kind::written: return seeErased(deed.before, deed.after);
    case Kind::sent: return seeSent(deed.before);
    case Kind::copied: return seeCopied(deed);
    }
}

void CommandWatch::seeSent(const std::string& text) {
    // A key that waits for a program which dies passes. What claims to be no composer is none.
    if (desk.hasDied() || desk.isStructureHidden || !OrvelCommand::parse(text)) return;
    const auto press = desk.desktop.keyboard.current();
    if (press && commandReadFor == press) judge.fail(Rule::commandIsNoMessage, "the Return went through");
}

// What came later than Orvel's look at the text nobody could have seen.
void CommandWatch::seeErased(const std::string& stood, const std::string& after) {
    constexpr auto rule = Rule::onlyTheCommandIsErased;
    const auto age = desk.desktop.loop.worldTime() - seen.first - desk.desktop.accessibility.writeTime;
    const bool isFresh = age <= longestLookAge;
    const auto& text = isFresh || !judge.judgesTimes() ? seen.second : stood;
    if (!after.empty() || text != captured) judge.fail(rule, "something else was written or erased");
    erased.push_back(text);
    if (erased.size() > swallowed) judge.fail(rule, "written again");
    if (!isTouched) wasErasedUntouched = true;
}

// The clipboard

void CommandWatch::seeCopied(const SimulatedCodexApp::Deed& deed) {
    const bool isTimely = desk.desktop.loop.worldTime() - deed.asked <= timelyCopy;
    if (!deed.isPosted) return; // The person's own.
    newest = before;
    std::erase_if(copied, [&](const Items& items) { return items == desk.desktop.pasteboard.contents(); });
    if (stoodFor < unseenByPolls || !judge.judgesTimes()) mayBeOlder = true;
    if (deed.isFurther || !isTimely) mayKeepLink = true;
}

void CommandWatch::watch(const SimulatedStep& step) {
    const bool isWritten = step.operation == "clearContents" || step.operation == "writeItems";
    if (isWritten && step.at - newestSince < unseenByLook) mayBeOlder = true;
}

void CommandWatch::finish() {
    const auto& posted = desk.desktop.keyboard.posted;
    for (auto i = postedBefore; i < posted.size(); ++i) {
        const auto* key = std::get_if<SyntheticKey>(&posted[i].event);
        if (!key || *key != SimulatedCodexAppHabits().copyShortcut || !posted[i].process)
            judge.fail(Rule::otherKeysPass, "Orvel has pressed another key");
    }
    const auto& held = desk.desktop.pasteboard;
    const bool isLink = held.text && held.text->starts_with("codex://");
    const bool isOlder = std::find(copied.begin(), copied.end(), held.contents()) != copied.end();
    if (held.contents() != newest && !desk.hasDied() && !(mayKeepLink && isLink) && !(mayBeOlder && isOlder))
        judge.fail(Rule::clipboardIsGivenBack, "it holds something else");
    // What the person does with the note is the person's.
    const bool isEdited = desk.model().workspace.state().commandEditGeneration.current() > 0;
    for (const auto& text : isEdited ? std::vector<std::string>() : erased)
        if (const auto command = OrvelCommand::parse(text); command && !standsSomewhere(command->instruction))
            judge.fail(Rule::instructionsAreKept, "they stand nowhere");
    if (hasSent() && !(wasProved && wasErasedUntouched))
        judge.fail(Rule::sentOnlyWhereProved, "a message was prepared");
}

bool CommandWatch::isWorkedOff(bool isSent) const {
    return !erased.empty() && hasSent() == isSent;
}

bool CommandWatch::hasSent() const {
    return desk.model().ledger.state().relayState->transfers.size() > transfersBefore;
}

bool CommandWatch::standsSomewhere(const std::string& instruction) const {
    const auto& model = desk.model();
    const auto holds = [&](const std::string& text) { return text.find(instruction) != text.npos; };
    if (holds(model.workspace.state().instruction) || holds(model.notices.error().value_or("")) ||
        holds(desk.claude.editorText()) || holds(desk.codexApp.editorText()))
        return true;
    std::ifstream kept(desk.keptCommandPath(), std::ios::binary); // Told when Orvel starts the next time.
    if (desk.hasDied() && holds({std::istreambuf_iterator<char>(kept), {}})) return true;
    const auto saved = readRelayState(desk.relayStatePath());
    for (const auto& transfer : saved.transfers)
        if (holds(*transfer.payload)) return true;
    for (const auto& pair : saved.pairs)
        for (const auto agent : {Agent::codex, Agent::claude})
            if (holds(saved.draft(pair.id, agent).instruction)) return true;
    return false;
}

} // namespace orvel::explore
