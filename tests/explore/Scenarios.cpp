#include "explore/Scenarios.h"

#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/relay/RelayStateJson.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

constexpr auto newText = "CANARY begin here";

// Orvel has a pair, with a note for the message that goes out from the desk's source.
void pairUp(ExplorationDesk& desk, std::string_view note = "Please look at this.") {
    RelayState state;
    const RelayStamp stamp{[] { return std::string("00000000-0000-4000-8000-000000000001"); }, 800'000'000};
    const auto pair = state.pair(desk.codexReference(), desk.claudeReference(), std::nullopt, stamp);
    state.setDraft(pair.id, desk.source, note, std::nullopt, false);
    SimulatedFileStore::write(desk.relayStatePath(), encodeRelayState(state));
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
}

// Claude runs behind Orvel and shows a conversation.
void inClaude(ExplorationDesk& desk, const std::string& shown, int messages = 1) {
    desk.claude.habits.messagesShown = messages;
    desk.claude.show(shown);
    desk.desktop.applications.start(desk.claude);
    pairUp(desk);
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

// As over AT-SPI: what will be read can be fetched ahead, and there are no writes.
void onAPlatformWithHints(ExplorationDesk& desk) {
    auto& accessibility = desk.desktop.accessibility;
    accessibility.supportsReadAhead = accessibility.composesWrites = true;
    accessibility.writeTime = 20ms;
}

void useGoogleJapanese(ExplorationDesk& desk) {
    desk.desktop.inputSources.useGoogleHiragana();
    desk.desktop.applications.bundles[GoogleIMEWindowPolicy::imePath] = {
        GoogleIMEWindowPolicy::imeBundleID, std::string(GoogleIMEWindowPolicy::supportedIMEVersion)};
}

// The look at the candidates must be confirmed within 25 ms, which takes a platform that fetches ahead.
void japaneseDraftElsewhere(ExplorationDesk& desk) {
    onAPlatformWithHints(desk);
    useGoogleJapanese(desk);
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

template <auto habit, auto value>
void atDestinationWith(ExplorationDesk& desk) {
    desk.claude.habits.*habit = value;
    atDestination(desk);
}

template <SimulatedIntruder where>
void besideAResemblingHost(ExplorationDesk& desk) {
    desk.claude.habits.pageOrigin = "https://claude.ai.example.net";
    desk.claude.habits.page = where;
    atDestination(desk);
}

// One group less around the editor than a composer has, so that its fifth ancestor is the page.
void atShallowComposer(ExplorationDesk& desk) {
    desk.claude.habits.groupsAround = 0;
    desk.claude.habits.groupsInside = 3;
    atDestination(desk);
}

template <bool showsStop>
void withOneSignOfAReply(ExplorationDesk& desk) {
    desk.claude.habits.showsStop = showsStop;
    desk.claude.habits.showsReplyNote = !showsStop;
    desk.claude.habits.attachmentLabel = "notes.txtの添付を削除";
    atEmptyElsewhere(desk);
}

void anotherConversationOpens(ExplorationDesk& desk) {
    desk.claude.habits.goesElsewhere = ExplorationDesk::third;
    atEmptyElsewhere(desk);
}

void nothingOpens(ExplorationDesk& desk) {
    desk.claude.habits.ignoresURLs = true;
    atEmptyElsewhere(desk);
}

// More than 4,000 elements.
void atEndlessConversation(ExplorationDesk& desk) {
    inClaude(desk, ExplorationDesk::destination, 1'010);
}

// About 3,500 elements; 4,000 are the limit.
void atLongConversation(ExplorationDesk& desk) {
    onAPlatformWithHints(desk);
    desk.desktop.accessibility.supportsSearch = true;
    inClaude(desk, ExplorationDesk::destination, 870);
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
    const auto habits = std::exchange(desk.claude.habits, {});
    atDestination(desk);
    desk.claude.habits.ignoresPresses = true;
    desk.boot();
    desk.perform([](OrvelProcess& orvel) { orvel.model.outbox.sendRelay(); });
    desk.orvel.reset();
    desk.claude.habits = habits;
    desk.claude.habits.page.reset(), desk.claude.habits.editor.reset(); // The window has been drawn.
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
}

void atCodex(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    pairUp(desk);
}

void hyphenToCodex(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    pairUp(desk, "- Please look at this.\n-h");
}

void tooMuchForCodex(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    pairUp(desk, std::string(131'072, 'x'));
}

// Another program holds the conversation, and takes what is queued for it.
void atHeldCodex(ExplorationDesk& desk) {
    atCodex(desk);
    desk.codex.holdAsAnother(ExplorationDesk::codexSession);
}

// Two conversations with Codex, and between them the one with Claude from which the message goes out.
void inAChain(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    RelayState state;
    int made = 0;
    const RelayStamp stamp{[&made] { return "00000000-0000-4000-8000-00000000000" + std::to_string(++made); },
                           800'000'000};
    const auto third = desk.addCodexThread(ExplorationDesk::thirdThread, "Something else");
    const auto pair = state.pair(third, desk.claudeReference(), std::nullopt, stamp);
    state.extendLink(pair.id, RelayLinkEnd::leading, desk.codexReference(),
                     stamp); // Opened, as the last one.
    state.setDraft(pair.id, desk.source, "Please look at this.", std::nullopt, false);
    SimulatedFileStore::write(desk.relayStatePath(), encodeRelayState(state));
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
}

// A conversation that exists begins with the very text that the new one is to begin with.
void beforeAStart(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    desk.isStarting = true;
    const auto source = TranscriptReader::read(desk.claudeReference().transcriptPath, Agent::claude);
    desk.addCodexThread(ExplorationDesk::twinThread,
                        RelayFormatter::render(Agent::claude, source.messages, ExplorationDesk::firstNote));
}

void typesCommand(ExplorationDesk& desk) {
    desk.isMonitoring = true;
    SimulatedFileStore::write(desk.claudeRecordPath(),
                              std::string(R"({"sessionId":")") + ExplorationDesk::destination +
                                  R"(","cliSessionId":")" + ExplorationDesk::claudeSession +
                                  R"(","cwd":"/code/lark","title":"Lark"})");
    desk.claude.userSetsDraft(ExplorationDesk::destination, typedCommand);
    desk.desktop.applications.bringToFront(desk.desktop.applications.start(desk.claude));
    desk.desktop.loop.runFor(1s);
}

void atClaudeCode(ExplorationDesk& desk) {
    desk.usesClaudeCode = true;
    pairUp(desk);
}

// A message goes out and is received, so that the link has proved itself; then Orvel ends.
void proveLink(ExplorationDesk& desk) {
    desk.boot();
    desk.perform([](OrvelProcess& orvel) { orvel.model.outbox.sendRelay(); });
    desk.desktop.loop.runFor(3s);
    desk.perform([](OrvelProcess& orvel) { orvel.model.receipts.checkRelayReceipts(); });
    desk.orvel.reset();
}

// A command stands in Claude's editor, and the person is about to press Return. Messages have gone from this
// conversation into Codex before.
void commandInClaude(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    inClaude(desk, ExplorationDesk::destination);
    proveLink(desk);
    typesCommand(desk);
}

// The same in a conversation from which nothing has gone out yet.
void firstCommandInClaude(ExplorationDesk& desk) {
    desk.source = Agent::claude;
    inClaude(desk, ExplorationDesk::destination);
    typesCommand(desk);
}

// A command stands in Claude's editor whose last word the input method still offers candidates for, which
// nothing but their window betrays.
void commandWithCandidates(ExplorationDesk& desk) {
    desk.claude.version = std::string(GoogleIMEWindowPolicy::supportedClaudeVersion);
    commandInClaude(desk);
    desk.claude.habits.reportsMarkedText = false;
    useGoogleJapanese(desk);
    for (const char* key : {"直", "す", " "}) desk.desktop.keyboard.stroke(key);
    desk.desktop.loop.runFor(1s);
}

void commandBesideCodex(ExplorationDesk& desk) {
    commandInClaude(desk);
    desk.desktop.applications.start(desk.codexApp);
    desk.codex.holdAsAnother(ExplorationDesk::codexSession);
}

// A command stands in Codex's editor.
void typesCommandInCodex(ExplorationDesk& desk) {
    desk.isMonitoring = true;
    desk.codexApp.userSetsDraft(ExplorationDesk::codexSession, typedCommand);
    desk.desktop.applications.bringToFront(desk.desktop.applications.start(desk.codexApp));
    desk.desktop.loop.runFor(1s);
}

void commandInCodex(ExplorationDesk& desk) {
    atDestination(desk);
    proveLink(desk);
    typesCommandInCodex(desk);
}

void firstCommandInCodex(ExplorationDesk& desk) {
    atDestination(desk);
    typesCommandInCodex(desk);
}

void commandForClaudeCode(ExplorationDesk& desk) {
    atClaudeCode(desk);
    proveLink(desk);
    typesCommandInCodex(desk);
}

// A folder was packed, a question was typed, and Dia shows ChatGPT's empty page behind Orvel.
void beforeAsking(ExplorationDesk& desk) {
    desk.writeZip();
    desk.dia.addConversation("old", {"CANARY an old question"});
    desk.desktop.applications.start(desk.dia);
    pairUp(desk);
    desk.desktop.loop.runFor(200ms);
}

// As on a desktop whose open panel can't be read, and which knows no writes.
void beforePasting(ExplorationDesk& desk) {
    desk.isPasting = true;
    onAPlatformWithHints(desk);
    desk.desktop.pasteboard.copiedElsewhere("CANARY copied before");
    beforeAsking(desk);
}

template <auto habit, auto value, bool isPasting = false>
void beforeAskingWith(ExplorationDesk& desk) {
    desk.dia.habits.*habit = value;
    if (isPasting)
        beforePasting(desk);
    else
        beforeAsking(desk);
}

void beforeAskingSlowly(ExplorationDesk& desk) {
    auto& habits = desk.dia.habits;
    habits.menuOpens = 2s, habits.panelOpens = 4s, habits.goToOpens = 3s;
    habits.goToTakes = 4s, habits.uploading = 9s, habits.writtenShows = 900ms, habits.sendEnables = 300ms;
    habits.newRoute = 6s, habits.messageShows = 12s, habits.reply = 20s;
    beforeAsking(desk);
}

// Controls without actions, which the hit test finds late.
void beforeClicking(ExplorationDesk& desk) {
    desk.dia.habits.pressesNeedPointer = true;
    desk.dia.habits.hitTestLag = 400ms;
    beforeAsking(desk);
}

void beforeClickingWhatMoves(ExplorationDesk& desk) {
    desk.dia.habits.pressesNeedPointer = true;
    desk.dia.habits.jitters = 7ms;
    beforeAsking(desk);
}

void beforeAskingWhatIsRedrawn(ExplorationDesk& desk) {
    desk.dia.habits.redraws = 900ms;
    beforeAsking(desk);
}

void beforeAskingWithTwoFiles(ExplorationDesk& desk) {
    desk.dia.habits.alsoAttaches = desk.otherZipPath();
    beforeAsking(desk);
}

template <bool isQuery>
void beforeAskingElsewhere(ExplorationDesk& desk) {
    desk.dia.firstTab = {.path = isQuery ? "/" : "/c/old", .query = isQuery ? "?model=x" : ""};
    beforeAsking(desk);
}

void behindAnotherWindow(ExplorationDesk& desk) {
    beforeAsking(desk);
    desk.dia.opensWindow({.path = "/c/old"});
    desk.dia.focuses(0);
}

void behindAnotherApplication(ExplorationDesk& desk) {
    beforeAsking(desk);
    auto& applications = desk.desktop.applications;
    applications.bringToFront(applications.start(desk.codexApp));
}

Task<void> askingTask(OrvelProcess& orvel) {
    try {
        orvel.answered = co_await orvel.consultation.send(orvel.archive, orvel.question);
    } catch (const ChatGPTBrowserSender::Failure& failure) {
        orvel.refusal = failure;
    }
}

void ask(OrvelProcess& orvel) {
    orvel.tasks.start(askingTask(orvel));
}

Task<void> lookingTask(OrvelProcess& orvel) {
    try {
        orvel.report = co_await orvel.consultation.checkConnection();
    } catch (const std::exception& failure) {
        orvel.report = failure.what();
    }
}

void checkConnection(OrvelProcess& orvel) {
    orvel.tasks.start(lookingTask(orvel));
}

void pressReturn(OrvelProcess& orvel) {
    auto& keyboard = orvel.desktop.keyboard;
    keyboard.press("\r", {.keyCode = KeyCode::returnKey});
    keyboard.press("", {.type = TapEventType::keyUp, .keyCode = KeyCode::returnKey});
}

Task<void> confirmAndPressReturn(OrvelProcess& orvel) {
    pressReturn(orvel);
    co_await orvel.desktop.loop.sleep(500ms);
    pressReturn(orvel);
}

// The first Return is the input method's.
void pressReturnTwice(OrvelProcess& orvel) {
    orvel.tasks.start(confirmAndPressReturn(orvel));
}

void sendRelay(OrvelProcess& orvel) {
    orvel.model.outbox.sendRelay();
}

void startOrSend(OrvelProcess& orvel) {
    orvel.model.send();
}

void submitDraft(OrvelProcess& orvel) {
    orvel.model.outbox.submitExistingClaudeDraft();
}

void diagnose(OrvelProcess& orvel) {
    orvel.model.outbox.diagnoseRelayComposer([&orvel](const std::string& report) { orvel.report = report; });
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
    desk.claude.habits.ignoresWrites = desk.claude.habits.ignoresPresses = desk.claude.habits.joinsLines =
        false;
    applications.bringToFront(applications.start(desk.claude));
    desk.claude.opensWindow();
    desk.claude.returnsToWindow();
    desk.claude.redrawsPage(); // Without the dialog that may stand there.
    desk.claude.userNavigates(ExplorationDesk::destination);
    desk.desktop.loop.runFor(3s);
    desk.claude.userFinishesComposing();
    desk.desktop.loop.runFor(1s);
    if (judge.isReceived() || !desk.model().workspace.relay().pendingTransfer()) return;
    const bool mayRetry =
        desk.model().outbox.state().mayRetry(*desk.model().workspace.relay().pendingTransfer());
    if (!mayRetry) judge.allowAnotherPress();
    desk.perform([mayRetry](OrvelProcess& orvel) {
        if (mayRetry)
            orvel.model.outbox.sendRelay();
        else
            orvel.model.outbox.submitExistingClaudeDraft();
    });
}

// The user tries again where Orvel offers it.
void userRetries(ExplorationDesk& desk, SafetyJudge& judge) {
    desk.restoreCodexThread();
    desk.desktop.loop.runFor(3s);
    desk.codex.hasServer = desk.codex.queueStores = desk.codex.queueEnds = true;
    desk.codex.queueStatus = 0;
    const auto pending = desk.model().workspace.relay().pendingTransfer();
    if (judge.isReceived() || (pending && !desk.model().outbox.state().mayRetry(*pending))) return;
    desk.perform([](OrvelProcess& orvel) { orvel.model.outbox.sendRelay(); });
}

// The same; what stood in the way is gone.
void userRetriesClaudeCode(ExplorationDesk& desk, SafetyJudge& judge) {
    desk.claudeCode.closesElsewhere();
    desk.claudeCode.habits = {};
    std::filesystem::create_directories(desk.codeFolder());
    userRetries(desk, judge);
}

// What stood in the way is gone, and the user starts again where Orvel offers it.
void userStartsAgain(ExplorationDesk& desk, SafetyJudge& judge) {
    desk.codex.exec = {};
    desk.codex.manner.turnsFail = false;
    std::filesystem::create_directories(desk.codeFolder());
    desk.desktop.loop.runFor(3s);
    const auto& model = desk.model();
    const auto initial = model.workspace.relay().activeInitial();
    const bool isSaved = !model.ledger.state().relayState->initialTransfers.empty();
    if (judge.isReceived() || (isSaved && (!initial || initial->retryable != true))) return;
    desk.perform([&desk](OrvelProcess& orvel) {
        orvel.model.workspace.setCreationFolder(desk.codeFolder());
        orvel.model.send();
    });
}

/// A send into a window that is unlike others; mostly refused, and so explored more rarely.
constexpr Scenario strange(std::string_view name, std::string_view about, void (*prepare)(ExplorationDesk&),
                           Ending ending = Ending::received, std::string_view says = {}) {
    return {.name = name,
            .about = about,
            .prepare = prepare,
            .work = sendRelay,
            .ending = ending,
            .coarseness = 12,
            .says = says};
}

/// Of the pages with other habits.
constexpr std::uint64_t variantCoarseness = 300;

/// The same for a question to ChatGPT.
constexpr Scenario asking(std::string_view name, std::string_view about, void (*prepare)(ExplorationDesk&),
                          Ending ending = Ending::received, std::string_view says = {},
                          std::uint64_t coarseness = variantCoarseness) {
    return {.name = name,
            .about = about,
            .prepare = prepare,
            .work = ask,
            .ending = ending,
            .destination = chatGPTPage,
            .coarseness = coarseness,
            .says = says,
            .isVariant = coarseness >= variantCoarseness};
}

constexpr auto notAttached = "Couldn't confirm that exactly one ZIP finished attaching.";
constexpr auto notTheQuestion = "The ChatGPT editor does not match the question.";
constexpr auto notEmptyPage = "Select an empty ChatGPT tab in Dia.";

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
    {.name = "recovery",
     .about = "Send is pressed on a message that was left in the editor",
     .prepare = messageLeftInEditor,
     .work = submitDraft,
     .isWritten = true},
    {"retry", "an ordinary send, and whatever Orvel offers after its failure", atDestination, sendRelay,
     Ending::received, userGoesOn},
    {"new conversation", "a first message into a conversation that it makes", atEmptyElsewhere,
     startConversation, Ending::received, nullptr, newText},
    {.name = "long conversation",
     .about = "a send into a page of thousands of elements",
     .prepare = atLongConversation,
     .work = sendRelay,
     .coarseness = 400},
    strange("a reply shows by Stop alone",
            "a send that moves Claude, where a reply is told by its Stop button alone",
            withOneSignOfAReply<true>),
    strange("a reply shows by its note alone", "the same with a note on the page alone",
            withOneSignOfAReply<false>),

    // What does not look as it should.
    strange("two prompts, a strange one first", "a send into a page with another prompt above its own",
            atDestinationWith<&SimulatedClaudeHabits::editor, SimulatedIntruder::first>, Ending::refused,
            claudeEditorUnverified),
    strange("two prompts, a strange one last", "the same with the other prompt below",
            atDestinationWith<&SimulatedClaudeHabits::editor, SimulatedIntruder::last>, Ending::refused,
            claudeEditorUnverified),
    strange("two pages, a strange one first", "a send into a window that shows the conversation twice",
            atDestinationWith<&SimulatedClaudeHabits::page, SimulatedIntruder::first>, Ending::refused,
            "Multiple Claude Code conversations were found."),
    strange("two pages, a strange one last", "the same with the other page last",
            atDestinationWith<&SimulatedClaudeHabits::page, SimulatedIntruder::last>, Ending::refused,
            "Multiple Claude Code conversations were found."),
    strange("resembling host first", "a send beside a page whose host only begins like Claude's",
            besideAResemblingHost<SimulatedIntruder::first>),
    strange("resembling host last", "the same with that page last",
            besideAResemblingHost<SimulatedIntruder::last>),
    strange("dialog", "a send where a dialog is open above the composer",
            atDestinationWith<&SimulatedClaudeHabits::hasDialog, true>, Ending::refused,
            claudeEditorUnverified),
    strange("two Sends", "a send where the message brings forth two Send buttons",
            atDestinationWith<&SimulatedClaudeHabits::hasTwoSends, true>, Ending::stillAbsent,
            claudeEditorUnverified),
    strange("unreadable Send", "a send where nobody can tell whether Send is enabled",
            atDestinationWith<&SimulatedClaudeHabits::sendEnabledIsUnreadable, true>, Ending::stillAbsent,
            "Couldn't read whether Claude’s Send button is enabled."),
    strange("deep page", "a send into a composer that lies deeper in its page",
            atDestinationWith<&SimulatedClaudeHabits::groupsAround, 5>),
    strange("shallow composer", "a send into an editor without the groups that a composer has",
            atShallowComposer, Ending::refused, claudeEditorUnverified),
    {.name = "endless conversation",
     .about = "a send into a page of more elements than are walked over",
     .prepare = atEndlessConversation,
     .work = sendRelay,
     .ending = Ending::refused,
     .coarseness = 2'000,
     .says = claudeEditorUnverified},
    strange("another conversation opens",
            "a send for which Claude goes to another conversation than it was asked for",
            anotherConversationOpens, Ending::refused, "Claude navigated to another conversation."),
    strange("nothing opens", "a send for which Claude stays where it is", nothingOpens, Ending::refused,
            "did not become ready in time"),
    strange("receipt is lost", "a send that never reaches the transcript",
            atDestinationWith<&SimulatedClaudeHabits::losesReceipts, true>, Ending::stillAbsent,
            "delivery is not confirmed"),
    {.name = "diagnosis",
     .about = "a look at the composer, without sending",
     .prepare = atDestination,
     .work = diagnose,
     .ending = Ending::stillAbsent,
     .onlyLooks = true,
     .says = "Ancestor 6: role=AXGroup"},
    {.name = "into Codex",
     .about = "a send into Codex, and a retry where Orvel offers one",
     .prepare = atCodex,
     .work = sendRelay,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s},
    {.name = "into held Codex",
     .about = "the same while another program holds the conversation",
     .prepare = atHeldCodex,
     .work = sendRelay,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s},
    {.name = "into Claude Code",
     .about = "a send into a conversation that only Claude Code knows, and a retry where Orvel offers one",
     .prepare = atClaudeCode,
     .work = sendRelay,
     .afterwards = userRetriesClaudeCode,
     .destination = claudeCode,
     .watching = 3s},
    {.name = "a link of three",
     .about = "a send into Codex in a chain, whose other neighbour the person may turn to meanwhile",
     .prepare = inAChain,
     .work = sendRelay,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s,
     .inChain = true},
    {.name = "new conversation with Codex",
     .about =
         "a first message with which Codex begins a conversation, beside an older one with its very text",
     .prepare = beforeAStart,
     .work = startOrSend,
     .afterwards = userStartsAgain,
     .destination = codexExec,
     .watching = 3s},
    {.name = "a hyphen into Codex",
     .about = "a send of a text that begins as an option does",
     .prepare = hyphenToCodex,
     .work = sendRelay,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s,
     .coarseness = 12},
    {.name = "too much for Codex",
     .about = "a send of more than the command takes, which is not even saved",
     .prepare = tooMuchForCodex,
     .work = sendRelay,
     .ending = Ending::stillAbsent,
     .destination = codexQueue,
     .coarseness = 12,
     .says = "Codex takes 131,071 at most."},
    {.name = "typed",
     .about = "a command in Claude's editor, which goes into Codex on its own",
     .prepare = commandInClaude,
     .work = pressReturn,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s,
     .typedIn = claudeEditor},
    {.name = "typed in Japanese",
     .about = "a command in Claude's editor whose last word is chosen among candidates first",
     .prepare = commandWithCandidates,
     .work = pressReturnTwice,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s,
     .typedIn = claudeEditor},
    {.name = "typed first",
     .about = "a command in Claude's editor of a link that has not proved itself, which is only placed",
     .prepare = firstCommandInClaude,
     .work = pressReturn,
     .ending = Ending::stillAbsent,
     .destination = codexQueue,
     .watching = 3s,
     .typedIn = claudeEditor},
    {.name = "typed beside Codex",
     .about = "a command in Claude's editor for a conversation that Codex's own application holds",
     .prepare = commandBesideCodex,
     .work = pressReturn,
     .afterwards = userRetries,
     .destination = codexQueue,
     .watching = 3s,
     .coarseness = 12,
     .typedIn = claudeEditor},
    {.name = "typed in Codex",
     .about = "a command in Codex's editor, which goes into Claude on its own",
     .prepare = commandInCodex,
     .work = pressReturn,
     .afterwards = userGoesOn,
     .watching = 3s,
     .typedIn = codexEditor},
    {.name = "typed first in Codex",
     .about = "a command in Codex's editor of a link that has not proved itself, which is only placed",
     .prepare = firstCommandInCodex,
     .work = pressReturn,
     .ending = Ending::stillAbsent,
     .watching = 3s,
     .typedIn = codexEditor},
    {.name = "typed in Codex for Claude Code",
     .about = "a command in Codex's editor, which goes into a conversation that only Claude Code knows",
     .prepare = commandForClaudeCode,
     .work = pressReturn,
     .afterwards = userRetriesClaudeCode,
     .destination = claudeCode,
     .watching = 3s,
     .coarseness = 12,
     .typedIn = codexEditor},

    asking("asks", "a ZIP and a question that go to ChatGPT by the open panel", beforeAsking,
           Ending::received, {}, 6),
    asking("asks by paste", "the same by the clipboard, where there are no writes", beforePasting,
           Ending::received, {}, 6),
    asking("asks slowly", "the same where everything takes its time", beforeAskingSlowly),
    asking("asks by clicks", "the same where controls want the pointer and are found late", beforeClicking,
           Ending::received, {}, 24),
    asking("asks what moves", "the same where the controls never rest", beforeClickingWhatMoves,
           Ending::refused, "The control moved. Nothing was clicked."),
    asking("asks what is redrawn", "the same where the composer is other elements now and then",
           beforeAskingWhatIsRedrawn, Ending::refused),
    asking("asks what the file redraws", "the same where the composer is another with the file",
           beforeAskingWith<&SimulatedDiaHabits::redrawsAtUpload, true>, Ending::refused, notAttached),
    asking("asks with smart quotes", "the same where the page changes quotes",
           beforeAskingWith<&SimulatedDiaHabits::smartQuotes, true>, Ending::refused, notTheQuestion),
    asking("asks what trims", "the same where the page trims",
           beforeAskingWith<&SimulatedDiaHabits::trims, true>, Ending::refused, notTheQuestion),
    asking("asks with two files", "the same where another file comes with the ZIP", beforeAskingWithTwoFiles,
           Ending::refused, notAttached),
    asking("asks what spins", "the same where the upload never ends",
           beforeAskingWith<&SimulatedDiaHabits::spinsForever, true>, Ending::refused, notAttached),
    asking("asks the wrong row", "the same where the panel selects another file",
           beforeAskingWith<&SimulatedDiaHabits::selectsAnother, true>, Ending::refused,
           "The selected file does not match the prepared ZIP. Nothing was uploaded."),
    asking("asks in Japanese", "the same on a page in another language",
           beforeAskingWith<&SimulatedDiaHabits::isLocalized, true>, Ending::refused,
           "Couldn't uniquely identify the ChatGPT editor."),
    asking("asks signed out", "the same where nobody is signed in",
           beforeAskingWith<&SimulatedDiaHabits::isSignedOut, true>, Ending::refused,
           "Sign in to ChatGPT in Dia."),
    asking("asks in a conversation", "the same where a conversation is open", beforeAskingElsewhere<false>,
           Ending::refused, notEmptyPage),
    asking("asks behind a query", "the same where the address has a query", beforeAskingElsewhere<true>,
           Ending::refused, notEmptyPage),
    asking("asks beside itself", "the same where two pages of ChatGPT are shown",
           beforeAskingWith<&SimulatedDiaHabits::hasSecondChatGPT, true>, Ending::refused,
           "Couldn't uniquely identify the displayed ChatGPT tab."),
    asking("asks before another window", "the same with a conversation in a window behind",
           behindAnotherWindow),
    asking("asks behind another", "the same where another application is in front", behindAnotherApplication,
           Ending::refused, "The foreground app changed."),
    asking("asks at the root", "the same where the page shows no conversation after Send",
           beforeAskingWith<&SimulatedDiaHabits::staysAtRoot, true>, Ending::stillAbsent,
           "Send was attempted once"),
    asking("asks and loses the file", "the same where the page sends the question alone",
           beforeAskingWith<&SimulatedDiaHabits::losesFiles, true>, Ending::stillAbsent,
           "Send was attempted once"),
    asking("pastes in vain", "a ZIP that the page doesn't take from the clipboard",
           beforeAskingWith<&SimulatedDiaHabits::ignoresPastedFiles, true, true>, Ending::refused,
           notAttached),
    {.name = "connection",
     .about = "a look at ChatGPT's page, without entering anything",
     .prepare = beforeAsking,
     .work = checkConnection,
     .ending = Ending::stillAbsent,
     .onlyLooks = true,
     .destination = chatGPTPage,
     .coarseness = 40,
     .says = "Verified the same ChatGPT window in Dia"},
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
