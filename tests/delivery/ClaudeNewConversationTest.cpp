// Starting a conversation: the way to the new page, and the proof by a transcript on disk.

#include "delivery/ClaudeDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string unconfirmed =
    "Couldn't confirm the new Claude conversation. Do not resend; select the created "
    "conversation from the destination card.";

struct NewConversation : ClaudeDesk {
    using ClaudeDesk::ClaudeDesk;

    Element newButton() const {
        for (const auto& element : everythingBelow(claude.windowElement()))
            if (element->text("AXTitle") == "New") return element;
        return nullptr;
    }

    /// A moment after Claude has written its own files, or would have.
    void whenSent(std::function<void()> happen) {
        afterPress = [this, happen] {
            if (claude.conversations().size() > 2) loop.outside(1s, happen);
        };
    }
    /// The transcript of the conversation that was made, or another one for it.
    void writeTranscript(const std::string& text, const std::string& rest = {}) {
        const auto& path = claude.conversations().back().transcriptPath;
        write(path, std::filesystem::path(path).stem(), text, rest);
    }
    void writeAnother(const std::string& text) {
        write(folder.path("projects/p/two.jsonl"), "two", text);
        folder.write("records/local_two.json", R"({"cliSessionId":"two","sessionId":")" +
                                                   claude.conversations().back().desktopID + R"("})");
    }
    static void write(const std::string& path, const std::string& session, const std::string& text,
                      const std::string& rest = {}) {
        SimulatedFileStore::write(path, R"({"type":"user","uuid":"u","parentUuid":null,"sessionId":")" +
                                            session + R"(","message":{"role":"user","content":")" + text +
                                            "\"}}\n" + rest);
    }

    Outcome start() {
        RelayInitialTransfer transfer;
        transfer.payload = std::string("Hello");
        transfer.existingDestinationIDs = existing;
        return run(sender.start(transfer), result);
    }

    std::vector<std::string> existing;
    std::optional<ConversationReference> result;
};

TEST(ClaudeNewConversation, SendsOnTheNewPageAndGivesTheConversation) {
    for (const auto* shown : {"", ClaudeDesk::other}) {
        NewConversation desk(shown);
        const auto outcome = desk.start();
        ASSERT_TRUE(outcome.succeeded) << outcome.message;
        EXPECT_EQ(desk.result->desktopSessionID, desk.claude.conversations().back().desktopID);
        EXPECT_EQ(desk.result->transcriptPath, desk.claude.conversations().back().transcriptPath);
        EXPECT_EQ(desk.writes(), 1);
        EXPECT_EQ(desk.presses(), *shown ? 2 : 1);
    }
}

struct Row {
    const char* name;
    void (*change)(NewConversation&);
    std::string message;
    int writes = 0;
};

const Row rows[] = {
    {"not opened", [](auto& d) { d.desktop.applications.opens = false; }, generic},
    {"no Code page", [](auto& d) { d.address("/new"); }, generic},
    {"a draft", [](auto& d) { d.type("Mine"); }, notEmpty},
    {"no button", [](auto& d) { d.newButton()->remove(); }, generic},
    {"a label that only holds the word",
     [](auto& d) { d.newButton()->set("AXTitle", std::string("New chat")); }, generic},
    {"two buttons", [](auto& d) { d.add(d.shell, "AXButton", "AXHelp", "New"); }, generic},
    {"a refused press", [](auto& d) { d.refused["performAction"] = AXStatus::failure; }, generic},
    {"a page that does not come",
     [](auto& d) { d.newButton()->perform = [](auto) { return AXStatus::success; }; }, generic},
    {"no transcript", [](auto& d) { d.claude.habits.losesReceipts = true; }, unconfirmed, 1},
    {"a transcript of another message", [](auto& d) { d.whenSent([&d] { d.writeTranscript("Hello?"); }); },
     unconfirmed, 1},
    {"a transcript that can't be read",
     [](auto& d) { d.whenSent([&d] { d.writeTranscript("Hello", "no JSON\n"); }); }, unconfirmed, 1},
    {"a conversation that existed",
     [](auto& d) {
         SampleIDs ids("claude"); // As Claude will choose them.
         for (int i = 0; i < 2; ++i) d.existing.push_back("claude:" + ids.uuid());
     },
     unconfirmed, 1},
    {"two conversations",
     [](auto& d) { d.whenSent([&d] { d.writeTranscript("Hello"), d.writeAnother("Hello"); }); },
     "Multiple transcripts have the same conversation ID. Choose the file to use.", 1},
    {"another conversation shown meanwhile",
     [](auto& d) {
         d.claude.habits.losesReceipts = true;
         d.loop.outside(5s, [&d] { d.claude.userNavigates(ClaudeDesk::other); });
     },
     generic, 1},
    {"Send that stays disabled", [](auto& d) { d.claude.habits.sendEnables = 1h; },
     "Couldn't confirm that Claude’s Send button became enabled. Message content is kept.", 1},
};

TEST(ClaudeNewConversation, TellsEachFailureAndWhetherARetryIsSafe) {
    for (const auto& [name, change, message, writes] : rows) {
        NewConversation desk(ClaudeDesk::other);
        change(desk);
        if (desk.afterPress) desk.claude.habits.receipt = 10min; // The test writes instead of Claude.
        const auto outcome = desk.start();
        EXPECT_EQ(outcome.message.substr(0, outcome.message.find('\n')), message) << name;
        EXPECT_EQ(outcome.canRetry, writes == 0) << name;
        EXPECT_EQ(desk.writes(), writes) << name;
        EXPECT_FALSE(desk.result) << name;
    }
}

TEST(ClaudeNewConversation, WaitsAMinuteForTheTranscript) {
    for (const auto& [delay, succeeds] : {std::pair{59s, true}, std::pair{61s, false}}) {
        NewConversation desk("");
        desk.claude.habits.receipt = delay;
        // What can't be read once may be readable later.
        desk.loop.outside(10s, [&] { desk.nextRead = AXStatus::failure; });
        EXPECT_EQ(desk.start().succeeded, succeeds) << delay.count();
        EXPECT_EQ(desk.presses(), 1);
    }
}

} // namespace
} // namespace orvel
