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
        if (!desk.isDead()) desk.model().setInstruction("CANARY another note");
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

void textIsTrimmed(ExplorationDesk& desk, SimulatedStep&) {
    desk.claude.habits.trimsWrites = true;
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

constexpr FaultKind faults[] = {
    {"cannot complete", FaultPlace::read, report<AXStatus::cannotComplete>},
    {"invalid element", FaultPlace::read, report<AXStatus::invalidElement>},
    {"hard failure", FaultPlace::read, report<AXStatus::failure>},
    {"no value", FaultPlace::read, report<AXStatus::noValue>},
    {"delay of 30 ms", FaultPlace::read, delay<30>},
    {"delay beyond the timeout", FaultPlace::read, delay<400>},
    {"write refused", FaultPlace::write, report<AXStatus::failure>},
    {"write done and not answered", FaultPlace::write, report<AXStatus::cannotComplete, true>},
    {"write not done, half-known", FaultPlace::write, report<AXStatus::mayHaveHappened>},
    {"write done, half-known", FaultPlace::write, report<AXStatus::mayHaveHappened, true>},
    {"disk refuses", FaultPlace::fileWrite, report<AXStatus::failure>},
    {"Orvel dies", FaultPlace::anyStep, orvelDies},
    {"user types", FaultPlace::anyStep, userTypes},
    {"user types and deletes", FaultPlace::anyStep, userTypesAndDeletes},
    {"user composes", FaultPlace::anyStep, userComposes},
    {"user attaches", FaultPlace::anyStep, userAttaches},
    {"user sends", FaultPlace::anyStep, userSends},
    {"user edits the note", FaultPlace::anyStep, userEditsNote},
    {"user navigates", FaultPlace::anyStep, userNavigates},
    {"another application in front", FaultPlace::anyStep, anotherInFront},
    {"a glance elsewhere", FaultPlace::anyStep, glanceElsewhere},
    {"window closes", FaultPlace::anyStep, windowCloses},
    {"window is replaced", FaultPlace::anyStep, windowIsReplaced},
    {"Claude quits", FaultPlace::anyStep, claudeQuits},
    {"Claude restarts", FaultPlace::anyStep, claudeRestarts},
    {"a reply begins", FaultPlace::anyStep, replyBegins},
    {"writes are ignored", FaultPlace::anyStep, writesAreIgnored},
    {"presses are ignored", FaultPlace::anyStep, pressesAreIgnored},
    {"text is trimmed", FaultPlace::anyStep, textIsTrimmed},
    {"clipboard is written", FaultPlace::anyStep, clipboardIsWritten},
    {"permission is withdrawn", FaultPlace::anyStep, permissionIsWithdrawn},
};

} // namespace

bool FaultKind::fits(const SimulatedStep& step) const {
    switch (place) {
    case FaultPlace::anyStep: return true;
    case FaultPlace::read: return !step.isWrite && step.element != 0;
    case FaultPlace::write: return step.isWrite && step.operation != "replaceFile";
    case FaultPlace::fileWrite: return step.operation == "replaceFile";
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
