// The relay in the window: what it says in every state of a link, and what a person can do there.

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "TemporaryFolder.h"
#include "model/FakeClaudeSender.h"
#include "samples/TranscriptWriter.h"
#include "screens/WindowFixture.h"

#include <chrono>

#include <nlohmann/json.hpp>

#include <QApplication>
#include <QKeyEvent>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class RelayWindowTest : public WindowFixture {
  public:
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
    static constexpr auto otherCodexID = "01a1fd20-0000-7000-8000-000000000003";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";

    void SetUp() override {
        write();
        CodexTranscript other({.id = otherCodexID, .workingDirectory = "/code/engine"});
        other.ask("q").answer("a");
        folder.write(codexPath(otherCodexID), other.text());
        std::string titles;
        for (const auto& [id, title] : {std::pair(codexID, "Parser"), std::pair(otherCodexID, "Presets")})
            titles += std::string(R"({"id":")") + id + R"(","thread_name":")" + title + "\"}\n";
        folder.write("home/.codex/session_index.jsonl", titles);
        folder.write("config/Claude/claude-code-sessions/one/local_1.json",
                     std::string(R"({"sessionId":"local_1","cliSessionId":")") + claudeID +
                         R"(","cwd":"/code/compiler","title":"Review"})");
        simulated.processes.environment["PATH"] = "/opt";
    }

    static std::string codexPath(const std::string& id) {
        return "home/.codex/sessions/2026/11/20/rollout-2026-11-20T10-00-00-" + id + ".jsonl";
    }

    void write() const {
        folder.write(codexPath(codexID), codexTranscript.text());
        folder.write("home/.claude/projects/-code-compiler/" + std::string(claudeID) + ".jsonl",
                     claudeTranscript.text());
    }

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
    }

    ConversationReference reference(const std::string& sessionID) const {
        for (const auto& known : ConversationCatalog::list(folders()))
            if (known.sessionID == sessionID) return known;
        ADD_FAILURE() << "no conversation " << sessionID;
        return {};
    }

    // The records, as an earlier run of Orvel left them

    void pairUp() { pairID = state.pair(reference(codexID), reference(claudeID), std::nullopt, stamp).id; }

    std::string prepare(Agent source) {
        const auto read = [&](Agent agent) {
            const auto known = reference(agent == Agent::codex ? codexID : claudeID);
            return TranscriptReader::read(known.transcriptPath, agent);
        };
        if (pairID.empty()) pairUp();
        return state.prepare({pairID, source, read(source), read(other(source)), "note", std::nullopt}, stamp)
            .id;
    }

    // The window

    void open() {
        folder.write("data/relay-state.json", encodeRelayState(state));
        model = std::make_unique<OrvelModel>(simulated.ports(), claude, folders(),
                                             folder.path("data/state.json"));
        window = std::make_unique<MainWindow>(*model, simulated.ports(), WindowCommands());
        window->resize(1000, 700);
        window->show();
        model->links.restoreRelay();
        model->catalogue.discoverConversations();
        settle();
    }

    void settle() override { pass(10ms); }

    void pass(MainLoop::Duration time) {
        simulated.loop.runFor(time);
        for (int i = 0; i < 3; ++i) QApplication::processEvents();
    }

    void openPair() {
        pairUp();
        open();
    }

    void openSubmitted(Agent source) {
        state.markSubmitted(prepare(source));
        open();
    }

    void failToSend(bool canRetry) {
        claude.failure = RelaySendError("The window vanished.", canRetry);
        openPair();
        trigger("Send to Claude");
        pass(2s);
    }

    // Lets time pass until the window shows it, for an hour at most.
    void waitInWindow(const std::function<bool()>& condition) {
        for (int i = 0; i < 36'000 && !condition(); ++i) pass(100ms);
        EXPECT_TRUE(condition());
    }

    std::string cards() {
        QStringList names;
        for (const char* role : {", From, ", ", To, "})
            if (auto* card = shown(QAccessible::Button, QLatin1String(role)))
                names += card->text(QAccessible::Name);
        return utf8Text(names.join(" | "));
    }

    TemporaryFolder folder;
    CodexTranscript codexTranscript =
        CodexTranscript({.id = codexID, .workingDirectory = "/code/compiler"}).ask("q1").answer("a1");
    ClaudeTranscript claudeTranscript =
        ClaudeTranscript({.id = claudeID, .workingDirectory = "/code/compiler"}).ask("c1").answer("d1");
    RelayState state;
    std::string pairID;
    RelayStamp stamp{[count = std::make_shared<int>(0)] { return "ID-" + std::to_string(++*count); }, 1000};
    SimulatedDesktop simulated;
    FakeClaudeSender claude{simulated.loop};
};

// What the window says in each state

struct Look {
    const char* name;
    std::function<void(RelayWindowTest&)> arrange;
    const char* title;
    const char* primary; // Empty where there is none.
    bool canSend, canCopy;
    const char* steps; // Empty where no message is on its way.
    bool canSubmitDraft;
    const char* says; // Some further text, or empty.

    friend void PrintTo(const Look& look, std::ostream* stream) { *stream << look.name; }
};

class RelayStateTest : public RelayWindowTest, public testing::WithParamInterface<Look> {};

constexpr auto savedOnly = "Saved: done, Delivered: not yet, Seen in the transcript: not yet";
constexpr auto notDelivered = "Saved: done, Delivered: failed, Seen in the transcript: not yet";
constexpr auto delivered = "Saved: done, Delivered: done, Seen in the transcript: not yet";

const Look looks[] = {
    {"NoPair", [](auto& test) { test.open(), test.choose("Parser"); }, "Ready", "", false, true, "", false,
     "Choose a conversation"},
    {"PairReady", [](auto& test) { test.openPair(); }, "Ready", "Send to Claude", true, true, "", false,
     "2 messages for Claude"},
    {"BusySource", [](auto& test) { test.codexTranscript.ask("q2"), test.write(), test.openPair(); },
     "Waiting for Codex", "Send to Claude", false, false, "", false, ""},
    {"WaitingForPaste", [](auto& test) { test.prepare(Agent::codex), test.open(); }, "Waiting for paste",
     "Retry to Claude", false, false, savedOnly, true, "Waits to be pasted into Claude"},
    {"AwaitingReceipt", [](auto& test) { test.openSubmitted(Agent::codex); }, "Checking delivery…",
     "Retry to Claude", false, false, delivered, true, "What you write now is for the next transfer."},
    {"TakenUpWhileAToolRan",
     [](auto& test) {
         test.state.markSubmitted(test.prepare(Agent::codex)),
             test.claudeTranscript.takeUp(*test.state.transfers.back().payload).answer("Done."), test.write(),
             test.open();
     },
     "Checking delivery…", "Retry to Claude", false, false, delivered, true, "so no receipt will come"},
    {"LostPosition",
     [](auto& test) {
         test.pairUp(), test.state.checkpoints.set(positionKey(test.pairID, Agent::codex), "gone"),
             test.open();
     },
     "Up to date", "Send to Claude", false, false, "", false, "Check for history changes."},
    {"PendingFromTheOtherSide", [](auto& test) { test.openSubmitted(Agent::claude); }, "Ready",
     "Send to Claude", false, false, delivered, false, "waits until the message above has been seen"},
    {"RetryableAfterARestart",
     [](auto& test) { test.state.setRetryable(test.prepare(Agent::codex), true), test.open(); }, "Not sent",
     "Retry to Claude", true, false, notDelivered, true,
     "The message is saved, and nothing was inserted. Retry sends exactly the saved message"},
    {"FailedAndRetryable", [](auto& test) { test.failToSend(true); }, "Not sent", "Retry to Claude", true,
     false, notDelivered, true, "The window vanished."},
    {"FailedAndUnconfirmed", [](auto& test) { test.failToSend(false); }, "Delivery unconfirmed",
     "Retry to Claude", false, false, notDelivered, true,
     "Whether it was inserted is not known, so it is not sent again. Look in Claude: if it is not there, "
     "copy"},
    {"SourceWentOnBehindAFailure",
     [](auto& test) {
         test.state.setRetryable(test.prepare(Agent::codex), true),
             test.codexTranscript.ask("q2").answer("a2"), test.write(), test.open();
     },
     "Not sent", "Retry to Claude", false, false, notDelivered, true,
     "it can't be sent again as it stands. Copy the saved message and paste it into Claude."},
    {"TooLongForCodex",
     [](auto& test) {
         test.openPair(), test.trigger("Turn the relay round"),
             test.type("Instructions", QString(131'072, QLatin1Char('x')));
     },
     "Ready", "Send to Codex", false, true, "", false, "Codex takes 131,071 at most. Choose a later start"},
    {"NoteForTheNext",
     [](auto& test) { test.openSubmitted(Agent::codex), test.type("Instructions", "and this"); },
     "Checking delivery…", "Retry to Claude", false, false, delivered, true,
     "New messages: Showing messages after the saved message."},
    {"Sending", [](auto& test) { test.openPair(), test.trigger("Send to Claude"), test.pass(500ms); },
     "Sending to Claude…", "Retry to Claude", false, false, savedOnly, false, "Delivering…"},
};

TEST_P(RelayStateTest, SaysWhatIsGoingOnAndOffersWhatCanBeDone) {
    const auto& look = GetParam();
    look.arrange(*this);
    EXPECT_TRUE(shows(qtText(look.title)));
    EXPECT_EQ(isEnabled("Copy relay"), look.canCopy);
    if (*look.primary) {
        EXPECT_TRUE(shown(QAccessible::Button, qtText(look.primary)));
    }
    for (const auto* primary : {"Send to", "Retry to", "Start in"})
        EXPECT_EQ(isEnabled(qtText(primary)),
                  look.canSend && qtText(look.primary).startsWith(qtText(primary)))
            << primary;

    const bool isPending = *look.steps;
    auto* steps = shown(QAccessible::Client, "Saved: ");
    ASSERT_EQ(steps != nullptr, isPending);
    if (isPending) {
        EXPECT_EQ(steps->text(QAccessible::Name), qtText(look.steps));
    }
    EXPECT_EQ(isEnabled("Copy saved message"), isPending);
    EXPECT_EQ(isEnabled("Submit draft"), look.canSubmitDraft);
    if (*look.says) {
        EXPECT_EQ(countShown(qtText(look.says)), 1); // And not twice.
    }
}

std::string nameOf(const testing::TestParamInfo<Look>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(States, RelayStateTest, testing::ValuesIn(looks), nameOf);

// What a person does there

TEST_F(RelayWindowTest, ALinkIsMadeByChoosingASourceAndThenItsDestination) {
    open();
    choose("Parser");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Choose a conversation");
    trigger("Choose the destination…");
    EXPECT_TRUE(shows("Choose the Claude conversation to send to"));
    EXPECT_EQ(rows().size(), 2); // The heading and the only one of Claude's.
    choose("Review");
    EXPECT_FALSE(shows("Choose the Claude conversation to send to"));
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_EQ(rows()[1], "Link, Review ↔ Parser, nothing sent yet");
    EXPECT_TRUE(isEnabled("Send to Claude"));

    // One of the source's agent becomes the source.
    choose("Presets");
    EXPECT_EQ(cards(), "Codex, From, Presets | Claude, To, Choose a conversation");
    choose("Review ↔ Parser");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");

    // So does one of the other agent, where a source is being chosen.
    trigger("Choose the source…");
    EXPECT_FALSE(rows().contains("Links"));
    choose("Review");
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, Choose a conversation");
    EXPECT_EQ(model->ledger.state().relayState->pairs.size(), 1U);
}

TEST_F(RelayWindowTest, ChoosingCanBeGivenUp) {
    open();
    choose("Parser");
    const auto all = rows();
    const auto escape = [this] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QApplication::sendEvent(window->findChild<QWidget*>("search"), &event);
        settle();
    };
    for (const auto& stop : std::vector<std::function<void()>>{escape, [this] { press("Stop choosing"); }}) {
        trigger("Choose the destination…");
        EXPECT_NE(rows(), all);
        stop();
        EXPECT_EQ(rows(), all);
        EXPECT_FALSE(shown(QAccessible::Button, "Stop choosing"));
    }
}

TEST_F(RelayWindowTest, AnArrowOrItsShortcutTurnsTheRelayRound) {
    openPair();
    EXPECT_TRUE(shown(QAccessible::Button, "Codex → Claude, selected"));
    press("Claude → Codex");
    EXPECT_EQ(cards(), "Claude, From, Review | Codex, To, Parser");
    EXPECT_TRUE(shown(QAccessible::Button, "Claude → Codex, selected"));
    EXPECT_TRUE(isEnabled("Send to Codex"));
    trigger("Turn the relay round");
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
}

TEST_F(RelayWindowTest, TheLinksTellWhatBecameOfTheirMessages) {
    for (const auto& [arrange, spoken] : std::vector<std::pair<std::function<void()>, const char*>>{
             {[this] { pairUp(); }, "Link, Review ↔ Parser, nothing sent yet"},
             {[this] { prepare(Agent::codex); }, "Link, Review ↔ Parser, transfer pending, on its way · "},
             {[this] { state.setRetryable("ID-2", true); },
              "Link, Review ↔ Parser, transfer failed, needs attention · "},
         }) {
        arrange();
        open();
        EXPECT_TRUE(rows()[1].startsWith(qtText(spoken))) << rows()[1].toStdString();
    }
    type("Search conversations", "parser review");
    EXPECT_EQ(rows().size(), 2);
    EXPECT_EQ(rows()[0], "Links");
}

TEST_F(RelayWindowTest, NoWordIsTypedIntoAFieldThatWouldLoseIt) {
    openPair();
    type("Instructions", "Judge this.");
    claude.failure = RelaySendError("It is closed.", true);
    auto* field = editor("Instructions");
    const auto typeKey = [&] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, "x");
        QApplication::sendEvent(field, &event);
        settle();
    };
    trigger("Send to Claude");
    typeKey();
    EXPECT_EQ(field->toPlainText(), "Judge this.");
    pass(2s);
    EXPECT_TRUE(shows("These instructions are part of the saved message."));
    typeKey();
    EXPECT_EQ(field->toPlainText(), "Judge this.x");
    EXPECT_EQ(model->workspace.state().instruction.get(), "Judge this.x");
    EXPECT_TRUE(model->workspace.relay().noteIsForNextTransfer());

    press("Show the saved message");
    EXPECT_EQ(editor("Text of the saved message")->toPlainText(), "Judge this.\n\nme: q1\n\ncodex: a1");
    press("Copy saved message");
    EXPECT_EQ(simulated.pasteboard.text, "Judge this.\n\nme: q1\n\ncodex: a1");
    claude.failure.reset();
    trigger("Retry to Claude");
    pass(2s);
    EXPECT_EQ(claude.sent, (std::vector<std::string>(2, *simulated.pasteboard.text)));
}

TEST_F(RelayWindowTest, ARelayIntoCodexIsFollowedFromSendToReceipt) {
    SimulatedCodex codex(simulated.processes, simulated.loop, "/opt/codex", folder.path("home/.codex"));
    codex.manner.turnMilliseconds = 3'723'000;
    openPair();
    model->receipts.startReceiptPolling();
    trigger("Turn the relay round");
    trigger("Send to Codex");
    EXPECT_TRUE(shows("Sending to Codex…"));
    waitInWindow([this] { return shows("Waiting for Codex"); });
    EXPECT_TRUE(codex.complaints().empty());
    EXPECT_EQ(cards(), "Codex, From, Parser | Claude, To, Review");
    EXPECT_TRUE(shows("Codex is working · 0:0"));
    waitInWindow([this] { return shows("Codex has it"); });
    EXPECT_TRUE(shown(QAccessible::Client, "Saved: done, Delivered: done, Seen in the transcript: done"));
    EXPECT_TRUE(rows()[1].startsWith("Link, Review ↔ Parser, arrived · ")) << rows()[1].toStdString();
    pass(10min);
    EXPECT_TRUE(shows("Codex is working · 10:"));
    TearDown(); // The processes end before their program goes.
}

// A check runs every two seconds for as long as the window is open.
TEST_F(RelayWindowTest, ChecksThatFindNothingPaintNothing) {
    struct Counter : QObject {
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::UpdateRequest || event->type() == QEvent::LayoutRequest) ++count;
            return false;
        }
        int count = 0;
    } counter;
    openPair();
    model->receipts.startReceiptPolling();
    pass(5s);
    window->installEventFilter(&counter);
    const auto checks = model->receipts.isChecking().revision();
    for (int i = 0; i < 10; ++i) pass(2s);
    EXPECT_EQ(model->receipts.isChecking().revision() - checks, 20U);
    EXPECT_EQ(counter.count, 0);
    type("Instructions", "x");
    EXPECT_GT(counter.count, 0);
}

} // namespace
} // namespace orvel
