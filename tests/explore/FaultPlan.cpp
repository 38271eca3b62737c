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

constexpr auto read = FaultPlace::read, write = FaultPlace::write, anyStep = FaultPlace::anyStep;

constexpr FaultKind faults[] = {
    {"disk refuses", FaultPlace::fileWrite, report<AXStatus::failure>},
    {"disk is full", anyStep, diskIsFull},
    {"disk is slow", anyStep, diskIsSlow},
    {"Orvel dies", anyStep, orvelDies},
    {"user edits the note", anyStep, userEditsNote},
    {"clipboard is written", anyStep, clipboardIsWritten},

    {"cannot complete", read, report<AXStatus::cannotComplete>, Agent::claude},
    {"invalid element", read, report<AXStatus::invalidElement>, Agent::claude},
    {"hard failure", read, report<AXStatus::failure>, Agent::claude},
    {"no value", read, report<AXStatus::noValue>, Agent::claude},
    {"delay of 30 ms", read, delay<30>, Agent::claude},
    {"delay beyond the timeout", read, delay<400>, Agent::claude},
    {"write refused", write, report<AXStatus::failure>, Agent::claude},
    {"write done and not answered", write, report<AXStatus::cannotComplete, true>, Agent::claude},
    {"write not done, half-known", write, report<AXStatus::mayHaveHappened>, Agent::claude},
    {"write done, half-known", write, report<AXStatus::mayHaveHappened, true>, Agent::claude},
    {"user types", anyStep, userTypes, Agent::claude},
    {"user types and deletes", anyStep, userTypesAndDeletes, Agent::claude},
    {"user composes", anyStep, userComposes, Agent::claude},
    {"user attaches", anyStep, userAttaches, Agent::claude},
    {"user sends", anyStep, userSends, Agent::claude},
    {"user navigates", anyStep, userNavigates, Agent::claude},
    {"another application in front", anyStep, anotherInFront, Agent::claude},
    {"a glance elsewhere", anyStep, glanceElsewhere, Agent::claude},
    {"window closes", anyStep, windowCloses, Agent::claude},
    {"window is replaced", anyStep, windowIsReplaced, Agent::claude},
    {"Claude quits", anyStep, claudeQuits, Agent::claude},
    {"Claude restarts", anyStep, claudeRestarts, Agent::claude},
    {"a reply begins", anyStep, replyBegins, Agent::claude},
    {"writes are ignored", anyStep, writesAreIgnored, Agent::claude},
    {"presses are ignored", anyStep, pressesAreIgnored, Agent::claude},
    {"lines are joined", anyStep, linesAreJoined, Agent::claude},
    {"user types a blank", anyStep, userTypesABlank, Agent::claude},
    {"a reply begins beside Send", anyStep, replyBeginsBesideSend, Agent::claude},
    {"another window", anyStep, anotherWindow, Agent::claude},
    {"the conversation in another window", anyStep, conversationInAnotherWindow, Agent::claude},
    {"a glance at another window", anyStep, glanceAtAnotherWindow, Agent::claude},
    {"a dialog opens", anyStep, inClaude<&SimulatedClaude::opensDialog>, Agent::claude},
    {"the page is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsPage>, Agent::claude},
    {"the page is replaced", anyStep, inClaude<&SimulatedClaude::replacesPage>, Agent::claude},
    {"the editor is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsEditor>, Agent::claude},
    {"Send is drawn anew", anyStep, inClaude<&SimulatedClaude::redrawsSend>, Agent::claude},
    {"permission is withdrawn", anyStep, permissionIsWithdrawn, Agent::claude},

    {"Codex can't be started", FaultPlace::childStart, report<AXStatus::failure>, Agent::codex},
    {"children die", anyStep, childrenDie, Agent::codex},
    {"Orvel dies with its children", anyStep, orvelDiesWithItsChildren, Agent::codex},
    {"output breaks off", anyStep, outputBreaksOff, Agent::codex},
    {"children fall silent", anyStep, childrenFallSilent, Agent::codex},
    {"no server", anyStep, noServer, Agent::codex},
    {"queue refuses", anyStep, queueRefuses, Agent::codex},
    {"queue stores and fails", anyStep, queueStoresAndFails, Agent::codex},
    {"queue loses the message", anyStep, queueLosesTheMessage, Agent::codex},
    {"queue never ends", anyStep, queueNeverEnds, Agent::codex},
    {"turns fail", anyStep, turnsFail, Agent::codex},
    {"another program takes the thread", anyStep, anotherTakesTheThread, Agent::codex},
    {"another program lets the thread go", anyStep, anotherLetsTheThreadGo, Agent::codex},
    {"another program writes into the thread", anyStep, anotherWrites, Agent::codex},
    {"person types while the queue stores", anyStep, personTypesInCodex, Agent::codex},
    {"thread is archived", anyStep, threadIsArchived, Agent::codex},
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
