// Starting a conversation: the way to the new page, and the proof by a transcript on disk.

#include "ScriptedClaude.h"
#include "TemporaryFolder.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string unconfirmed =
    "Couldn't confirm the new Claude conversation. Do not resend; select the created "
    "conversation from the destination card.";
const std::string made = "local_33333333-3333-4333-8333-333333333333";

// A desktop whose page turns into a new conversation when Send is pressed.
struct NewConversation : ScriptedClaude {
    explicit NewConversation(const std::string& path = "/epitaxy") : ScriptedClaude(path) {
        newButton = &tree.add(window, "AXButton");
        newButton->set("AXHelp", "New");
        onPress = [this](ScriptedNode& node) {
            if (&node == newButton && reaches) show("/epitaxy");
            if (transcript.empty() || isMade) return;
            isMade = true;
            show("/epitaxy/" + made);
            if (writesFiles) writeFiles("one", transcript.back());
        };
    }

    void writeFiles(const std::string& session, const std::string& text) {
        folder.write("projects/p/" + session + ".jsonl",
                     R"({"type":"user","uuid":"u","parentUuid":null,"sessionId":")" + session +
                         R"(","message":{"role":"user","content":")" + text + "\"}}\n");
        folder.write("desktop/local_" + session + ".json",
                     R"({"cliSessionId":")" + session + R"(","sessionId":")" + made + R"("})");
    }

    Outcome start() {
        RelayInitialTransfer transfer;
        transfer.payload = std::string("Hello");
        transfer.existingDestinationIDs = existing;
        return run(ownSender.start(transfer), result);
    }

    TemporaryFolder folder;
    ScriptedNode* newButton = nullptr;
    bool reaches = true, isMade = false, writesFiles = true;
    std::vector<std::string> existing;
    std::optional<ConversationReference> result;
    std::unique_ptr<Timer> timer;
    AgentFolders ownFolders{folder.path(), folder.path("codex"), folder.path(), folder.path("desktop")};
    ClaudeDesktopRelaySender ownSender{ports, history, ownFolders};
};

TEST(ClaudeNewConversation, SendsOnTheNewPageAndGivesTheConversation) {
    for (const auto& path : {std::string("/epitaxy"), std::string("/epitaxy/") + ScriptedClaude::other}) {
        NewConversation claude(path);
        const auto outcome = claude.start();
        ASSERT_TRUE(outcome.succeeded) << outcome.message;
        EXPECT_EQ(claude.result->sessionID, "one");
        EXPECT_EQ(claude.result->desktopSessionID, made);
        EXPECT_EQ(claude.writes, 1);
        EXPECT_EQ(claude.pressed.size(), path == "/epitaxy" ? 1U : 2U);
        EXPECT_EQ(claude.receiptChecks, 0);
    }
}

struct Row {
    const char* name;
    void (*change)(NewConversation&);
    std::string message;
    bool canRetry;
    int writes;
};

const Row rows[] = {
    {"not opened", [](NewConversation& c) { c.applications.opens = false; }, generic, true, 0},
    {"no Code page", [](NewConversation& c) { c.page->set("AXURL", AXURL{"https://claude.ai/new"}); },
     generic, true, 0},
    {"a draft", [](NewConversation& c) { c.type("Mine"); },
     "Claude has a draft, attachment, or reply in progress. Nothing was changed.", true, 0},
    {"no button", [](NewConversation& c) { c.tree.remove(*c.newButton); }, generic, true, 0},
    {"a label that only holds the word", [](NewConversation& c) { c.newButton->set("AXHelp", "New chat"); },
     generic, true, 0},
    {"two buttons", [](NewConversation& c) { c.tree.add(c.window, "AXButton").set("AXTitle", "New"); },
     generic, true, 0},
    {"a refused press", [](NewConversation& c) { c.pressStatus = AXStatus::failure; }, generic, true, 0},
    {"a page that does not come", [](NewConversation& c) { c.reaches = false; }, generic, true, 0},
    {"no transcript", [](NewConversation& c) { c.writesFiles = false; }, unconfirmed, false, 1},
    {"a transcript of another message",
     [](NewConversation& c) {
         c.writesFiles = false;
         c.writeFiles("one", "Hello?");
     },
     unconfirmed, false, 1},
    {"a transcript that can't be read",
     [](NewConversation& c) {
         c.writeFiles("one", "Hello");
         c.writesFiles = false;
         c.folder.write(
             "projects/p/one.jsonl",
             "{\"type\":\"user\",\"sessionId\":\"one\",\"message\":{\"role\":\"user\"}}\nno JSON\n");
     },
     unconfirmed, false, 1},
    {"a conversation that existed", [](NewConversation& c) { c.existing = {"claude:one"}; }, unconfirmed,
     false, 1},
    {"two conversations", [](NewConversation& c) { c.writeFiles("two", "Hello"); },
     "Multiple transcripts have the same conversation ID. Choose the file to use.", false, 1},
    {"another conversation shown meanwhile",
     [](NewConversation& c) {
         c.writesFiles = false;
         c.timer = c.loop.after(5s, [&c] { c.show(std::string("/epitaxy/") + ScriptedClaude::other); });
     },
     generic, false, 1},
    {"Send that stays disabled",
     [](NewConversation& c) { c.afterWrite = [&c] { c.send->set("AXEnabled", false); }; },
     "Couldn't confirm that Claude’s Send button became enabled. Message content is kept.", false, 1},
};

TEST(ClaudeNewConversation, TellsEachFailureAndWhetherARetryIsSafe) {
    for (const auto& [name, change, message, canRetry, writes] : rows) {
        NewConversation claude(std::string("/epitaxy/") + ScriptedClaude::other);
        change(claude);
        const auto outcome = claude.start();
        EXPECT_EQ(outcome.message.substr(0, outcome.message.find('\n')), message) << name;
        EXPECT_EQ(outcome.canRetry, canRetry) << name;
        EXPECT_EQ(claude.writes, writes) << name;
        EXPECT_FALSE(claude.result) << name;
    }
}

TEST(ClaudeNewConversation, WaitsAMinuteForTheTranscript) {
    for (const auto& [delay, succeeds] : {std::pair{59s, true}, std::pair{61s, false}}) {
        NewConversation claude;
        claude.writesFiles = false;
        // What can't be read once may be readable later.
        claude.timer =
            claude.loop.after(10s, [&] { claude.tree.failures[claude.tree.reads + 1] = AXStatus::failure; });
        const auto timer = claude.loop.after(delay, [&] { claude.writeFiles("one", "Hello"); });
        EXPECT_EQ(claude.start().succeeded, succeeds) << delay.count();
        EXPECT_EQ(claude.pressed.size(), 1U);
    }
}

} // namespace
} // namespace orvel
