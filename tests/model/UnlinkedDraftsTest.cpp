// What was typed for conversations without a link, over restarts and disks that fail.

#include "OrvelCore/files/FileReading.h"
#include "model/RelayFixture.h"

#include <filesystem>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class UnlinkedDraftsTest : public RelayFixture {
  protected:
    std::string path() const { return folder.path("data/unlinked-drafts.json"); }

    void open(const ConversationReference& reference) {
        model().workspace.chooseSource(reference);
        desktop.loop.run();
    }
    std::string shownFor(const ConversationReference& reference) {
        open(reference);
        return session().instruction;
    }
    void type(Agent agent, const std::string& text) {
        open(found(agent));
        model().workspace.setInstruction(text);
    }
};

TEST_F(UnlinkedDraftsTest, AreThereAgainAfterARestartEachWithItsOwnConversationAndRange) {
    type(Agent::codex, "half a thought");
    const auto start = session().conversation.get()->messages[1].id;
    model().workspace.selectRange(start);
    type(Agent::claude, "another\n“one”");
    desktop.loop.runFor(500ms);
    EXPECT_FALSE(model().ledger.hasUnsavedDraft());
    model().workspace.setInstruction("lost with the crash");
    crash();
    EXPECT_EQ(shownFor(found(Agent::codex)), "half a thought");
    EXPECT_EQ(session().selectedStartMessageID.get(), start);
    EXPECT_EQ(shownFor(found(Agent::claude)), "another\n“one”");
    // Of the same identifier in another file nothing was said.
    auto elsewhere = found(Agent::codex);
    elsewhere.transcriptPath = folder.write("elsewhere.jsonl", "");
    EXPECT_EQ(shownFor(elsewhere), "");
    // What was emptied, or has gone into a link, comes back no more.
    type(Agent::claude, "");
    open(found(Agent::codex));
    model().links.chooseEndpoint(found(Agent::claude));
    desktop.loop.run();
    ASSERT_TRUE(model().workspace.relay().activePair());
    EXPECT_EQ(session().instruction.get(), "half a thought");
    crash();
    EXPECT_EQ(shownFor(found(Agent::codex)), "");
    EXPECT_EQ(shownFor(found(Agent::claude)), "");
    model().links.restoreRelay();
    desktop.loop.run();
}

TEST_F(UnlinkedDraftsTest, AreToldAndKeptWhereTheDiskTakesNoneOfThem) {
    failSaving();
    type(Agent::codex, "unsaved");
    desktop.loop.run();
    EXPECT_EQ(errorText(), "Couldn't save “" + path() + "”: No space left on device.");
    EXPECT_TRUE(model().ledger.hasUnsavedDraft());
    failSaving(false);
    model().ledger.flushDrafts();
    EXPECT_FALSE(model().ledger.isIdle());
    desktop.loop.run();
    EXPECT_FALSE(model().ledger.hasUnsavedDraft());
    crash();
    EXPECT_EQ(shownFor(found(Agent::codex)), "unsaved");
}

TEST_F(UnlinkedDraftsTest, AFileThatCannotBeReadIsToldAndNeverWrittenOver) {
    for (const auto* text : {"{broken", "[]", R"({"drafts":[{"conversation":"codex:1"}]})"}) {
        folder.write("data/unlinked-drafts.json", text);
        crash();
        EXPECT_TRUE(errorText().starts_with("Couldn't load what was typed for conversations without a link."))
            << text;
        type(Agent::codex, "for this run");
        desktop.loop.run();
        EXPECT_FALSE(model().ledger.hasUnsavedDraft()) << "a quit is not kept waiting";
        open(found(Agent::claude));
        EXPECT_EQ(shownFor(found(Agent::codex)), "for this run");
        EXPECT_EQ(readFile(path(), 1'000), text);
    }
}

} // namespace
} // namespace orvel
