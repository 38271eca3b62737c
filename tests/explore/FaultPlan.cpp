#include "explore/FaultPlan.h"

#include <algorithm>

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

void userTypes(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.typed("CANARY typed");
}

void userTypesAndDeletes(ExplorationDesk& desk, SimulatedStep&) {
    const auto shown = desk.claude.shown();
    auto* conversation = desk.claude.conversation(shown);
    if (!conversation) return;
    const auto before = conversation->draft;
    desk.claude.typed("x");
    desk.desktop.loop.outside(80ms, [&desk, shown, before] { desk.claude.userSetsDraft(shown, before); });
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
    if (!desk.codex.isHeld(desk.codexSession)) desk.codex.holdAsAnother(desk.codexSession);
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

constexpr auto throughTool = codexQueue | claudeCode;
constexpr auto read = FaultPlace::read, write = FaultPlace::write, anyStep = FaultPlace::anyStep;

constexpr FaultKind faults[] = {
    {"disk refuses", FaultPlace::fileWrite, report<AXStatus::failure>},
    {"disk is full", anyStep, diskIsFull},
    {"disk is slow", anyStep, diskIsSlow},
    {"Orvel dies", anyStep, orvelDies},
    {"user edits the note", anyStep, userEditsNote},
    {"clipboard is written", anyStep, clipboardIsWritten},

    {"cannot complete", read, report<AXStatus::cannotComplete>, claudeWindow},
    {"invalid element", read, report<AXStatus::invalidElement>, claudeWindow},
    {"hard failure", read, report<AXStatus::failure>, claudeWindow},
    {"no value", read, report<AXStatus::noValue>, claudeWindow},
    {"delay of 30 ms", read, delay<30>, claudeWindow},
    {"delay beyond the timeout", read, delay<400>, claudeWindow},
    {"write refused", write, report<AXStatus::failure>, claudeWindow},
    {"write done and not answered", write, report<AXStatus::cannotComplete, true>, claudeWindow},
    {"write not done, half-known", write, report<AXStatus::mayHaveHappened>, claudeWindow},
    {"write done, half-known", write, report<AXStatus::mayHaveHappened, true>, claudeWindow},
    {"user types", anyStep, userTypes, claudeWindow},
    {"user types and deletes", anyStep, userTypesAndDeletes, claudeWindow},
    {"user composes", anyStep, userComposes, claudeWindow},
    {"user attaches", anyStep, userAttaches, claudeWindow},
    {"user sends", anyStep, userSends, claudeWindow},
    {"user navigates", anyStep, userNavigates, claudeWindow},
    {"another application in front", anyStep, anotherInFront, claudeWindow},
    {"a glance elsewhere", anyStep, glanceElsewhere, claudeWindow},
    {"window closes", anyStep, windowCloses, claudeWindow},
    {"window is replaced", anyStep, windowIsReplaced, claudeWindow},
    {"Claude quits", anyStep, claudeQuits, claudeWindow},
    {"Claude restarts", anyStep, claudeRestarts, claudeWindow},
    {"a reply begins", anyStep, replyBegins, claudeWindow},
    {"writes are ignored", anyStep, writesAreIgnored, claudeWindow},
    {"presses are ignored", anyStep, pressesAreIgnored, claudeWindow},
    {"lines are joined", anyStep, linesAreJoined, claudeWindow},
    {"user types a blank", anyStep, userTypesABlank, claudeWindow},
    {"a reply begins beside Send", anyStep, replyBeginsBesideSend, claudeWindow},
    {"another window", anyStep, anotherWindow, claudeWindow},
    {"the conversation in another window", anyStep, conversationInAnotherWindow, claudeWindow},
    {"a glance at another window", anyStep, glanceAtAnotherWindow, claudeWindow},
    {"a dialog opens", anyStep, inClaude<&SimulatedClaude::opensDialog>, claudeWindow},
    {"the page is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsPage>, claudeWindow},
    {"the page is replaced", anyStep, inClaude<&SimulatedClaude::replacesPage>, claudeWindow},
    {"the editor is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsEditor>, claudeWindow},
    {"Send is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsSend>, claudeWindow},
    {"permission is withdrawn", anyStep, permissionIsWithdrawn, claudeWindow},

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
    {"turns fail", anyStep, turnsFail, codexQueue},
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
    {"the folder goes", anyStep, folderGoes, claudeCode},
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
