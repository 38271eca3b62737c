#include "explore/Scenarios.h"

#include "OrvelCore/relay/RelayStateJson.h"

#include <algorithm>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

constexpr auto note = "Please look at this.";
constexpr auto newText = "CANARY begin here";

// A world in which Claude runs and shows a conversation, and Orvel has a pair with it.
void inClaude(ExplorationDesk& desk, const std::string& shown) {
    desk.claude.habits.messagesShown = 1;
    RelayState state;
    const RelayStamp stamp{[] { return std::string("00000000-0000-4000-8000-000000000001"); }, 800'000'000};
    const auto pair = state.pair(desk.codexReference(), desk.claudeReference(), std::nullopt, stamp);
    state.setDraft(pair.id, Agent::codex, note, std::nullopt, false);
    desk.disk.replaceFile(desk.relayStatePath(), encodeRelayState(state));
    desk.claude.show(shown);
    auto& applications = desk.desktop.applications;
    applications.start(desk.claude);
    applications.bringToFront(SimulatedApplications::self);
}

void atDestination(ExplorationDesk& desk) {
    inClaude(desk, ExplorationDesk::destination);
}

void atEmptyElsewhere(ExplorationDesk& desk) {
    inClaude(desk, ExplorationDesk::elsewhere);
}

void atDraftElsewhere(ExplorationDesk& desk) {
    desk.claude.userSetsDraft(ExplorationDesk::elsewhere, "CANARY draft");
    inClaude(desk, ExplorationDesk::elsewhere);
    desk.desktop.loop.runFor(1s);
}

// The look at the candidates must be confirmed within 25 ms, which takes reads as fast as these.
void japaneseDraftElsewhere(ExplorationDesk& desk) {
    desk.desktop.accessibility.latency = {100us, 300us, 2ms};
    desk.claude.habits.textShows = 1ms; // Such a system shows what was written before it can be read.
    desk.desktop.inputSources.useGoogleHiragana();
    desk.desktop.applications.bundles["/Library/Input Methods/GoogleJapaneseInput.app"] = {
        "com.google.inputmethod.Japanese", "3.34.6260"};
    desk.claude.userSetsDraft(ExplorationDesk::elsewhere, "CANARY 下書き");
    inClaude(desk, ExplorationDesk::elsewhere);
    desk.desktop.loop.runFor(1s);
}

void openComposition(ExplorationDesk& desk) {
    japaneseDraftElsewhere(desk);
    desk.claude.habits.reportsMarkedText = false;
    desk.claude.userComposes("かな");
    desk.desktop.windows.showCandidates(true);
    desk.desktop.loop.runFor(1s);
}

void slowPage(ExplorationDesk& desk) {
    atEmptyElsewhere(desk);
    auto& habits = desk.claude.habits;
    habits.leaving = 700ms;
    habits.loading = 2'500ms;
    habits.sendAppears = 500ms;
    habits.sendEnables = 700ms;
}

// The address of the page is there long before its composer.
void unsettledPage(ExplorationDesk& desk) {
    atEmptyElsewhere(desk);
    desk.claude.habits.settling = 1'500ms;
}

void slowReceipt(ExplorationDesk& desk) {
    atDestination(desk);
    desk.claude.habits.receipt = 7s;
    desk.claude.habits.reply = 9s;
}

void claudeNotStarted(ExplorationDesk& desk) {
    atDestination(desk);
    desk.desktop.applications.quit(desk.claude);
}

// The message of an earlier attempt stands in the editor, and its record awaits a receipt.
void messageLeftInEditor(ExplorationDesk& desk) {
    atDestination(desk);
    desk.claude.habits.ignoresPresses = true;
    desk.boot();
    desk.perform([](OrvelProcess& orvel) { orvel.model.sendRelay(); });
    desk.orvel.reset();
    desk.claude.habits.ignoresPresses = false;
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
}

void sendRelay(OrvelProcess& orvel) {
    orvel.model.sendRelay();
}

void submitDraft(OrvelProcess& orvel) {
    orvel.model.submitExistingClaudeDraft();
}

Task<void> startNew(OrvelProcess& orvel, RelayInitialTransfer transfer) {
    try {
        orvel.started = co_await orvel.sender.start(transfer);
    } catch (const RelaySendError& failure) {
        orvel.startFailure = failure.what();
        orvel.watched.onFailure(failure);
    } catch (const std::exception& failure) {
        orvel.startFailure = failure.what();
    }
}

void startConversation(OrvelProcess& orvel) {
    RelayInitialTransfer transfer;
    transfer.id = "00000000-0000-4000-8000-00000000000A";
    transfer.payload = Shared<std::string>(newText);
    orvel.tasks.start(startNew(orvel, transfer));
}

// The user puts things right, and takes whatever way on Orvel offers.
void userGoesOn(ExplorationDesk& desk, SafetyJudge& judge) {
    auto& applications = desk.desktop.applications;
    desk.claude.habits.ignoresWrites = desk.claude.habits.ignoresPresses = desk.claude.habits.trimsWrites =
        false;
    applications.bringToFront(applications.start(desk.claude));
    desk.claude.opensWindow();
    desk.claude.userNavigates(ExplorationDesk::destination);
    desk.desktop.loop.runFor(3s);
    desk.claude.userFinishesComposing();
    desk.desktop.loop.runFor(1s);
    if (judge.isReceived() || !desk.model().pendingTransfer()) return;
    const bool mayRetry = desk.model().mayRetry(*desk.model().pendingTransfer());
    if (!mayRetry) judge.allowAnotherPress();
    desk.perform([mayRetry](OrvelProcess& orvel) {
        if (mayRetry)
            orvel.model.sendRelay();
        else
            orvel.model.submitExistingClaudeDraft();
    });
}

constexpr Scenario scenarios[] = {
    {"ordinary", "a send into the conversation that Claude shows", atDestination, sendRelay},
    {"navigation", "a send that moves Claude from an empty page", atEmptyElsewhere, sendRelay},
    {"draft", "a send that moves Claude from a page with a draft", atDraftElsewhere, sendRelay},
    {"japanese", "the same with a Japanese input method, nothing being composed", japaneseDraftElsewhere,
     sendRelay},
    {"composition", "the same with a composition open that only its candidates betray", openComposition,
     sendRelay, Ending::refused},
    {"slow page", "a send into a page that takes its time", slowPage, sendRelay},
    {"unsettled page", "a send into a page that has no editor at first, and a retry", unsettledPage,
     sendRelay, Ending::refused, userGoesOn},
    {"late receipt", "a send whose receipt comes when nobody waits for it any more", slowReceipt, sendRelay},
    {"launch", "a send for which Claude is started first", claudeNotStarted, sendRelay},
    {"recovery",
     "Send is pressed on a message that was left in the editor",
     messageLeftInEditor,
     submitDraft,
     Ending::received,
     nullptr,
     {},
     true},
    {"retry", "an ordinary send, and whatever Orvel offers after its failure", atDestination, sendRelay,
     Ending::received, userGoesOn},
    {"new conversation", "a first message into a conversation that it makes", atEmptyElsewhere,
     startConversation, Ending::received, nullptr, newText},
};

} // namespace

std::span<const Scenario> allScenarios() {
    return scenarios;
}

const Scenario* scenarioNamed(std::string_view name) {
    const auto* found = std::find_if(std::begin(scenarios), std::end(scenarios),
                                     [&](const auto& scenario) { return scenario.name == name; });
    return found == std::end(scenarios) ? nullptr : found;
}

} // namespace orvel::explore
