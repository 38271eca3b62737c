#include "OrvelCore/relay/QueuedReceipt.h"
#include "relay/RelaySamples.h"

namespace orvel {
namespace {

using namespace samples;

TEST(RelayReceipts, countOnlyAsAUserMessageBehindTheLastKnownOne) {
    const struct {
        const char* what;
        std::vector<Message> before, after; // Around the last message at preparation.
        std::optional<std::string> receipt;
    } cases[] = {
        {"nothing", {}, {}, std::nullopt},
        {"an older identical text", {{"old", "user", "go"}}, {}, std::nullopt},
        {"the agent's own words", {}, {{"echo", "assistant", "go"}}, std::nullopt},
        {"the message", {{"old", "user", "go"}}, {user("x"), {"new", "user", "go"}}, "new"},
        {"the earlier of two", {}, {{"first", "user", "go"}, {"second", "user", "go"}}, "first"},
    };
    for (const auto& c : cases) {
        Desk desk;
        desk.state.checkpoints.set("P1:codex", "a:a1");
        auto& messages = desk.claudeTalk.messages;
        messages = c.before;
        messages.push_back({"last", "user", "go"});
        const auto transfer = desk.prepareFromCodex("go");
        messages.insert(messages.end(), c.after.begin(), c.after.end());
        desk.claudeTalk.isBusy = true;
        const auto pending = desk.state;
        EXPECT_EQ(desk.state.reconcile(transfer.id, desk.claudeTalk), c.receipt.has_value()) << c.what;
        EXPECT_EQ(desk.state.transfers[0].receivedMessageID, c.receipt) << c.what;
        if (!c.receipt) {
            EXPECT_EQ(desk.state, pending) << c.what;
        }
    }
}

TEST(RelayReceipts, moveThePositionsOfBothSides) {
    Desk desk;
    const auto first = desk.prepareFromCodex();
    desk.state.setRetryable(first.id, true);
    ASSERT_TRUE(desk.deliver(first));
    EXPECT_EQ(desk.state.transfers[0].retryable, false);
    EXPECT_EQ(*desk.state.checkpoints.find("P1:codex"), "a:a1");
    EXPECT_EQ(*desk.state.incomingStarts.find("P1:claude"), "got:" + first.id);

    const auto settled = desk.state;
    EXPECT_TRUE(desk.state.reconcile(first.id, desk.claudeTalk)) << "again";
    EXPECT_TRUE(desk.state.reconcile(first.id, conversation(desk.claude, {}))) << "it was there once";
    EXPECT_EQ(desk.state, settled);

    ASSERT_TRUE(desk.deliver(desk.prepareFromCodex("more")));
    EXPECT_EQ(*desk.state.incomingStarts.find("P1:claude"), "got:" + first.id) << "not answered yet";

    desk.claudeTalk.messages.push_back(assistant("answer"));
    ASSERT_TRUE(desk.deliver(desk.prepareFromClaude("back")));
    EXPECT_EQ(*desk.state.checkpoints.find("P1:claude"), "a:answer");
    EXPECT_EQ(*desk.state.incomingStarts.find("P1:claude"), "got:" + first.id);
    EXPECT_FALSE(desk.state.incomingStarts.contains("P1:codex")) << "that side has sent already";
}

TEST(RelayReceipts, areNotToBeHadFromAQueuedCommand) {
    Desk desk;
    const auto transfer = desk.prepareFromCodex("go");
    const auto before = desk.claudeTalk.messages.size();
    const struct {
        const char* what;
        std::vector<QueuedCommand> commands;
        bool stands;
    } cases[] = {
        {"nothing", {}, false},
        {"behind the last known message", {{*transfer.payload, before}}, true},
        {"among others", {{"else", before}, {*transfer.payload, before + 1}}, true},
        {"another text", {{*transfer.payload + "!", before}}, false},
        {"an older one", {{*transfer.payload, before - 1}}, false},
    };
    for (const auto& [what, commands, stands] : cases) {
        desk.claudeTalk.queuedCommands = commands;
        EXPECT_EQ(standsAsQueuedCommand(transfer, desk.claudeTalk), stands) << what;
        EXPECT_FALSE(desk.state.reconcile(transfer.id, desk.claudeTalk)) << what;
    }
    desk.claudeTalk.queuedCommands = cases[1].commands;
    desk.claudeTalk.messages.clear(); // Nobody knows what stands behind a message that is gone.
    EXPECT_FALSE(standsAsQueuedCommand(transfer, desk.claudeTalk));
}

TEST(RelayReceipts, useUpTheDraftThatWentOut) {
    const std::tuple<const char*, RelayDraft, std::optional<std::string>, RelayDraft> cases[] = {
        {"what was sent", {" go\n"}, std::nullopt, {}},
        {"with its start", {"go", "u:q1"}, "u:q1", {}},
        {"edited since", {"go on"}, std::nullopt, {"go on"}},
        {"another start", {"go", "u:q1"}, std::nullopt, {"go", "u:q1"}},
        {"for the next transfer", {"go", std::nullopt, true}, std::nullopt, {"go"}},
    };
    for (const auto& [what, draft, start, left] : cases) {
        Desk desk;
        const auto transfer = desk.prepareFromCodex("go", start);
        desk.state.drafts.set("P1:codex", draft);
        ASSERT_TRUE(desk.deliver(transfer));
        EXPECT_EQ(*desk.state.drafts.find("P1:codex"), left) << what;
    }
    Desk desk;
    desk.deliver(desk.prepareFromCodex("go"));
    EXPECT_EQ(desk.state.drafts.size(), 0u) << "no entry without a draft";
}

// A chain claude - codex - claude-2 with the note "note" for codex.
struct LinkedDesk : Desk {
    std::string linkID;

    LinkedDesk() {
        linkID = state.extendLink("P1", RelayLinkEnd::trailing, claude2, stamps).id;
        state.setSourceInstruction(linkID, codex, "note");
    }

    RelayLinkNote note() const { return state.links[0].sourceNotes.at("codex:codex-1"); }
};

TEST(RelayReceipts, useUpTheNoteThatWentOut) {
    const std::tuple<const char*, void (*)(LinkedDesk&, const RelayTransfer&), RelayLinkNote> cases[] = {
        {"unchanged", [](LinkedDesk&, const RelayTransfer&) {}, {"", 2}},
        {"edited",
         [](LinkedDesk& d, const RelayTransfer&) { d.state.setSourceInstruction(d.linkID, d.codex, "more"); },
         {"more", 2}},
        {"edited to the same text",
         [](LinkedDesk& d, const RelayTransfer&) { d.state.setSourceInstruction(d.linkID, d.codex, "note"); },
         {"note", 2}},
        {"cleared when it was copied",
         [](LinkedDesk& d, const RelayTransfer& t) {
             d.state.clearPreparedSourceInstruction(t.id);
             EXPECT_EQ(d.note(), (RelayLinkNote{"", 1}));
         },
         {"", 2}},
        {"cleared, then written anew",
         [](LinkedDesk& d, const RelayTransfer& t) {
             d.state.clearPreparedSourceInstruction(t.id);
             d.state.setSourceInstruction(d.linkID, d.codex, "new");
             d.state.clearPreparedSourceInstruction(t.id);
         },
         {"new", 2}},
    };
    for (const auto& [what, meanwhile, left] : cases) {
        LinkedDesk desk;
        const auto transfer = desk.prepareFromCodex("note");
        EXPECT_EQ(transfer.sourceNoteRevision, 1);
        meanwhile(desk, transfer);
        ASSERT_TRUE(desk.deliver(transfer));
        EXPECT_EQ(desk.note(), left) << what;
    }
}

TEST(RelayReceipts, keepTheStartOfADraftThatIsForAnotherTransfer) {
    const std::tuple<const char*, RelayDraft, RelayDraft> cases[] = {
        {"the used one", {"typed before the note", "u:q1"}, {}},
        {"another start", {"note", "a:a1"}, {"note", "a:a1"}},
        {"for the next transfer", {"note", "u:q1", true}, {"note", "u:q1"}},
    };
    for (const auto& [what, stored, left] : cases) {
        LinkedDesk desk;
        const auto transfer = desk.prepareFromCodex("note", "u:q1");
        desk.state.drafts.set("P1:codex", stored);
        ASSERT_TRUE(desk.deliver(transfer));
        EXPECT_EQ(*desk.state.drafts.find("P1:codex"), left) << what;
    }
}

TEST(RelayReceipts, offerAnEditedNoteForTheNextTransfer) {
    LinkedDesk desk;
    desk.prepareFromCodex("note");
    EXPECT_FALSE(desk.state.draft("P1", Agent::codex).isForNextTransfer());
    desk.state.setDraft("P1", Agent::codex, "edited", std::nullopt, false);
    EXPECT_EQ(desk.state.draft("P1", Agent::codex), (RelayDraft{"edited", std::nullopt, true}));
    EXPECT_EQ(desk.state.draft("NEW-1", Agent::codex).instruction, "edited") << "one note for both pairs";
}

} // namespace
} // namespace orvel
