// Starting a conversation: the way to the new page, and the proof by a transcript on disk.

#include "TemporaryFolder.h"
#include "delivery/ScriptedClaude.h"

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
    for (const auto& path : {"/epitaxy", ScriptedClaude::otherPath}) {
        NewConversation claude(path);
        const auto outcome = claude.start();
        ASSERT_TRUE(outcome.succeeded) << outcome.message;
        EXPECT_EQ(claude.result->sessionID, "one");
        EXPECT_EQ(claude.result->desktopSessionID, made);
        EXPECT_EQ(claude.writes, 1);
        EXPECT_EQ(claude.pressed.size(), path == std::string("/epitaxy") ? 1U : 2U);
        EXPECT_EQ(claude.receiptChecks, 0);
    }
}

struct Row {
    const char* name;
    void (*change)(NewConversation&);
    std::string message;
    int writes = 0;
};

const Row rows[] = {
    {"not opened", [](auto& c) { c.applications.opens = false; }, generic},
    {"no Code page", [](auto& c) { c.address("/new"); }, generic},
    {"a draft", [](auto& c) { c.type("Mine"); }, notEmpty},
    {"no button", [](auto& c) { c.tree.remove(*c.newButton); }, generic},
    {"a label that only holds the word", [](auto& c) { c.newButton->set("AXHelp", "New chat"); }, generic},
    {"two buttons", [](auto& c) { c.tree.add(c.window, "AXButton").set("AXTitle", "New"); }, generic},
    {"a refused press", [](auto& c) { c.pressStatus = AXStatus::failure; }, generic},
    {"a page that does not come", [](auto& c) { c.reaches = false; }, generic},
    {"no transcript", [](auto& c) { c.writesFiles = false; }, unconfirmed, 1},
    {"a transcript of another message", [](auto& c) { c.writesFiles = false, c.writeFiles("one", "Hello?"); },
     unconfirmed, 1},
    {"a transcript that can't be read",
     [](auto& c) {
         c.writeFiles("one", "Hello");
         c.writesFiles = false;
         c.folder.write(
             "projects/p/one.jsonl",
             "{\"type\":\"user\",\"sessionId\":\"one\",\"message\":{\"role\":\"user\"}}\nno JSON\n");
     },
     unconfirmed, 1},
    {"a conversation that existed", [](auto& c) { c.existing = {"claude:one"}; }, unconfirmed, 1},
    {"two conversations", [](auto& c) { c.writeFiles("two", "Hello"); },
     "Multiple transcripts have the same conversation ID. Choose the file to use.", 1},
    {"another conversation shown meanwhile",
     [](auto& c) {
         c.writesFiles = false;
         c.timer = c.loop.after(5s, [&c] { c.show(ScriptedClaude::otherPath); });
     },
     generic, 1},
    {"Send that stays disabled", [](auto& c) { c.afterWrite = [&c] { c.send->set("AXEnabled", false); }; },
     "Couldn't confirm that Claude’s Send button became enabled. Message content is kept.", 1},
};

TEST(ClaudeNewConversation, TellsEachFailureAndWhetherARetryIsSafe) {
    for (const auto& [name, change, message, writes] : rows) {
        NewConversation claude(ScriptedClaude::otherPath);
        change(claude);
        const auto outcome = claude.start();
        EXPECT_EQ(outcome.message.substr(0, outcome.message.find('\n')), message) << name;
        EXPECT_EQ(outcome.canRetry, writes == 0) << name;
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
