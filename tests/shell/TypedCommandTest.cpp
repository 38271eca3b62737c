// The typed command on the whole road from the key to the message. docs/typed-command.md shows the table of
// outcomes as this run finds it; with ORVEL_WRITE_DOCS in the environment it is written anew.

#include "Orvel/model/TransferStanding.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/shell/OrvelApp.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto otherDesktopID = "local_1f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto otherClaudeID = "5b0d714f-0000-4000-8000-000000000003";
constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
constexpr auto document = DOCS "/typed-command.md";
constexpr std::string_view tableBegins = "<!-- outcomes -->\n", tableEnds = "<!-- end of outcomes -->";
constexpr std::uint64_t shift = 0x20000, command = 0x100000;

// What Orvel does with a Return, as far as others can tell.
enum class Outcome { passes, confirms, stops, places, placesOnly, sends };

const char* wordsFor(Outcome outcome) {
    switch (outcome) {
    case Outcome::passes: return "nothing; the agent gets the Return";
    case Outcome::confirms: return "nothing; the input method gets the Return";
    case Outcome::stops: return "holds the Return back; the text stays in the editor";
    case Outcome::places: return "removes the command and puts the instructions into the next message";
    case Outcome::placesOnly: return "puts the instructions into the next message; the text stays";
    case Outcome::sends: break;
    }
    return "removes the command and sends the message";
}

// A desktop on which both agents run, and Orvel with them.
class Desk {
  public:
    Desk() {
        desktop.loop.setNow(800'000'000);
        desktop.processes.environment["PATH"] = "/tools";
        CodexTranscript transcript({.id = codexID, .workingDirectory = "/code/lark"});
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl",
                     transcript.ask("q1").answer("a1").text());
        keepRecord(desktopID, claudeID, "Site");
        keepRecord(otherDesktopID, otherClaudeID, "Other");
        claude.addConversation(claudeID, desktopID, {"c1", "d1"});
        claude.addConversation(otherClaudeID, otherDesktopID, {"c2", "d2"});
        claude.show(desktopID);
        codex.addConversation(codexID, "Lark");
        desktop.applications.install(claude);
        desktop.applications.bundles[GoogleIMEWindowPolicy::imePath] = {
            GoogleIMEWindowPolicy::imeBundleID, std::string(GoogleIMEWindowPolicy::supportedIMEVersion)};
        claude.version = std::string(GoogleIMEWindowPolicy::supportedClaudeVersion);
        claudeProcess = desktop.applications.start(claude);
        codexProcess = desktop.applications.start(codex);
        app.screens.showFailure = [this](const auto& message, const auto&) { notice = message; };
        app.monitoring.keybindings.confirm(folder.path("home/.codex/keybindings.json"));
        app.start();
        for (const auto process : {claudeProcess, codexProcess}) { // Until their editors are proved readable.
            desktop.applications.bringToFront(process);
            desktop.loop.runFor(20s);
        }
    }

    ConversationReference found(const std::string& sessionID) {
        for (const auto& reference : app.model.catalogue.state().catalog.get())
            if (reference.sessionID == sessionID) return reference;
        ADD_FAILURE() << "no conversation " << sessionID;
        return {};
    }
    void link(const std::string& claudeSession = claudeID) {
        app.model.workspace.chooseSource(found(claudeSession));
        desktop.loop.runFor(1s);
        app.model.links.chooseEndpoint(found(codexID));
        desktop.loop.runFor(1s);
    }
    /// A link of which a message has been received.
    void prove() {
        link();
        app.model.outbox.sendRelay();
        desktop.loop.runFor(60s);
        ASSERT_EQ(transfers().back().status, RelayTransfer::Status::received);
    }
    /// A message that waits for its receipt.
    void leavePending() {
        link();
        codexServer.queueStores = false;
        app.model.outbox.sendRelay();
        desktop.loop.runFor(5s);
    }

    const RecordList<RelayTransfer>& transfers() { return app.model.ledger.state().relayState->transfers; }
    std::string editorText() { return isCodex ? codex.editorText() : claude.editorText(); }
    std::size_t messages() {
        return SampleCodexHome(folder.path("home/.codex")).thread(codexID)->turns.size() +
               claude.conversation(desktopID)->received.size();
    }

    void type(bool inCodex, const std::string& text) {
        isCodex = inCodex;
        desktop.applications.bringToFront(inCodex ? codexProcess : claudeProcess);
        if (inCodex)
            codex.userSetsDraft(codexID, text);
        else
            claude.userSetsDraft(claude.shown(), text);
        desktop.loop.runFor(1s);
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedClaude claude{desktop, folder.path("home/.claude/projects"),
                           folder.path("config/Claude/claude-code-sessions")};
    SimulatedCodexApp codex{desktop, SampleCodexHome(folder.path("home/.codex"))};
    SimulatedCodex codexServer{desktop.processes, desktop.loop, "/tools/codex", folder.path("home/.codex")};
    OrvelApp app{desktop.ports(),
                 AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config")),
                 folder.path("data/state.json"), ClockStyle(), "1.0"};
    ProcessID claudeProcess = 0, codexProcess = 0;
    bool isCodex = false;
    std::string notice;

  private:
    void keepRecord(const std::string& desktop, const std::string& session, const std::string& title) {
        folder.write("config/Claude/claude-code-sessions/" + desktop + ".json",
                     R"({"sessionId":")" + desktop + R"(","cliSessionId":")" + session +
                         R"(","cwd":"/code/site","title":")" + title + R"("})");
    }
};

struct Row {
    const char* where;
    const char* typed;
    const char* when; ///< What is special about it; empty if nothing is.
    Outcome outcome;
    const char* seen; ///< What the person sees begins with this; empty for nothing.
    std::function<void(Desk&)> prepare = nullptr;   ///< Before the text is typed.
    std::function<void(Desk&)> meanwhile = nullptr; ///< Between the text and the Return.
    std::function<void(Desk&)> after = nullptr;     ///< Directly behind the Return.
    std::uint64_t flags = 0;
};

const auto inClaude = "Claude Code", inCodex = "Codex";

std::vector<Row> rows() {
    const auto proved = [](Desk& desk) { desk.prove(); };
    return {
        {inClaude, "Look at this.", "", Outcome::passes, ""},
        {inClaude, "/orvelish", "", Outcome::passes, ""},
        {inClaude, "/orvel Look", "with Shift", Outcome::passes, "", nullptr, nullptr, nullptr, shift},
        {inClaude, "/orvel Look", "monitoring is paused", Outcome::passes, "",
         [](Desk& desk) { desk.app.monitoring.lifecycle.pause(); }},
        {inCodex, "/orvel Look", "it does not let its editor be read", Outcome::passes, "",
         [](Desk& desk) {
             desk.codex.habits.answersRequest = AXStatus::attributeUnsupported;
             desk.desktop.applications.quit(desk.codex);
             desk.codexProcess = desk.desktop.applications.start(desk.codex);
         }},
        {inClaude, "/orvel Look", "linked, and a message was received before", Outcome::sends,
         "The message was received.", proved},
        {inClaude, "/orvel Look", "the same with ⌘Return", Outcome::sends, "The message was received.",
         proved, nullptr, nullptr, command},
        {inCodex, "/orvel Look", "the same from Codex", Outcome::sends, "The message was received.", proved},
        {inClaude, "/orvel Look", "linked, and nothing was received yet", Outcome::places, "",
         [](Desk& desk) { desk.link(); }},
        {inClaude, "/orvel Look", "not linked", Outcome::places, "Claude conversation loaded."},
        {inCodex, "/orvel Look", "not linked", Outcome::places, "Codex conversation loaded."},
        {inCodex, "/orvel Look", "linked with several conversations", Outcome::places,
         "This conversation has multiple links.",
         [](Desk& desk) {
             desk.link();
             desk.link(otherClaudeID);
             desk.app.model.workspace.chooseSource(desk.found(claudeID));
             desk.app.model.workspace.useManualInput();
         }},
        {inClaude, "/orvel Look", "a message waits for its receipt", Outcome::places,
         "The pending message is kept.", [](Desk& desk) { desk.leavePending(); }},
        {inClaude, "/orvel Look", "the person types on at once", Outcome::placesOnly, "", proved, nullptr,
         [](Desk& desk) { desk.desktop.keyboard.press("!"); }},
        {inClaude, "/orvel Look", "the editor does not give the text up", Outcome::placesOnly, "", proved,
         [](Desk& desk) { desk.claude.habits.ignoresWrites = true; }},
        {inCodex, "/orvel Look", "the person types on at once", Outcome::stops,
         "Couldn't verify the original Codex editor", proved, nullptr,
         [](Desk& desk) { desk.desktop.keyboard.press("!"); }},
        {inCodex, "/orvel Look", "no copy of its address arrives", Outcome::stops,
         "No fresh conversation URL copy arrived.", proved, [](Desk& desk) { desk.codex.habits.copies = 0; }},
        {inCodex, "/orvel Look", "the address is another conversation's", Outcome::stops,
         "The conversation URL was captured.", proved,
         [](Desk& desk) { desk.codex.habits.copiesOther = "01a1fd20-0000-7000-8000-000000000009"; }},
        {inCodex, "/orvel Look", "the copy shortcut is switched off", Outcome::stops,
         "The Codex conversation URL copy shortcut is disabled.", proved,
         [](Desk& desk) {
             desk.desktop.localFiles.contents[desk.folder.path("home/.codex/keybindings.json")] =
                 R"([{"command":"copyDeeplink"}])";
         }},
        {inCodex, "/orvel Look", "only a part of its composer can be seen", Outcome::stops,
         "Couldn't verify the conversation editor.", proved,
         [](Desk& desk) { desk.codex.submitElement()->remove(); }},
        {inClaude, "/orvel Look", "Claude answers too slowly to be read", Outcome::stops,
         "Couldn't verify the conversation editor.", proved,
         [](Desk& desk) {
             desk.desktop.accessibility.latency = {14ms, 14ms, 14ms};
         }},
        {inClaude, "/orvel Look", "the disk is full", Outcome::stops, "Couldn't save the instructions.",
         proved, [](Desk& desk) { desk.desktop.files.isFull = true; }},
        {inClaude, "/orvel 直す", "Google Japanese Input, candidates are shown", Outcome::confirms, "",
         proved,
         [](Desk& desk) {
             desk.claude.habits.reportsMarkedText = false;
             desk.claude.userSetsDraft(desktopID, "/orvel ");
             desk.desktop.inputSources.useGoogleHiragana();
             for (const char* key : {"直", "す", " "}) desk.desktop.keyboard.press(key);
         }},
        {inClaude, "/orvel 直す", "Google Japanese Input, nothing is pending", Outcome::sends,
         "The message was received.", proved,
         [](Desk& desk) { desk.desktop.inputSources.useGoogleHiragana(); }},
        {inClaude, "/orvel 直す", "another version of that input method", Outcome::stops,
         "Couldn't verify the Google Japanese Input version", proved,
         [](Desk& desk) {
             desk.desktop.applications.bundles.clear();
             desk.desktop.inputSources.useGoogleHiragana();
         }},
        {inClaude, "/orvel 直す", "another input method", Outcome::stops,
         "Couldn't verify whether composition is pending.", proved,
         [](Desk& desk) {
             desk.desktop.inputSources.source = {"com.example.pinyin", std::nullopt, std::nullopt, false};
         }},
    };
}

// What the person sees in the end, and whether all is as the row says.
std::string judged(const Row& row) {
    Desk desk;
    if (row.prepare) row.prepare(desk);
    desk.type(row.where == inCodex, row.typed);
    if (row.meanwhile) row.meanwhile(desk);
    desk.desktop.loop.runFor(2s);
    const auto before = desk.editorText();
    const auto sent = desk.transfers().size(), messages = desk.messages();
    desk.notice.clear();
    desk.app.model.notices.dismissError();
    desk.app.model.notices.say("");
    const auto pressed = desk.desktop.keyboard.presses().size();
    desk.desktop.keyboard.press("\r", {.keyCode = KeyCode::returnKey, .flags = row.flags});
    desk.desktop.keyboard.press("", {.type = TapEventType::keyUp, .keyCode = KeyCode::returnKey});
    if (row.after) row.after(desk);
    desk.desktop.loop.runFor(60s);

    using Fate = SimulatedPress::Fate;
    const auto fate = desk.desktop.keyboard.presses()[pressed].fate;
    const bool isSent = row.outcome == Outcome::sends;
    EXPECT_EQ(fate, row.outcome == Outcome::passes     ? Fate::arrived
                    : row.outcome == Outcome::confirms ? Fate::composed
                                                       : Fate::swallowed);
    EXPECT_EQ(desk.transfers().size(), sent + (isSent ? 1 : 0));
    EXPECT_EQ(desk.messages() > messages, isSent || row.outcome == Outcome::passes)
        << "a held command is no message";
    EXPECT_TRUE(!isSent || desk.transfers().back().status == RelayTransfer::Status::received);
    const bool isRemoved = isSent || row.outcome == Outcome::places;
    const bool isLeft = row.outcome == Outcome::stops || row.outcome == Outcome::placesOnly;
    EXPECT_TRUE(!isRemoved || desk.editorText().empty()) << desk.editorText();
    EXPECT_TRUE(!isLeft || desk.editorText().starts_with(before)) << desk.editorText();
    const auto& note = desk.app.model.workspace.state().instruction.get();
    const bool isPlaced = row.outcome == Outcome::places || row.outcome == Outcome::placesOnly;
    EXPECT_EQ(note, isPlaced ? "Look" : "");

    if (isSent) return std::string(situationOf(standingOf(desk.transfers().back())));
    if (!desk.notice.empty()) return desk.notice;
    if (const auto& error = desk.app.model.notices.error()) return *error;
    const auto& status = desk.app.model.notices.status();
    return isPlaced && status == "Site" ? "The instructions, in Orvel's window." : status;
}

std::string tableWithout(std::string seen) {
    for (std::size_t at = 0; (at = seen.find_first_of("\n|", at)) != std::string::npos; ++at) seen[at] = ' ';
    return seen;
}

TEST(ReturnOutcomes, AreAsTheDocumentTells) {
    std::string table =
        "| In | Typed | When | What Orvel does | What the person sees |\n|---|---|---|---|---|\n";
    for (const auto& row : rows()) {
        SCOPED_TRACE(std::string(row.where) + ": " + row.typed + " " + row.when);
        const auto seen = judged(row);
        EXPECT_THAT(seen, testing::StartsWith(row.seen));
        table += std::string("| ") + row.where + " | `" + row.typed + "` | " + row.when + " | " +
                 wordsFor(row.outcome) + " | " + tableWithout(seen) + " |\n";
    }
    std::ifstream file(document);
    std::stringstream whole;
    whole << file.rdbuf();
    auto text = whole.str();
    const auto begin = text.find(tableBegins), end = text.find(tableEnds);
    ASSERT_TRUE(begin != std::string::npos && end != std::string::npos && begin < end);
    const auto first = begin + tableBegins.size();
    if (std::getenv("ORVEL_WRITE_DOCS")) {
        std::ofstream(document) << text.replace(first, end - first, table);
    } else {
        EXPECT_EQ(text.substr(first, end - first), table) << "written anew with ORVEL_WRITE_DOCS=1";
    }
}

TEST(InputMethodRecording, PausesTheTypedCommandAndHoldsNothingThatIsTyped) {
    Desk desk;
    auto& monitoring = desk.app.monitoring;
    desk.type(false, "/orvel CANARY");
    monitoring.recordInputMethod();
    desk.desktop.loop.runFor(2s);
    desk.claude.userComposes("CANARY");
    desk.desktop.loop.runFor(2s);
    desk.desktop.applications.bringToFront(SimulatedApplications::self);
    desk.desktop.loop.runFor(2s);
    EXPECT_FALSE(monitoring.lifecycle.isMonitoring());
    EXPECT_TRUE(monitoring.inputMethod.isRecording());
    const auto report = monitoring.diagnosticReport().text();
    for (const auto* state : {"AXTextArea / Marked result=-25212 / Marked value=false", "Marked value=true",
                              "Another app is in the foreground"})
        EXPECT_THAT(report, HasSubstr(state));
    EXPECT_THAT(report, testing::Not(HasSubstr("CANARY")));
    desk.desktop.loop.runFor(60s);
    EXPECT_FALSE(monitoring.inputMethod.isRecording()) << "it ends by itself";
    EXPECT_FALSE(monitoring.lifecycle.isMonitoring()) << "paused";
    monitoring.recordInputMethod();
    monitoring.lifecycle.resume();
    EXPECT_TRUE(monitoring.lifecycle.isMonitoring());
    EXPECT_FALSE(monitoring.inputMethod.isRecording());
}

} // namespace
} // namespace orvel
