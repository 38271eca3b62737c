#include "explore/SafetyRules.h"

#include "Orvel/model/RelayStateFile.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;
using Deed = SimulatedClaude::Deed;

constexpr MainLoop::Duration longestUnbrokenHold = 10ms;
/// How long a composition may be open before it can have been seen.
constexpr MainLoop::Duration compositionShows = 150ms;

constexpr RuleText rules[] = {
    {Rule::writtenOnce, "written once", "A text is written into an editor at most once for a transfer."},
    {Rule::sentOnce, "sent once",
     "Send is pressed at most once for each time that the user asks for it, and a message is sent once."},
    {Rule::onlyIntoTheEmptyEditor, "only into the empty editor",
     "Only the message is written, only into the destination's editor, and only where that was seen empty."},
    {Rule::onlyTheMessageIsSent, "only the message is sent",
     "Send is pressed only in the destination, and only where its editor was seen to hold the message."},
    {Rule::nothingElseIsPressed, "nothing else is pressed",
     "Nothing but Send is pressed, and New where a new conversation was asked for."},
    {Rule::compositionSurvives, "composition survives",
     "Claude is not moved to another conversation while a composition is open that can be seen."},
    {Rule::retryOnlyIfNothingInserted, "retry only if nothing was inserted",
     "A retry is offered only if nothing was inserted."},
    {Rule::savedFirst, "saved first",
     "A transfer is on disk, as one that may be under way, before its destination is touched."},
    {Rule::memoryEqualsDisk, "memory equals disk", "The records in memory are those on disk."},
    {Rule::receivedOnlyIfThere, "received only if there",
     "A transfer is received only if its text stands in the destination's transcript."},
    {Rule::noTransferIsLost, "no transfer is lost",
     "In the end each transfer is received or visibly pending, and received if its text has arrived."},
    {Rule::comesToRest, "comes to rest", "Every operation ends, and then no flag of one is set."},
    {Rule::diagnosticsHoldNoContent, "diagnostics hold no content",
     "No text of an editor or a conversation appears in a message or a diagnostic."},
    {Rule::mainThreadIsFree, "main thread is free",
     "The main thread is held for at most 10 ms, besides the one slowest call, which nobody can shorten."},
};

bool isBlank(const std::string& text) {
    return trimmed(text).empty();
}

} // namespace

std::span<const RuleText> allRules() {
    return rules;
}

std::string_view nameOf(Rule rule) {
    return std::find_if(std::begin(rules), std::end(rules),
                        [&](const auto& text) { return text.rule == rule; })
        ->name;
}

SafetyJudge::SafetyJudge(ExplorationDesk& desk) : desk(desk) {
    desk.claude.onDeed = [this](const Deed& deed) { judge(deed); };
    watchProcess();
}

void SafetyJudge::watchProcess() {
    desk.orvel->watched.onFailure = [this](const RelaySendError& failure) { judgeFailure(failure); };
}

void SafetyJudge::expectNewConversation(std::string payload) {
    newPayload = std::move(payload);
    destination.clear();
}

std::optional<std::string> SafetyJudge::payload() const {
    if (newPayload) return newPayload;
    const auto saved = readRelayState(desk.relayStatePath());
    if (saved.transfers.empty()) return std::nullopt;
    return *saved.transfers.back().payload;
}

void SafetyJudge::watch(const SimulatedStep& step) {
    if (!step.isWrite || step.operation == "replaceFile") return;
    if (step.operation == "setAttribute" && ++writes > 1) fail(Rule::writtenOnce, "a second write");
    const auto send = desk.claude.sendElement();
    if (step.operation == "performAction" && send && send->number == step.element &&
        ++presses > allowedPresses)
        fail(Rule::sentOnce, "another press of Send");
    if (step.operation == "openURL") {
        const auto since = desk.claude.composingSince();
        if (since && step.at - *since > compositionShows)
            fail(Rule::compositionSurvives, "asked Claude to leave an open composition");
    }
    judgeSaved();
}

void SafetyJudge::judgeSaved() {
    if (newPayload) return;
    const auto saved = readRelayState(desk.relayStatePath());
    if (saved.transfers.empty())
        fail(Rule::savedFirst, "touched with nothing on disk");
    else if (saved.transfers.back().isPending() && saved.transfers.back().retryable != false)
        fail(Rule::savedFirst, "touched while the record allows a retry");
}

void SafetyJudge::judge(const Deed& deed) {
    switch (deed.kind) {
    case Deed::Kind::written: return judgeWrite(deed);
    case Deed::Kind::pressedSend: return judgePress(deed);
    case Deed::Kind::sent:
        if (deed.before == payload() && ++sends > 1) fail(Rule::sentOnce, "the message was sent twice");
        return;
    case Deed::Kind::pressedOther:
        if (deed.after != "New" || !newPayload)
            fail(Rule::nothingElseIsPressed, "pressed another button: " + deed.after);
        return;
    case Deed::Kind::lostComposition: return; // Judged where it was caused.
    }
}

// That the user types behind the last look can't be seen by anybody.
void SafetyJudge::judgeWrite(const Deed& deed) {
    if (deed.desktopID != destination) fail(Rule::onlyIntoTheEmptyEditor, "wrote into another conversation");
    if (deed.after != payload()) fail(Rule::onlyIntoTheEmptyEditor, "wrote something else than the message");
    if (!deed.lastSeen)
        fail(Rule::onlyIntoTheEmptyEditor, "wrote into an editor that was never read");
    else if (!isBlank(*deed.lastSeen))
        fail(Rule::onlyIntoTheEmptyEditor, "wrote over a text that was seen");
}

void SafetyJudge::judgePress(const Deed& deed) {
    if (deed.byPerson) return;
    if (deed.desktopID != destination)
        fail(Rule::onlyTheMessageIsSent, "pressed Send in another conversation");
    if (deed.lastSeen != payload())
        fail(Rule::onlyTheMessageIsSent, "pressed Send without having seen the message in the editor");
}

void SafetyJudge::judgeFailure(const RelaySendError& failure) {
    if (failure.canRetry() && writes > 0)
        fail(Rule::retryOnlyIfNothingInserted, "the sender allows a retry after a write");
}

void SafetyJudge::finish() {
    judgeMemory();
    judgeReceipts();
    judgeDiagnostics();
    judgeRest();
    judgeHolds();
}

void SafetyJudge::judgeMemory() {
    if (!(readRelayState(desk.relayStatePath()) == desk.model().relay().relayState.get()))
        fail(Rule::memoryEqualsDisk, "the file holds another state than the memory");
}

bool SafetyJudge::isReceived() const {
    if (newPayload) return desk.orvel && desk.orvel->started.has_value();
    const auto& transfers = desk.orvel->model.relay().relayState->transfers;
    return !transfers.empty() && !transfers.back().isPending();
}

void SafetyJudge::judgeReceipts() {
    const auto text = payload();
    if (!text) {
        if (writes > 0) fail(Rule::noTransferIsLost, "written, and no record of it");
        return;
    }
    const auto holds = [&](const SimulatedClaude::Conversation& conversation) {
        return std::find(conversation.received.begin(), conversation.received.end(), *text) !=
               conversation.received.end();
    };
    if (newPayload) {
        const auto& started = desk.orvel->started;
        if (!started) return;
        const auto* made = desk.claude.conversation(started->desktopSessionID.value_or(""));
        if (!made || !holds(*made))
            fail(Rule::receivedOnlyIfThere, "gave a conversation without the message");
        return;
    }
    const bool isThere = holds(*desk.claude.conversation(destination));
    const auto& transfer = desk.model().relay().relayState->transfers.back();
    if (!transfer.isPending() && !isThere)
        fail(Rule::receivedOnlyIfThere, "received without standing in the transcript");
    if (transfer.isPending() && isThere) fail(Rule::noTransferIsLost, "arrived and still pending");
    if (transfer.isPending() && !desk.model().pendingTransfer())
        fail(Rule::noTransferIsLost, "pending and not shown");
    if (transfer.isPending() && desk.model().mayRetry(transfer) && writes > 0)
        fail(Rule::retryOnlyIfNothingInserted, "the record allows a retry after a write");
}

void SafetyJudge::judgeDiagnostics() {
    const auto check = [this](std::string_view where, std::string_view text) {
        if (text.find(ExplorationDesk::canary) != std::string_view::npos)
            fail(Rule::diagnosticsHoldNoContent, std::string(where) + " shows content");
    };
    const auto& model = desk.model();
    check("the error", model.session().error->value_or(""));
    check("the status", model.session().status.get());
    for (const auto& [id, text] : model.relay().transferFailures.get()) check("a failure", text);
    check("the history", desk.orvel->history.description().text());
    check("a failed start", desk.orvel->startFailure.value_or(""));
}

void SafetyJudge::judgeRest() {
    const auto& relay = desk.model().relay();
    if (!desk.isIdle() || relay.isSending.get() || relay.isPreparing.get() ||
        relay.isCheckingReceipts.get() || relay.isDiscovering.get() || relay.isRefreshingBusySource ||
        desk.model().session().isLoading.get())
        fail(Rule::comesToRest, "an operation is still under way");
}

void SafetyJudge::judgeHolds() {
    if (!judgesHolds) return;
    const auto& hold = desk.desktop.loop.longestHold();
    if (hold.duration - hold.slowestCall > longestUnbrokenHold)
        fail(Rule::mainThreadIsFree, "held for " + std::to_string(hold.duration / 1us) +
                                         " microseconds, of which the slowest call took " +
                                         std::to_string(hold.slowestCall / 1us));
}

} // namespace orvel::explore
