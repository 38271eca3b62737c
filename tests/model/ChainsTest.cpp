#include "model/RelayFixture.h"

#include "Orvel/model/SidebarContents.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// Claude — Codex — Claude: the middle one has two neighbours.
class ChainsTest : public RelayFixture {
  protected:
    static constexpr auto secondClaudeID = "5b0d714f-0000-4000-8000-000000000003";

    void SetUp() override {
        RelayFixture::SetUp();
        ClaudeTranscript second({.id = secondClaudeID, .workingDirectory = "/code/site"});
        second.ask("s1").answer("t1");
        folder.write("home/.claude/projects/-code-site/" + std::string(secondClaudeID) + ".jsonl",
                     second.text());
    }

    ConversationReference named(const std::string& sessionID) {
        found(Agent::codex); // Discovers.
        for (const auto& reference : model().catalogue.state().catalog.get())
            if (reference.sessionID == sessionID) return reference;
        ADD_FAILURE() << "no conversation " << sessionID;
        return {};
    }

    void joinFirstTwo(Agent source) {
        const auto from = named(source == Agent::codex ? codexID : claudeID);
        model().workspace.chooseSource(from);
        desktop.loop.run();
        model().links.chooseEndpoint(named(source == Agent::codex ? claudeID : codexID));
        desktop.loop.run();
        ASSERT_TRUE(model().workspace.relay().activePair()) << errorText();
    }

    void makeChain() {
        joinFirstTwo(Agent::codex);
        model().chains.appendRelayConversation(named(secondClaudeID), RelayLinkEnd::trailing, pairID());
        desktop.loop.run();
        ASSERT_TRUE(model().workspace.relay().activeChain()) << errorText();
    }

    std::string pairID() { return model().workspace.relay().activePair()->id; }
    OrvelWorkspaceSnapshot shown() { return workspaceSnapshot(model().view()); }
    std::string roles() {
        std::string text;
        for (const auto& card : shown().endpoints) text += card.name + "/" + card.role + " ";
        return text;
    }
    void choose(const char* route) {
        for (const auto& arrow : shown().routes)
            if (arrow.title == route) model().chains.chooseWorkspaceRoute(arrow.id);
        desktop.loop.run();
    }
};

TEST_F(ChainsTest, TheMiddleNeedsADirectionAndKeepsIt) {
    makeChain();
    EXPECT_EQ(model().notices.status(),
              "Conversation added to the link. Choose a direction between adjacent conversations.");
    EXPECT_EQ(roles(), "Claude/ Codex/From Claude 2/ ");
    EXPECT_TRUE(shown().state.needsDestination);
    EXPECT_EQ(shown().statusTitle(), "Choose a destination");
    EXPECT_EQ(model().workspace.relay().preview(), "");
    EXPECT_FALSE(shown().canSend || shown().canCopy || shown().canExtend);
    model().copy(desktop.pasteboard);
    model().send();
    desktop.loop.run();
    EXPECT_TRUE(state().transfers.empty());

    choose("Codex → Claude 2");
    EXPECT_EQ(roles(), "Claude/ Codex/From Claude 2/To ");
    EXPECT_EQ(model().workspace.relay().preview(), "me: q1\n\ncodex: a1");
    model().chains.selectChainSource(named(claudeID));
    desktop.loop.run();
    EXPECT_EQ(roles(), "Claude/From Codex/To Claude 2/ ");
    model().chains.selectChainSource(named(codexID));
    desktop.loop.run();
    EXPECT_EQ(roles(), "Claude/ Codex/From Claude 2/To ") << "the direction that was chosen last";

    model().workspace.newLink();
    model().chains.openSidebarLink(state().pairs[0]);
    desktop.loop.run();
    EXPECT_EQ(roles(), "Claude/From Codex/To Claude 2/ ") << "the first where nothing else decides";
    EXPECT_EQ(sidebarLinks(model().view()).open.size(), 1U);
}

TEST_F(ChainsTest, OneNoteOfAConversationIsShownWhicheverPairIsOpen) {
    makeChain();
    choose("Codex → Claude 2");
    model().workspace.setInstruction("for both");
    choose("Codex → Claude");
    EXPECT_EQ(session().instruction.get(), "for both") << "before it is saved";
    model().workspace.setInstruction("newer");
    choose("Codex → Claude 2");
    EXPECT_EQ(session().instruction.get(), "newer");
    desktop.loop.run();
    const auto onDisk = [&] { return stateOnDisk().sourceInstruction(state().links[0].id, named(codexID)); };
    EXPECT_EQ(onDisk(), "newer");

    // Both of its pairs have a draft when a save that was under way lets the next one begin.
    desktop.files.duration = 3s;
    model().workspace.setInstruction("first");
    desktop.loop.runFor(500ms);
    model().workspace.setInstruction("older");
    for (const auto& arrow : shown().routes)
        if (arrow.title == "Codex → Claude") model().chains.chooseWorkspaceRoute(arrow.id);
    desktop.loop.runFor(100ms);
    model().workspace.setInstruction("newest");
    desktop.loop.run();
    EXPECT_EQ(onDisk(), "newest");
}

TEST_F(ChainsTest, OneMessageIsInFlightInALink) {
    makeChain();
    choose("Codex → Claude 2");
    copy();
    ASSERT_EQ(state().transfers.size(), 1U);
    choose("Codex → Claude");
    EXPECT_TRUE(shown().state.otherPending);
    EXPECT_EQ(shown().statusTitle(), "Another transfer is pending");
    EXPECT_FALSE(shown().canSend || shown().canCopy || shown().canExtend);
    send();
    copy();
    EXPECT_EQ(state().transfers.size(), 1U);
    model().chains.showPendingWorkspaceTransfer();
    desktop.loop.run();
    EXPECT_EQ(shown().pendingMessage, *state().transfers[0].payload);

    EXPECT_FALSE(model().chains.beginNewRelayConversation(RelayLinkEnd::leading, pairID()));
    EXPECT_FALSE(model().links.canArchiveLink(state().pairs[0]));
    model().links.archiveLink(state().pairs[0]);
    desktop.loop.run();
    EXPECT_TRUE(state().pairs[0].isActive());
    EXPECT_EQ(errorText(), RelayError(RelayError::Case::pendingTransfer).what());
}

TEST_F(ChainsTest, WhatCanNotGrowSaysWhy) {
    makeChain();
    choose("Codex → Claude 2");
    EXPECT_FALSE(model().chains.beginNewRelayConversation(RelayLinkEnd::leading, pairID()));
    EXPECT_EQ(errorText(), RelayError(RelayError::Case::linkCapacity).what());
    EXPECT_FALSE(model().chains.beginNewRelayConversation(RelayLinkEnd::leading, "another"));
    EXPECT_EQ(model().notices.status(), "The selected link changed. Choose the end to extend again.");
    model().chains.appendRelayConversation(named(secondClaudeID), RelayLinkEnd::leading, "another");
    EXPECT_EQ(model().notices.status(),
              "The link being edited changed. Choose where to add the conversation again.");
}

TEST_F(ChainsTest, AClosedLinkKeepsAllAndOpensAgain) {
    makeChain();
    EXPECT_TRUE(model().links.canArchiveLink(state().pairs[1]));
    model().links.archiveLink(state().pairs[1]);
    desktop.loop.run();
    EXPECT_EQ(model().notices.status(), "Link closed. Conversations and transfer records are kept.");
    EXPECT_FALSE(model().workspace.relay().activePair());
    EXPECT_TRUE(sidebarLinks(model().view()).open.empty());
    ASSERT_EQ(sidebarLinks(model().view()).closed.size(), 1U);
    model().links.restoreLink(state().pairs[0]);
    desktop.loop.run();
    EXPECT_TRUE(model().workspace.relay().activeChain());
    EXPECT_TRUE(sidebarLinks(model().view()).closed.empty());

    failSaving();
    model().links.archiveLink(state().pairs[0]);
    desktop.loop.run();
    EXPECT_TRUE(state().pairs[0].isActive());
    EXPECT_NE(errorText(), "");
    failSaving(false);
}

TEST_F(ChainsTest, ACommandInTheMiddleWaitsForTheChoice) {
    makeChain();
    for (const char* note : {"one", "two"}) {
        model().workspace.newLink();
        model().commandInbox.receiveInterceptedCommand({.command = {.instruction = note},
                                                        .source = Agent::codex,
                                                        .identity = named(codexID),
                                                        .isRemoved = true});
        desktop.loop.run();
    }
    EXPECT_EQ(session().instruction.get(), "one\n\ntwo");
    EXPECT_EQ(model().notices.status(),
              "Source instructions are kept. Choose a destination using the arrows above.");
    EXPECT_TRUE(shown().state.needsDestination);
    EXPECT_TRUE(state().transfers.empty()) << "nothing goes out by itself";
    choose("Codex → Claude 2");
    EXPECT_EQ(session().instruction.get(), "one\n\ntwo");
}

TEST_F(ChainsTest, WhatWasTypedForAnUnlinkedConversationIsThereAgain) {
    model().workspace.chooseSource(named(codexID));
    desktop.loop.run();
    model().workspace.setInstruction("half a thought");
    model().workspace.chooseSource(named(claudeID));
    desktop.loop.run();
    EXPECT_EQ(session().instruction.get(), "");
    model().workspace.chooseSource(named(codexID));
    desktop.loop.run();
    EXPECT_EQ(session().instruction.get(), "half a thought");
}

} // namespace
} // namespace orvel
