// The plain session: opening, choosing the range, forming and copying the text, and results that come too
// late.

#include "model/ModelFixture.h"

#include "OrvelCore/files/FileError.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

class PlainSessionTest : public ModelFixture {
  protected:
    std::vector<std::string> selectedTexts() {
        std::vector<std::string> texts;
        const auto selected = model().workspace.relay().selectedMessages();
        for (const auto& message : selected.span()) texts.push_back(message.text);
        return texts;
    }

    // The positions that an earlier version left for the sample Codex conversation.
    void writeCheckpoint(const std::string& messageID) {
        folder.write("data/state.json", std::string(R"({"checkpoints":{"[\"codex\",\")") + codexID +
                                            R"(\",\"claude\",\"dest\"]":")" + messageID +
                                            R"("},"lastDestinations":{"codex:claude":" dest "}})");
    }
};

TEST_F(PlainSessionTest, LoadsAFileAndRemembersIt) {
    const auto path = writeCodex();
    desktop.loop.setNow(777);
    model().workspace.load(path);
    EXPECT_TRUE(session().isLoading);
    EXPECT_FALSE(session().conversation.get());
    desktop.loop.run();
    EXPECT_FALSE(session().isLoading);
    EXPECT_EQ(model().notices.status(), "4 messages loaded. Check the destination and message range.");
    EXPECT_EQ(model().workspace.relay().preview(), "me: q1\n\ncodex: a1\n\nme: q2\n\ncodex: a2");
    ASSERT_EQ(model().catalogue.state().recentConversations->size(), 1U);
    EXPECT_EQ(model().catalogue.state().recentConversations->front(),
              (RecentConversation{Agent::codex, "rollout-one", path, 777}));
    const auto onDisk = [&] { return contentsOf(folder.path("data/recent-conversations.json")); };
    EXPECT_NE(onDisk().find("rollout-one"), std::string::npos);
    model().catalogue.removeRecent(path);
    desktop.loop.run();
    EXPECT_TRUE(model().catalogue.state().recentConversations->empty());
    EXPECT_EQ(onDisk(), "[]");
}

TEST_F(PlainSessionTest, AFailedLoadSaysWhyAndLeavesNoConversation) {
    load(writeCodex());
    load(folder.write("bad.jsonl", "{}\nnot json"));
    EXPECT_EQ(errorText(),
              "Couldn't read conversation file line 2. If the file is being written, refresh it.");
    EXPECT_EQ(model().notices.status(), "Couldn't load the conversation.");
    EXPECT_FALSE(session().isLoading);
    EXPECT_FALSE(session().conversation.get());
    EXPECT_EQ(model().catalogue.state().recentConversations->size(), 1U);
}

TEST_F(PlainSessionTest, ASecondLoadMakesTheFirstResultDisappear) {
    const auto first = writeCodex();
    const auto second =
        folder.write("second.jsonl", CodexTranscript({.id = "two"}).ask("only").answer("yes").text());
    for (const auto durationOfTheSecond : {10s, 1s}) { // It ends after the first, or before.
        desktop.loop.setBackgroundDuration(10s);
        model().workspace.load(first);
        desktop.loop.runFor(5s);
        desktop.loop.setBackgroundDuration(durationOfTheSecond);
        model().workspace.load(second);
        EXPECT_TRUE(session().isLoading);
        desktop.loop.run();
        EXPECT_FALSE(session().isLoading);
        EXPECT_EQ(session().conversation.get()->id, "two");
        EXPECT_EQ(session().filePath->value(), second);
        EXPECT_EQ(model().catalogue.state().recentConversations->size(), 1U);
        EXPECT_EQ(errorText(), "");
    }
}

TEST_F(PlainSessionTest, ManualInputOrphansALoadThatThenFails) {
    desktop.loop.setBackgroundDuration(10s);
    model().workspace.load(folder.path("missing.jsonl"));
    model().workspace.useManualInput();
    EXPECT_FALSE(session().isLoading);
    model().workspace.setManualText("  pasted \n");
    desktop.loop.run();
    EXPECT_EQ(errorText(), "");
    EXPECT_EQ(model().workspace.relay().preview(), "me:   pasted \n");
}

TEST_F(PlainSessionTest, TheModelMayEndWhileItLoads) {
    model().workspace.load(writeCodex());
    model().catalogue.discoverConversations();
    crash();
    desktop.loop.run();
}

TEST_F(PlainSessionTest, TheRangeBeginsBehindTheLastDeliveredMessage) {
    const auto path = writeCodex();
    load(path);
    const auto ids = session().conversation.get()->messages;
    for (const auto& [checkpoint, texts] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {ids[1].id, {"q2", "a2"}}, {ids[3].id, {}}, {"unknown", {"q1", "a1", "q2", "a2"}}}) {
        writeCheckpoint(checkpoint);
        crash();
        load(path);
        EXPECT_EQ(selectedTexts(), texts) << checkpoint;
        EXPECT_EQ(model().workspace.relay().startsAtCheckpoint(), texts.size() < 4);
    }
}

TEST_F(PlainSessionTest, AChosenStartMessageHoldsAndAnUnknownOneMeansTheBeginning) {
    load(writeCodex());
    model().workspace.selectRange(session().conversation.get()->messages[2].id);
    EXPECT_EQ(selectedTexts(), (std::vector<std::string>{"q2", "a2"}));
    EXPECT_FALSE(model().workspace.relay().startsAtCheckpoint());
    model().workspace.selectRange("unknown");
    EXPECT_EQ(selectedTexts().size(), 4U);
    model().workspace.selectRange(session().conversation.get()->messages[3].id);
    model().workspace.selectRange(std::nullopt);
    EXPECT_EQ(selectedTexts().size(), 4U);
}

TEST_F(PlainSessionTest, CopiesTheTrimmedInstructionAndTheRange) {
    load(writeCodex());
    model().workspace.selectRange(session().conversation.get()->messages[3].id);
    model().workspace.setInstruction(" \nLook at this.\u00A0\n");
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(desktop.pasteboard.text, "Look at this.\n\ncodex: a2");
    EXPECT_EQ(session().copiedPreview.get(), desktop.pasteboard.text);
    EXPECT_EQ(session().copiedLastMessageID, session().conversation.get()->messages[3].id);
    EXPECT_EQ(model().notices.status(),
              "Copied. Destination: Claude. Paste into the intended conversation and send. "
              "Copying alone does not confirm delivery.");

    model().workspace.useManualInput();
    model().workspace.setInstruction("only this");
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(desktop.pasteboard.text, "only this");
    EXPECT_EQ(session().copiedLastMessageID, std::nullopt);
}

TEST_F(PlainSessionTest, ACopyThatCannotBeSaysWhyAndTouchesNoClipboard) {
    desktop.pasteboard.text = "the user's own";
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(errorText(), "Enter a conversation or instructions to copy.");
    model().workspace.setInstruction("do it");
    model().workspace.load(writeCodex());
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(errorText(), "Wait for the conversation to finish loading before copying.");
    EXPECT_EQ(desktop.pasteboard.text, "the user's own");
    desktop.loop.run();
    desktop.pasteboard.refuses = true;
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(errorText(), "Couldn't copy to the clipboard. Try again.");
    EXPECT_EQ(session().copiedPreview.get(), std::nullopt);
    desktop.pasteboard.refuses = false;
    model().outbox.copy(desktop.pasteboard);
    EXPECT_EQ(errorText(), "");
}

TEST_F(PlainSessionTest, OpensAHandoffURL) {
    model().workspace.setManualText("old");
    model().commandInbox.open("orvel://handoff?source=claude&instruction=Go%20on");
    EXPECT_EQ(session().source.get(), Agent::claude);
    EXPECT_EQ(session().destination.get(), Agent::codex);
    EXPECT_EQ(session().instruction.get(), "Go on");
    EXPECT_EQ(session().manualText.get(), "");
    EXPECT_EQ(model().notices.status(), "Paste the conversation and review the message preview.");
    EXPECT_EQ(desktop.applications.activations, 1);

    model().commandInbox.open("orvel://handoff?source=codex&file=" + writeCodex());
    desktop.loop.run();
    EXPECT_EQ(session().conversation.get()->id, codexID);
    EXPECT_EQ(session().instruction.get(), "");
    EXPECT_EQ(desktop.applications.activations, 2);

    model().workspace.setInstruction("kept");
    model().commandInbox.open("orvel://handoff?source=nobody");
    EXPECT_EQ(errorText(), "Couldn't read the Orvel URL.");
    EXPECT_TRUE(session().conversation.get());
    EXPECT_EQ(session().instruction.get(), "kept");
    EXPECT_EQ(desktop.applications.activations, 2);
}

TEST_F(PlainSessionTest, ChoosingAFileStartsWhereTheSourceAgentKeepsItsOwn) {
    model().workspace.chooseFile();
    EXPECT_FALSE(session().isLoading);
    model().commandInbox.open("orvel://handoff?source=claude");
    desktop.panels.answer = writeBusyClaude();
    model().workspace.chooseFile();
    desktop.loop.run();
    EXPECT_EQ(session().conversation.get()->id, claudeID);
    ASSERT_EQ(desktop.panels.shown.size(), 2U);
    EXPECT_EQ(desktop.panels.shown[0],
              (OpenPanel{"Select a Codex conversation JSONL file, usually in ~/.codex/sessions.",
                         folder.path("home/.codex/sessions"), true}));
    EXPECT_EQ(
        desktop.panels.shown[1],
        (OpenPanel{"Select a Claude Code conversation JSONL file, usually in ~/.claude/projects. For regular "
                   "Claude chats, use manual input.",
                   folder.path("home/.claude/projects"), true}));
}

TEST_F(PlainSessionTest, AFailingDiskKeepsTheLoadAndSaysSo) {
    desktop.files.beforeReplacing = [](const std::string& path) {
        throw FileError(FileError::Case::outOfSpace, "save", path, "No space left on device");
    };
    load(writeCodex());
    EXPECT_TRUE(session().conversation.get());
    EXPECT_EQ(errorText(),
              "The conversation was loaded, but couldn't be saved to recent conversations.\nCouldn't save “" +
                  folder.path("data/recent-conversations.json") + "”: No space left on device.");
    EXPECT_TRUE(model().catalogue.state().recentConversations->empty());
    EXPECT_FALSE(session().isLoading);
}

TEST_F(PlainSessionTest, UnreadableFilesOfTheDataFolderAreToldAndKept) {
    folder.write("data/recent-conversations.json", "[broken");
    EXPECT_EQ(errorText(), "Couldn't load recent conversations. Open the conversation file again.");
    EXPECT_EQ(contentsOf(folder.path("data/recent-conversations.json")), "[broken");

    folder.write("data/state.json", R"({"checkpoints":{}})");
    crash();
    EXPECT_TRUE(
        errorText().starts_with("Couldn't load the last transfer position. Check the message range.\n"));
    EXPECT_EQ(contentsOf(folder.path("data/state.json")), R"({"checkpoints":{}})");
}

} // namespace
} // namespace orvel
