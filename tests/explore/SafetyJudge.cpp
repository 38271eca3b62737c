#include "explore/SafetyJudge.h"

#include "Orvel/model/RelayStateFile.h"
#include "OrvelCore/relay/RelayStateReport.h"
#include "explore/Scenarios.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

constexpr std::array<std::string_view, 1> canaries{ExplorationDesk::canary};
/// What stands in editors and on the clipboard, of which the monitor tells nothing.
constexpr std::array<std::string_view, 5> unknownToMonitor{
    ExplorationDesk::canary, std::string_view(typedCommand).substr(7), ExplorationDesk::codexSession,
    ExplorationDesk::destination, "://"};

constexpr MainLoop::Duration longestUnbrokenHold = 10ms;

long long microseconds(MainLoop::Duration duration) {
    return duration / 1us;
}

std::unique_ptr<DestinationWatch> watchOf(Destination destination, ExplorationDesk& desk,
                                          SafetyJudge& judge) {
    switch (destination) {
    case claudeWindow: return watchClaude(desk, judge);
    case codexQueue: return watchCodex(desk, judge);
    case claudeCode: return watchClaudeCode(desk, judge);
    case codexExec: return watchNewWithCodex(desk, judge);
    case chatGPTPage: return watchDia(desk, judge);
    }
    return nullptr;
}

} // namespace

SafetyJudge::SafetyJudge(ExplorationDesk& desk, const Scenario& scenario)
    : desk(desk), scenario(scenario), destination(watchOf(scenario.destination, desk, *this)) {
    watchProcess();
    if (scenario.isTyped()) command = std::make_unique<CommandWatch>(desk, *this);
}

void SafetyJudge::watchProcess() {
    desk.orvel->watched.onFailure = [this](const RelaySendError& failure) { judgeFailure(failure); };
    changes = desk.model().changes().subscribe([this] {
        judgeOffer();
        judgeLinks();
        judgeBindings();
        noteFailures();
    });
    if (auto& monitoring = desk.orvel->monitoring) {
        auto& onFailure = monitoring->monitor.onFailure;
        onFailure = [this, tell = onFailure](const std::string& message, const std::string& context) {
            noticed += message + context;
            tell(message, context);
        };
    }
}

bool SafetyJudge::isNewConversation() const {
    return !scenario.newConversation.empty();
}

bool SafetyJudge::isWritten() const {
    return scenario.isWritten;
}

bool SafetyJudge::isConsultation() const {
    return scenario.destination == chatGPTPage;
}

bool SafetyJudge::mayAskAgain() const {
    return desk.orvel->refusal && !desk.orvel->refusal->sendWasPressed();
}

std::optional<std::string> SafetyJudge::payload() const {
    if (isConsultation()) return desk.question;
    if (isNewConversation()) return std::string(scenario.newConversation);
    const auto saved = readRelayState(desk.relayStatePath());
    if (isFirstMessage())
        return saved.initialTransfers.empty() ? std::nullopt
                                              : std::optional(*saved.initialTransfers.back().payload);
    if (saved.transfers.empty()) return std::nullopt;
    return *saved.transfers.back().payload;
}

void SafetyJudge::watch(const SimulatedStep& step) {
    if (command) command->watch(step);
    if (!destination->touches(step)) return;
    if (scenario.onlyLooks) {
        if (step.operation == "setAttribute" || step.operation == "performAction")
            fail(Rule::nothingElseIsPressed, "touched where it was to look");
        return;
    }
    judgeSaved();
}

void SafetyJudge::judgeSaved() {
    if (isNewConversation() || isConsultation()) return;
    const auto saved = readRelayState(desk.relayStatePath());
    if (isFirstMessage()) {
        const auto& initials = saved.initialTransfers;
        if (initials.empty() || initials.back().deliveryMode != RelayDeliveryMode::submitted ||
            initials.back().retryable == true)
            fail(Rule::savedFirst, "begun with nothing on disk, or while the record allows a retry");
        return;
    }
    if (saved.transfers.empty())
        fail(Rule::savedFirst, "touched with nothing on disk");
    else if (saved.transfers.back().isPending() && saved.transfers.back().retryable != false)
        fail(Rule::savedFirst, "touched while the record allows a retry");
}

void SafetyJudge::judgeFailure(const RelaySendError& failure) {
    if (failure.canRetry() && mayHoldMessage())
        fail(Rule::retryOnlyIfNothingInserted, "the sender allows a retry after a write");
}

// At the very moment of the offer; a moment later a receipt may have taken it back.
void SafetyJudge::judgeOffer() {
    if (desk.isDead()) return;
    const auto pending = desk.model().workspace.relay().pendingTransfer();
    const auto initial = desk.model().workspace.relay().activeInitial();
    const bool isOffered = (pending && desk.model().outbox.state().mayRetry(*pending)) ||
                           (initial && initial->retryable == true);
    if (isOffered && !wasOffered && mayHoldMessage())
        fail(Rule::retryOnlyIfNothingInserted, "a retry is offered after a write");
    wasOffered = isOffered;
}

void SafetyJudge::judgeLinks() {
    if (desk.isDead()) return;
    const auto& state = desk.model().ledger.state().relayState.get();
    for (const auto& link : state.links) {
        const auto waiting = std::count_if(link.pairIDs.begin(), link.pairIDs.end(), [&](const auto& id) {
            return state.pendingTransfer(id) != nullptr;
        });
        if (waiting + (state.pendingInitial(link) ? 1 : 0) > 1 && !std::exchange(isLinkCrowded, true))
            fail(Rule::oneInALink, "two messages of a link wait");
    }
}

void SafetyJudge::judgeBindings() {
    if (desk.isDead()) return;
    const auto& state = desk.model().ledger.state().relayState.get();
    for (const auto& initial : state.initialTransfers) {
        if (!initial.boundPairID) {
            if (bindings.contains(initial.id)) fail(Rule::boundOnceToANewOne, "a binding was taken back");
            continue;
        }
        const auto [known, isNew] = bindings.emplace(initial.id, *initial.boundPairID);
        if (known->second != *initial.boundPairID) fail(Rule::boundOnceToANewOne, "bound a second time");
        if (!isNew) continue;
        const auto pair = state.pairs.find(*initial.boundPairID);
        const auto made = desk.newWithCodex();
        if (!pair || std::find(made.begin(), made.end(), pair->codex.sessionID) == made.end())
            fail(Rule::boundOnceToANewOne, "bound to a conversation that existed before");
        for (const auto& [id, pairID] : bindings)
            if (id != initial.id && pairID == *initial.boundPairID)
                fail(Rule::boundOnceToANewOne, "two first messages are bound to one conversation");
    }
}

void SafetyJudge::judgeConsultation() {
    const auto& orvel = *desk.orvel;
    if (isReceived() && !destination->hasReceived(desk.question))
        fail(Rule::receivedOnlyIfThere, "told as delivered without standing in a conversation");
    const auto& deeds = desk.dia.deeds();
    const bool isPressed = std::any_of(deeds.begin(), deeds.end(), [](const auto& deed) {
        return deed.kind == SimulatedDia::Deed::Kind::pressedSend && !deed.byPerson;
    });
    if (isPressed && mayAskAgain())
        fail(Rule::retryOnlyIfNothingInserted, "told as not sent after Send was pressed");
    if (orvel.operations.isRunning()) fail(Rule::comesToRest, "an operation on the page is still running");
    std::string told = orvel.refusal ? orvel.refusal->what() : "";
    for (const auto& trace : orvel.operations.history().finished()) told += trace->report().text();
    for (const std::string_view content :
         {std::string_view(ExplorationDesk::canary), std::string_view(desk.folder), std::string_view(".zip")})
        if (told.find(content) != told.npos) fail(Rule::traceHoldsNothing, "shows content");
}

// The destination of a first message is whichever new conversation holds it.
void SafetyJudge::judgeFirstMessage(const std::string& text) {
    const auto& state = desk.model().ledger.state().relayState.get();
    const auto& initial = state.initialTransfers.back();
    const auto& relay = desk.model().workspace.relay();
    if (isReceived() && !destination->hasReceived(text))
        fail(Rule::receivedOnlyIfThere, "received without standing in a new conversation");
    if (isReceived() && toldAsFailed.contains(desk.model().notices.error().value_or("")))
        fail(Rule::receivedIsNotFailed, "the error tells of a failure to deliver it");
    if (!isReceived() && destination->isProvable(text))
        fail(Rule::noTransferIsLost, "arrived and still pending");
    if (initial.isPending() && !relay.activeInitial()) fail(Rule::noTransferIsLost, "pending and not shown");
    if (initial.isPending() && initial.retryable == true && mayHoldMessage())
        fail(Rule::retryOnlyIfNothingInserted, "the record allows a retry after a start");
}

bool SafetyJudge::isFirstMessage() const {
    return scenario.destination == codexExec;
}

void SafetyJudge::noteFailures() {
    if (desk.isDead()) return;
    for (const auto& [id, failure] : desk.model().outbox.state().transferFailures.get())
        toldAsFailed.insert(failure.description());
}

void SafetyJudge::finish() {
    judgeMemory();
    judgeLinks();
    judgeBindings();
    judgeReceipts();
    judgeDiagnostics();
    judgeRest();
    judgeHolds();
    if (command) command->finish();
}

void SafetyJudge::judgeMemory() {
    if (!(readRelayState(desk.relayStatePath()) == desk.model().ledger.state().relayState.get()))
        fail(Rule::memoryEqualsDisk, "the file holds another state than the memory");
    if (const auto broken = violationsOf(desk.model().ledger.state().relayState); !broken.empty())
        fail(Rule::recordsAreSound, broken);
}

bool SafetyJudge::isReceived() const {
    if (isConsultation()) return desk.orvel && desk.orvel->answered.has_value();
    if (isNewConversation()) return desk.orvel && desk.orvel->started.has_value();
    const auto& transfers = desk.model().ledger.state().relayState->transfers;
    // A first message has no transfer before it is bound.
    return !transfers.empty() && !transfers.back().isPending();
}

bool SafetyJudge::isWorkedOff() const {
    return !command || command->isWorkedOff(scenario.ending == Ending::received);
}

void SafetyJudge::judgeReceipts() {
    const auto text = payload();
    if (!text) {
        if (mayHoldMessage()) fail(Rule::noTransferIsLost, "written, and no record of it");
        return;
    }
    destination->finish(*text);
    if (isConsultation()) return judgeConsultation();
    if (isNewConversation()) {
        if (isReceived() && !destination->hasReceived(*text))
            fail(Rule::receivedOnlyIfThere, "gave a conversation without the message");
        return;
    }
    if (isFirstMessage()) return judgeFirstMessage(*text);
    const bool isThere = destination->hasReceived(*text);
    const auto& transfer = desk.model().ledger.state().relayState->transfers.back();
    if (!transfer.isPending() && !isThere)
        fail(Rule::receivedOnlyIfThere, "received without standing in the transcript");
    if (!transfer.isPending() && toldAsFailed.contains(desk.model().notices.error().value_or("")))
        fail(Rule::receivedIsNotFailed, "the error tells of a failure to deliver it");
    if (transfer.isPending() && destination->isProvable(*text))
        fail(Rule::noTransferIsLost, "arrived and still pending");
    const auto& relay = desk.model().workspace.relay();
    if (transfer.isPending() && !relay.pendingTransfer() && !relay.otherChainTransferPending())
        fail(Rule::noTransferIsLost, "pending and not shown");
    if (transfer.isPending() && desk.model().outbox.state().mayRetry(transfer) && mayHoldMessage())
        fail(Rule::retryOnlyIfNothingInserted, "the record allows a retry after a write");
}

void SafetyJudge::judgeDiagnostics() {
    const auto check = [this](std::string_view where, std::string_view text,
                              std::span<const std::string_view> contents = canaries) {
        for (const auto content : contents)
            if (text.find(content) != text.npos)
                fail(Rule::diagnosticsHoldNoContent, std::string(where) + " shows content");
    };
    const auto& model = desk.model();
    check("the error", model.notices.error().value_or(""));
    check("the status", model.notices.status());
    for (const auto& [id, failure] : model.outbox.state().transferFailures.get())
        check("a failure", failure.description());
    check("the history", desk.orvel->history.description().text());
    if (const auto& monitoring = desk.orvel->monitoring) {
        const auto& state = monitoring->monitor.state();
        const auto& failed = noticed;
        for (const std::string_view text :
             {std::string_view(state.status.get()), std::string_view(state.diagnostics->text()),
              std::string_view(state.lastCommandDiagnostics->text()),
              std::string_view(state.commandRemovalDescription.get()), std::string_view(failed),
              std::string_view(monitoring->preparation.description()),
              std::string_view(monitoring->lifecycle.status())})
            check("the monitor", text, unknownToMonitor);
        check("the Returns", monitoring->monitor.history().report({}).text(), unknownToMonitor);
    }
    check("a failed start", desk.orvel->startFailure.value_or(""));
}

void SafetyJudge::judgeRest() {
    const auto view = desk.model().view();
    if (!desk.isIdle() || view.outbox.operation.isUnderWay() || view.isCheckingReceipts ||
        view.catalogue.isDiscovering || view.workspace.isLoading)
        fail(Rule::comesToRest, "an operation is still under way");
    const auto children = desk.desktop.processes.running();
    if (children > 0) fail(Rule::noChildRemains, std::to_string(children) + " run on");
}

void SafetyJudge::judgeHolds() {
    const auto& hold = desk.desktop.loop.longestHold();
    const auto wait = desk.desktop.keyboard.longestWait();
    if (wait > hold.duration)
        fail(Rule::keysPass, "a key waited for " + std::to_string(microseconds(wait)) +
                                 " microseconds, while the longest hold was " +
                                 std::to_string(microseconds(hold.duration)));
    const auto& busiest = desk.desktop.loop.busiestHold();
    // A Return waits until it is decided.
    const auto longest = scenario.isTyped() ? TimedReads::budget : longestUnbrokenHold;
    if (timesCount && busiest.own() > longest)
        fail(Rule::mainThreadIsFree, "held for " + std::to_string(microseconds(busiest.duration)) +
                                         " microseconds, of which the slowest call took " +
                                         std::to_string(microseconds(busiest.slowestCall)) +
                                         " and a composed write " +
                                         std::to_string(microseconds(busiest.awaited)));
}

} // namespace orvel::explore
