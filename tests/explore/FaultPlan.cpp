#include "explore/FaultPlan.h"

#include <algorithm>
#include <cstdio>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

template <AXStatus status, bool happens = false>
void report(ExplorationDesk&, SimulatedStep& step) {
    step.report = status;
    step.happens = happens;
}

template <int milliseconds>
void delay(ExplorationDesk&, SimulatedStep& step) {
    step.delay = std::chrono::milliseconds(milliseconds);
}

// An answer of its own: what is there is told to be absent.
void hideStructure(ExplorationDesk& desk, SimulatedStep& step) {
    report<AXStatus::noValue>(desk, step);
    desk.isStructureHidden = true;
}

void userTypes(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.typed("CANARY typed");
}

void userTypesAndDeletes(ExplorationDesk& desk, SimulatedStep&) {
    const auto shown = desk.claude.shown();
    auto* conversation = desk.claude.conversation(shown);
    if (!conversation) return;
    desk.claude.typed("x");
    desk.desktop.loop.outside(80ms, [&desk, shown] {
        // What was erased meanwhile doesn't come back.
        auto draft = desk.claude.conversation(shown)->draft;
        if (!draft.ends_with('x')) return;
        draft.pop_back();
        desk.claude.userSetsDraft(shown, draft);
    });
}

void userComposes(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.inputSources.useGoogleHiragana();
    desk.claude.userComposes("かな");
    desk.desktop.windows.showCandidates(true);
}

void userAttaches(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.userAttaches(desk.claude.shown());
}

void userSends(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.userSends();
}

void userEditsNote(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.loop.post([&desk] {
        if (!desk.isDead()) desk.model().workspace.setInstruction("CANARY another note");
    });
}

void anotherInFront(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
}

void glanceElsewhere(ExplorationDesk& desk, SimulatedStep& step) {
    anotherInFront(desk, step);
    desk.desktop.loop.outside(60ms, [&desk] {
        desk.desktop.applications.bringToFront(desk.desktop.applications.processOf(desk.claude));
    });
}

void windowCloses(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.closesWindow();
}

void windowIsReplaced(ExplorationDesk& desk, SimulatedStep&) {
    if (!desk.desktop.applications.processOf(desk.claude)) return;
    desk.claude.closesWindow();
    desk.claude.opensWindow();
}

void claudeQuits(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.applications.quit(desk.claude);
}

void claudeRestarts(ExplorationDesk& desk, SimulatedStep& step) {
    claudeQuits(desk, step);
    auto& applications = desk.desktop.applications;
    applications.bringToFront(applications.start(desk.claude));
}

void userNavigates(ExplorationDesk& desk, SimulatedStep&) {
    const bool isThere = desk.claude.shown() == ExplorationDesk::elsewhere;
    desk.claude.userNavigates(isThere ? ExplorationDesk::destination : ExplorationDesk::elsewhere);
}

void replyBegins(ExplorationDesk& desk, SimulatedStep&) {
    const auto shown = desk.claude.shown();
    if (desk.claude.conversation(shown)) desk.claude.repliesOnItsOwn(shown);
}

void writesAreIgnored(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.habits.ignoresWrites = true;
}

void pressesAreIgnored(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.habits.ignoresPresses = true;
}

void linesAreJoined(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.habits.joinsLines = true;
}

void userTypesABlank(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.typed(" ");
}

template <void (SimulatedClaude::*happen)()>
void inClaude(ExplorationDesk& desk, SimulatedStep&) {
    (desk.claude.*happen)();
}

void anotherWindow(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.opensAnotherWindow(ExplorationDesk::elsewhere);
}

void conversationInAnotherWindow(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.opensAnotherWindow(ExplorationDesk::destination);
}

void glanceAtAnotherWindow(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.opensAnotherWindow(ExplorationDesk::elsewhere);
    desk.desktop.loop.outside(60ms, [&desk] { desk.claude.returnsToWindow(); });
}

// As a program that takes messages during a reply, too.
void replyBeginsBesideSend(ExplorationDesk& desk, SimulatedStep& step) {
    desk.claude.habits.sendsWhileReplying = true;
    replyBegins(desk, step);
}

void clipboardIsWritten(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.pasteboard.copiedElsewhere("CANARY copied");
}

void permissionIsWithdrawn(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.accessibility.trusted = false;
}

void orvelDies(ExplorationDesk& desk, SimulatedStep&) {
    desk.die();
}

void childrenDie(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.processes.killAll();
}

void orvelDiesWithItsChildren(ExplorationDesk& desk, SimulatedStep& step) {
    childrenDie(desk, step);
    orvelDies(desk, step);
}

void outputBreaksOff(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.processes.breakOffOutputs();
}

void childrenFallSilent(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.processes.silenceAll();
}

void diskIsSlow(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.files.duration = 3s;
}

void diskIsFull(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.files.isFull = true;
}

void noServer(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.hasServer = false;
}

void queueRefuses(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.queueStores = false;
    desk.codex.queueStatus = 1;
}

void queueStoresAndFails(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.queueStatus = 1;
}

// It says that it took the message, and nobody ever sees it again.
void queueLosesTheMessage(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.queueStores = false;
}

void queueNeverEnds(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.queueEnds = false;
}

void turnsFail(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.manner.turnsFail = true;
}

void anotherTakesTheThread(ExplorationDesk& desk, SimulatedStep&) {
    if (desk.codex.isFree(desk.codexSession)) desk.codex.holdAsAnother(desk.codexSession);
}

void anotherLetsTheThreadGo(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.letGo(desk.codexSession);
}

void anotherWrites(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.queuesAsAnother(desk.codexSession, "CANARY from another client");
}

void personTypesInCodex(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.typedWhileStoring = "CANARY typed in Codex";
}

void threadIsArchived(ExplorationDesk& desk, SimulatedStep&) {
    desk.archiveCodexThread();
}

// The person turns to the link's other conversation, and sends into that, as soon as Orvel lets him.
void turnsTheOtherWay(ExplorationDesk& desk) {
    auto& model = desk.model();
    const auto chain = model.workspace.relay().activeChain();
    if (!chain) return;
    const auto& third =
        *std::find_if(chain->conversations.begin(), chain->conversations.end(),
                      [](const auto& member) { return member.sessionID == ExplorationDesk::thirdThread; });
    if (model.workspace.relay().selectedChainRoute(desk.claudeReference(), third))
        model.outbox.sendRelay();
    else
        model.chains.selectChainDirection(desk.claudeReference(), third);
}

void personSendsTheOtherWay(ExplorationDesk& desk, SimulatedStep&) {
    for (auto at = 20ms; at < 2s; at += 20ms)
        desk.desktop.loop.outside(at, [&desk] {
            desk.desktop.loop.post([&desk] {
                if (!desk.isDead()) turnsTheOtherWay(desk);
            });
        });
}

// So that it waits for good.
void messageIsLostAndPersonSendsTheOtherWay(ExplorationDesk& desk, SimulatedStep& step) {
    queueLosesTheMessage(desk, step);
    personSendsTheOtherWay(desk, step);
}

template <auto habit, auto value>
void codexBeginsWith(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.exec.*habit = value;
}

void codexEndsHalfway(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.exec.endsEarly = 7;
}

void codexBeginsSomethingElse(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.exec.adds = " CANARY";
}

// Later than Orvel waits for it.
void codexRecordsLate(ExplorationDesk& desk, SimulatedStep&) {
    desk.codex.exec.recordsAfter = 65s;
}

void firstMessageIsPasted(ExplorationDesk& desk, SimulatedStep&) {
    desk.pasteFirstMessage();
}

void claudeCodeHangs(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.ends = false;
}

void claudeCodeNeverRecords(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.records = desk.claudeCode.habits.ends = false;
}

void claudeCodeEndsAtOnce(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.records = false;
    desk.claudeCode.habits.recordsAfter = desk.claudeCode.habits.turn = 0ms;
    desk.claudeCode.habits.status = 1;
}

void claudeCodeRecordsAndFails(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.status = 1;
}

// It says that all is well, and nobody ever sees the message.
void claudeCodeLosesTheMessage(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.records = false;
}

void claudeCodePrintsGarbage(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.output = "\x1b[2J\xff CANARY {\"is_error\":true";
    desk.claudeCode.habits.version = "CANARY\n";
    desk.claudeCode.habits.status = 7;
}

void claudeCodeIsOld(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.habits.version = "2.1.9 (Claude Code)\n";
}

void conversationIsOpened(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.opensElsewhere(desk.claudeCodeSession);
}

void conversationIsContinued(ExplorationDesk& desk, SimulatedStep&) {
    desk.claudeCode.isContinuedElsewhere(desk.claudeCodeSession, "CANARY from a terminal");
}

void folderGoes(ExplorationDesk& desk, SimulatedStep&) {
    desk.removeCodeFolder();
}

// What the person does with keyboard and mouse while a command is worked off.

void personTypesOn(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.keyboard.stroke("x");
}

void personPressesReturnAgain(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.keyboard.stroke("\r", {.keyCode = KeyCode::returnKey});
}

// The next key goes down before the one before is let go, and each repeats.
void keysRollOver(ExplorationDesk& desk, SimulatedStep&) {
    auto& keyboard = desk.desktop.keyboard;
    const TapEvent letter{.keyCode = 5}, enter{.keyCode = KeyCode::keypadEnter};
    const auto released = [](TapEvent event) { return event.type = TapEventType::keyUp, event; };
    const auto repeated = [](TapEvent event) { return event.isRepeat = true, event; };
    keyboard.press("\r", enter);
    keyboard.press("g", letter);
    keyboard.press("\r", repeated(enter));
    keyboard.press("g", repeated(letter));
    keyboard.press("", released(enter));
    keyboard.press("", released(letter));
}

void personPressesCommandReturn(ExplorationDesk& desk, SimulatedStep&) {
    auto& keyboard = desk.desktop.keyboard;
    constexpr std::uint64_t command = SyntheticKey::command;
    keyboard.press("", {.type = TapEventType::flagsChanged, .keyCode = 55, .flags = command});
    keyboard.stroke("", {.keyCode = KeyCode::returnKey, .flags = command});
    keyboard.press("", {.type = TapEventType::flagsChanged, .keyCode = 55});
}

void personClicks(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.keyboard.clicks(nullptr);
}

void personTypesJapanese(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.inputSources.useGoogleHiragana();
    desk.desktop.keyboard.stroke("k");
    desk.desktop.keyboard.stroke("a");
}

// Without a key.
void somethingIsDictated(ExplorationDesk& desk, SimulatedStep&) {
    const auto more = [](std::string text) { return text += " CANARY dictated"; };
    if (desk.codexApp.editorText().starts_with("/"))
        desk.codexApp.userSetsDraft(desk.codexApp.shown(), more(desk.codexApp.editorText()));
    if (desk.claude.editorText().starts_with("/"))
        desk.claude.userSetsDraft(desk.claude.shown(), more(desk.claude.editorText()));
}

void inputSourceChanges(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.inputSources.useGoogleHiragana();
}

void tapIsDisabled(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.keyboard.disable(TapEventType::tapDisabledByTimeout);
}

void permissionGoesForAMoment(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.accessibility.trusted = false;
    desk.desktop.loop.outside(300ms, [&desk] { desk.desktop.accessibility.trusted = true; });
}

void clipboardRefusesForAMoment(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.pasteboard.refuses = true;
    desk.desktop.loop.outside(100ms, [&desk] { desk.desktop.pasteboard.refuses = false; });
}

void personGoesElsewhereInCodex(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.keyboard.clicks([&desk] {
        const bool isThere = desk.codexApp.shown() == ExplorationDesk::otherThread;
        desk.codexApp.userNavigates(isThere ? ExplorationDesk::codexSession : ExplorationDesk::otherThread);
    });
}

// The same command stands there.
void personGoesToATwin(ExplorationDesk& desk, SimulatedStep& step) {
    desk.codexApp.userSetsDraft(ExplorationDesk::otherThread, desk.codexApp.editorText());
    personGoesElsewhereInCodex(desk, step);
}

void codexQuits(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.applications.quit(desk.codexApp);
}

void codexRestarts(ExplorationDesk& desk, SimulatedStep& step) {
    codexQuits(desk, step);
    auto& applications = desk.desktop.applications;
    applications.bringToFront(applications.start(desk.codexApp));
}

template <int milliseconds>
void codexIsSlow(ExplorationDesk& desk, SimulatedStep&) {
    if (!desk.desktop.applications.processOf(desk.codexApp)) return;
    desk.codexApp.hangs(std::chrono::milliseconds(milliseconds));
    desk.desktop.loop.outside(300ms, [&desk] { desk.codexApp.hangs(0ms); });
}

template <void (SimulatedCodexApp::*happen)()>
void inCodex(ExplorationDesk& desk, SimulatedStep&) {
    if (desk.desktop.applications.processOf(desk.codexApp)) (desk.codexApp.*happen)();
}

template <auto habit, auto value>
void codexHas(ExplorationDesk& desk, SimulatedStep&) {
    desk.codexApp.habits.*habit = value;
}

void copiesAnotherLink(ExplorationDesk& desk, SimulatedStep&) {
    desk.codexApp.habits.copiesOther = ExplorationDesk::otherThread;
}

template <int milliseconds>
void codexCopiesAfter(ExplorationDesk& desk, SimulatedStep&) {
    desk.codexApp.habits.copying = std::chrono::milliseconds(milliseconds);
}

void copyShortcutIsAnother(ExplorationDesk& desk, SimulatedStep&) {
    desk.codexApp.habits.copyShortcut.flags |= SyntheticKey::shift;
}

// It writes everything again that somebody copies, so that it stays when that program ends.
void clipboardIsManaged(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.pasteboard.onChange = [&desk, isOwn = std::make_shared<bool>(false)] {
        if (*isOwn) return;
        desk.desktop.loop.outside(5ms, [&desk, isOwn] {
            *isOwn = true;
            desk.desktop.pasteboard.copiedElsewhere(desk.desktop.pasteboard.contents());
            *isOwn = false;
        });
    };
}

// What happens in the browser and on the disk while a question goes to ChatGPT.

void personTypesInDia(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.typed("CANARY typed");
}

void personAttachesInDia(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.attaches(desk.otherZipPath());
}

void personSelectsAnotherTab(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.selectsTab(desk.dia.opensTab({.path = "/c/old"}));
}

void personNavigatesInDia(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.navigates("/c/old");
}

void personReturnsToTab(ExplorationDesk& desk, SimulatedStep& step) {
    personSelectsAnotherTab(desk, step);
    desk.desktop.loop.outside(150ms, [&desk] { desk.dia.selectsTab(0); });
}

template <bool isConversation>
void personOpensAnotherWindow(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.opensWindow({.path = isConversation ? "/c/old" : "/"});
}

void glanceAtAnotherDia(ExplorationDesk& desk, SimulatedStep& step) {
    personOpensAnotherWindow<true>(desk, step);
    desk.desktop.loop.outside(60ms, [&desk] { desk.dia.focuses(0); });
}

void personSelectsInPanel(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.selectsInPanel(desk.otherZipPath());
}

void editorLosesFocus(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.movesFocus(false);
}

void pageScrolls(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.scrolls(40);
}

template <void (SimulatedDia::*happen)()>
void inDia(ExplorationDesk& desk, SimulatedStep&) {
    if (desk.desktop.applications.processOf(desk.dia)) (desk.dia.*happen)();
}

template <auto habit, auto value>
void diaHas(ExplorationDesk& desk, SimulatedStep&) {
    desk.dia.habits.*habit = value;
}

void diaQuits(ExplorationDesk& desk, SimulatedStep&) {
    desk.desktop.applications.quit(desk.dia);
}

void diaRestarts(ExplorationDesk& desk, SimulatedStep& step) {
    diaQuits(desk, step);
    auto& applications = desk.desktop.applications;
    applications.bringToFront(applications.start(desk.dia));
}

void codexComesToFront(ExplorationDesk& desk, SimulatedStep&) {
    auto& applications = desk.desktop.applications;
    applications.bringToFront(applications.start(desk.codexApp));
}

void glanceAtCodex(ExplorationDesk& desk, SimulatedStep& step) {
    codexComesToFront(desk, step);
    desk.desktop.loop.outside(60ms, [&desk] {
        desk.desktop.applications.bringToFront(desk.desktop.applications.processOf(desk.dia));
    });
}

void zipChanges(ExplorationDesk& desk, SimulatedStep&) {
    SimulatedFileStore::write(desk.zipPath(), "PK CANARY repositorY");
}

void zipGoes(ExplorationDesk& desk, SimulatedStep&) {
    std::remove(desk.zipPath().c_str());
}

constexpr auto typed = claudeEditor | codexEditor;
constexpr auto inWindow = claudeWindow | typed | chatGPTPage, inClaudeWindow = claudeWindow | claudeEditor;
constexpr auto throughTool = codexQueue | claudeCode | codexExec;
constexpr auto read = FaultPlace::read, write = FaultPlace::write, anyStep = FaultPlace::anyStep;

constexpr FaultKind faults[] = {
    {"disk refuses", FaultPlace::fileWrite, report<AXStatus::failure>},
    {"disk is full", anyStep, diskIsFull},
    {"disk is slow", anyStep, diskIsSlow},
    {"Orvel dies", anyStep, orvelDies},
    {"user edits the note", anyStep, userEditsNote},
    {"clipboard is written", anyStep, clipboardIsWritten},

    {"cannot complete", read, report<AXStatus::cannotComplete>, inWindow},
    {"invalid element", read, report<AXStatus::invalidElement>, inWindow},
    {"hard failure", read, report<AXStatus::failure>, inWindow},
    {"no value", read, hideStructure, inWindow},
    {"delay of 30 ms", read, delay<30>, inWindow},
    {"delay beyond the timeout", read, delay<400>, inWindow},
    {"write refused", write, report<AXStatus::failure>, inWindow},
    {"write done and not answered", write, report<AXStatus::cannotComplete, true>, inWindow},
    {"write not done, half-known", write, report<AXStatus::mayHaveHappened>, inWindow},
    {"write done, half-known", write, report<AXStatus::mayHaveHappened, true>, inWindow},
    {"user types", anyStep, userTypes, inClaudeWindow},
    {"user types and deletes", anyStep, userTypesAndDeletes, inClaudeWindow},
    {"user composes", anyStep, userComposes, claudeWindow},
    {"user attaches", anyStep, userAttaches, inClaudeWindow},
    {"user sends", anyStep, userSends, claudeWindow},
    {"user navigates", anyStep, userNavigates, inClaudeWindow},
    {"a glance elsewhere", anyStep, glanceElsewhere, inClaudeWindow},
    {"window closes", anyStep, windowCloses, inClaudeWindow},
    {"window is replaced", anyStep, windowIsReplaced, inClaudeWindow},
    {"Claude quits", anyStep, claudeQuits, inClaudeWindow},
    {"Claude restarts", anyStep, claudeRestarts, inClaudeWindow},
    {"a reply begins", anyStep, replyBegins, inClaudeWindow},
    {"writes are ignored", anyStep, writesAreIgnored, inClaudeWindow},
    {"presses are ignored", anyStep, pressesAreIgnored, claudeWindow},
    {"lines are joined", anyStep, linesAreJoined, claudeWindow},
    {"user types a blank", anyStep, userTypesABlank, claudeWindow},
    {"a reply begins beside Send", anyStep, replyBeginsBesideSend, claudeWindow},
    {"another window", anyStep, anotherWindow, inClaudeWindow},
    {"the conversation in another window", anyStep, conversationInAnotherWindow, inClaudeWindow},
    {"a glance at another window", anyStep, glanceAtAnotherWindow, inClaudeWindow},
    {"a dialog opens", anyStep, inClaude<&SimulatedClaude::opensDialog>, inClaudeWindow},
    {"the page is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsPage>, inClaudeWindow},
    {"the page is replaced", anyStep, inClaude<&SimulatedClaude::replacesPage>, inClaudeWindow},
    {"the editor is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsEditor>, inClaudeWindow},
    {"Send is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsSend>, inClaudeWindow},
    {"permission is withdrawn", anyStep, permissionIsWithdrawn, inWindow},
    {"another application in front", anyStep, anotherInFront, inWindow},

    {"person types on", anyStep, personTypesOn, typed},
    {"person presses Return again", anyStep, personPressesReturnAgain, typed},
    {"person presses ⌘Return", anyStep, personPressesCommandReturn, typed},
    {"keys roll over", anyStep, keysRollOver, typed},
    {"person clicks", anyStep, personClicks, typed},
    {"person types Japanese", anyStep, personTypesJapanese, typed},
    {"something is dictated", anyStep, somethingIsDictated, typed},
    {"the input source changes", anyStep, inputSourceChanges, typed},
    {"the tap is disabled", anyStep, tapIsDisabled, typed},
    {"permission goes for a moment", anyStep, permissionGoesForAMoment, typed},

    {"the clipboard refuses for a moment", anyStep, clipboardRefusesForAMoment, codexEditor},
    {"the clipboard is managed", anyStep, clipboardIsManaged, codexEditor},
    {"person goes elsewhere in Codex", anyStep, personGoesElsewhereInCodex, codexEditor},
    {"person goes to the same command in Codex", anyStep, personGoesToATwin, codexEditor},
    {"Codex quits", anyStep, codexQuits, codexEditor},
    {"Codex restarts", anyStep, codexRestarts, codexEditor},
    {"Codex answers slowly", anyStep, codexIsSlow<11>, codexEditor},
    {"Codex answers nothing", anyStep, codexIsSlow<400>, codexEditor},
    {"Codex closes its window", anyStep, inCodex<&SimulatedCodexApp::closesWindow>, codexEditor},
    {"Codex opens another window", anyStep, inCodex<&SimulatedCodexApp::opensAnotherWindow>, codexEditor},
    {"Codex draws its page anew", anyStep, inCodex<&SimulatedCodexApp::redrawsPage>, codexEditor},
    {"Codex draws its editor anew", anyStep, inCodex<&SimulatedCodexApp::redrawsEditor>, codexEditor},
    {"Codex ignores writes", anyStep, codexHas<&SimulatedCodexAppHabits::ignoresWrites, true>, codexEditor},
    {"Codex copies too late", anyStep, codexCopiesAfter<1'500>, codexEditor},
    {"Codex copies twice", anyStep, codexHas<&SimulatedCodexAppHabits::copies, 2>, codexEditor},
    {"Codex copies nothing", anyStep, codexHas<&SimulatedCodexAppHabits::copies, 0>, codexEditor},
    {"Codex copies another link", anyStep, copiesAnotherLink, codexEditor},
    {"Codex copies by another shortcut", anyStep, copyShortcutIsAnother, codexEditor},

    {"the tool can't be started", FaultPlace::childStart, report<AXStatus::failure>, throughTool},
    {"children die", anyStep, childrenDie, throughTool},
    {"Orvel dies with its children", anyStep, orvelDiesWithItsChildren, throughTool},
    {"output breaks off", anyStep, outputBreaksOff, codexQueue},
    {"children fall silent", anyStep, childrenFallSilent, throughTool},
    {"no server", anyStep, noServer, codexQueue},
    {"queue refuses", anyStep, queueRefuses, codexQueue},
    {"queue stores and fails", anyStep, queueStoresAndFails, codexQueue},
    {"queue loses the message", anyStep, queueLosesTheMessage, codexQueue},
    {"queue never ends", anyStep, queueNeverEnds, codexQueue},
    {"turns fail", anyStep, turnsFail, codexQueue | codexExec},
    {"another program takes the thread", anyStep, anotherTakesTheThread, codexQueue},
    {"another program lets the thread go", anyStep, anotherLetsTheThreadGo, codexQueue},
    {"another program writes into the thread", anyStep, anotherWrites, codexQueue},
    {"person types while the queue stores", anyStep, personTypesInCodex, codexQueue},
    {"thread is archived", anyStep, threadIsArchived, codexQueue},

    {"Claude Code hangs", anyStep, claudeCodeHangs, claudeCode},
    {"Claude Code hangs before it records", anyStep, claudeCodeNeverRecords, claudeCode},
    {"Claude Code ends at once", anyStep, claudeCodeEndsAtOnce, claudeCode},
    {"Claude Code records and fails", anyStep, claudeCodeRecordsAndFails, claudeCode},
    {"Claude Code loses the message", anyStep, claudeCodeLosesTheMessage, claudeCode},
    {"Claude Code prints garbage", anyStep, claudeCodePrintsGarbage, claudeCode},
    {"Claude Code is too old", anyStep, claudeCodeIsOld, claudeCode},
    {"the conversation is opened in a terminal", anyStep, conversationIsOpened, claudeCode},
    {"the conversation is continued elsewhere", anyStep, conversationIsContinued, claudeCode},
    {"the folder goes", anyStep, folderGoes, claudeCode | codexExec},

    {"person types in Dia", anyStep, personTypesInDia, chatGPTPage},
    {"person attaches another file", anyStep, personAttachesInDia, chatGPTPage},
    {"person removes the files", anyStep, inDia<&SimulatedDia::removesFiles>, chatGPTPage},
    {"person sends in Dia", anyStep, inDia<&SimulatedDia::userSends>, chatGPTPage},
    {"person selects another tab", anyStep, personSelectsAnotherTab, chatGPTPage},
    {"person selects another tab and returns", anyStep, personReturnsToTab, chatGPTPage},
    {"person opens a conversation in the tab", anyStep, personNavigatesInDia, chatGPTPage},
    {"person opens a conversation in a window", anyStep, personOpensAnotherWindow<true>, chatGPTPage},
    {"person opens an empty page in a window", anyStep, personOpensAnotherWindow<false>, chatGPTPage},
    {"a glance at another window of Dia", anyStep, glanceAtAnotherDia, chatGPTPage},
    {"person selects another file", anyStep, personSelectsInPanel, chatGPTPage},
    {"person closes the panel", anyStep, inDia<&SimulatedDia::closesPanel>, chatGPTPage},
    {"the editor loses the keyboard", anyStep, editorLosesFocus, chatGPTPage},
    {"the page scrolls", anyStep, pageScrolls, chatGPTPage},
    {"Dia closes its window", anyStep, inDia<&SimulatedDia::closesWindow>, chatGPTPage},
    {"Dia draws its page anew", anyStep, inDia<&SimulatedDia::redrawsPage>, chatGPTPage},
    {"Dia draws its composer anew", anyStep, inDia<&SimulatedDia::redrawsComposer>, chatGPTPage},
    {"Dia draws Send anew", anyStep, inDia<&SimulatedDia::redrawsSend>, chatGPTPage},
    {"Dia ignores writes", anyStep, diaHas<&SimulatedDiaHabits::ignoresWrites, true>, chatGPTPage},
    {"Dia ignores presses", anyStep, diaHas<&SimulatedDiaHabits::ignoresPresses, true>, chatGPTPage},
    {"Dia trims", anyStep, diaHas<&SimulatedDiaHabits::trims, true>, chatGPTPage},
    {"Dia makes quotes smart", anyStep, diaHas<&SimulatedDiaHabits::smartQuotes, true>, chatGPTPage},
    {"Dia stays at the root", anyStep, diaHas<&SimulatedDiaHabits::staysAtRoot, true>, chatGPTPage},
    {"Dia loses the file", anyStep, diaHas<&SimulatedDiaHabits::losesFiles, true>, chatGPTPage},
    {"Dia quits", anyStep, diaQuits, chatGPTPage},
    {"Dia restarts", anyStep, diaRestarts, chatGPTPage},
    {"Codex comes to the front", anyStep, codexComesToFront, chatGPTPage},
    {"a glance at Codex", anyStep, glanceAtCodex, chatGPTPage},
    {"the ZIP changes", anyStep, zipChanges, chatGPTPage},
    {"the ZIP goes", anyStep, zipGoes, chatGPTPage},

    {"person sends the other way", anyStep, personSendsTheOtherWay, linkOfThree},
    {"the message is lost, and person sends the other way", anyStep, messageIsLostAndPersonSendsTheOtherWay,
     linkOfThree},
    {"Codex names no new conversation", anyStep, codexBeginsWith<&SimulatedCodexExec::prints, false>,
     codexExec},
    {"Codex records no new conversation", anyStep, codexBeginsWith<&SimulatedCodexExec::records, false>,
     codexExec},
    {"Codex records the new conversation late", anyStep, codexRecordsLate, codexExec},
    {"Codex begins with something else", anyStep, codexBeginsSomethingElse, codexExec},
    {"Codex ends halfway", anyStep, codexEndsHalfway, codexExec},
    {"Codex never ends", anyStep, codexBeginsWith<&SimulatedCodexExec::ends, false>, codexExec},
    {"the first message is pasted elsewhere", anyStep, firstMessageIsPasted, codexExec},
};

} // namespace

bool FaultKind::fits(const SimulatedStep& step) const {
    switch (place) {
    case FaultPlace::anyStep: return true;
    case FaultPlace::read: return !step.isWrite && step.element != 0;
    case FaultPlace::write:
        return step.isWrite && step.operation != "replaceFile" && step.operation != "process";
    case FaultPlace::fileWrite: return step.operation == "replaceFile";
    case FaultPlace::childStart: return step.isWrite && step.operation == "process";
    }
    return false;
}

std::span<const FaultKind> allFaults() {
    return faults;
}

const FaultKind* faultNamed(std::string_view name) {
    const auto* found = std::find_if(std::begin(faults), std::end(faults),
                                     [&](const auto& kind) { return kind.name == name; });
    return found == std::end(faults) ? nullptr : found;
}

} // namespace orvel::explore
