#include "relay/RelaySamples.h"

using namespace orvel;
using namespace samples;
using Case = RelayError::Case;
using References = std::vector<ConversationReference>;

TEST(RelayLink, growsFromALonePairAtEitherEnd) {
    Desk trailing;
    EXPECT_EQ(trailing.state.orderedReferences("P1"), (References{trailing.claude, trailing.codex}));
    const auto link =
        trailing.state.extendLink("P1", RelayLinkEnd::trailing, trailing.claude2, trailing.stamps);
    EXPECT_EQ(link.conversations, (References{trailing.claude, trailing.codex, trailing.claude2}));
    EXPECT_EQ(trailing.state.orderedReferences("NEW-1"), link.conversations);
    EXPECT_EQ(trailing.state.links[0], link);
    EXPECT_EQ(link.speakerContext.label(trailing.claude), "claude");
    EXPECT_EQ(link.speakerContext.label(trailing.claude2), "claude 2");
    for (const auto& pair : trailing.state.pairs) EXPECT_EQ(pair.speakerContext, link.speakerContext);

    Desk leading;
    const auto other = leading.state.extendLink("P1", RelayLinkEnd::leading, leading.codex2, leading.stamps);
    EXPECT_EQ(other.conversations, (References{leading.codex2, leading.claude, leading.codex}));
    EXPECT_EQ(other.pairIDs, (std::vector<std::string>{"NEW-1", "P1"}));
}

TEST(RelayLink, takesOverTheDraftsOfItsPairs) {
    Desk desk;
    desk.state.setDraft("P1", Agent::codex, "from codex", std::nullopt, false);
    desk.addPair("P2", desk.codex, desk.claude2);
    desk.state.setDraft("P2", Agent::claude, "from claude 2", std::nullopt, false);
    desk.state.setDraft("P2", Agent::codex, "lost", std::nullopt, false);
    const auto link = desk.state.attachPair("P2", "P1", RelayLinkEnd::trailing, desk.stamps);
    EXPECT_EQ(link.sourceNotes,
              (std::map<std::string, RelayLinkNote>{{"claude:claude-1", {"", 0}},
                                                    {"codex:codex-1", {"from codex", 0}},
                                                    {"claude:claude-2", {"from claude 2", 0}}}));
    EXPECT_EQ(desk.state.draft("P2", Agent::codex).instruction, "from codex");
}

TEST(RelayLink, opensAndClosesAsAWhole) {
    Desk desk;
    const auto id = desk.state.extendLink("P1", RelayLinkEnd::trailing, desk.claude2, desk.stamps).id;
    desk.state.archivePair("NEW-1", 10);
    desk.state.archiveLink(id, 20);
    EXPECT_EQ(desk.state.links[0].archivedAt, 10);
    for (const auto& pair : desk.state.pairs) EXPECT_EQ(pair.archivedAt, 10);
    EXPECT_EQ(desk.state.sourceInstruction(id, desk.codex), "") << "a closed link can be read";
    EXPECT_EQ(desk.state.orderedReferences("P1").size(), 3u);
    EXPECT_EQ(failureOf([&] { desk.state.speakerContextForExtension("P1"); }), Case::pairArchived);

    const auto rival = desk.state.pair(desk.codex, desk.claude2, std::nullopt, desk.stamps);
    EXPECT_EQ(failureOf([&] { desk.state.restorePair("P1"); }), Case::activePairExists);
    desk.state.archivePair(rival.id, 30);
    desk.state.restorePair("P1");
    EXPECT_EQ(desk.state.archivedPairs().size(), 1u);
    EXPECT_TRUE(desk.state.links[0].isActive());
    desk.state.restoreLink(id);
    EXPECT_TRUE(desk.state.links[0].isActive()) << "an open link is no rival of itself";
}

TEST(RelayLink, refreshesAConversationInAllItsPairs) {
    Desk desk;
    desk.state.extendLink("P1", RelayLinkEnd::trailing, desk.claude2, desk.stamps);
    const auto renamed = desk.codex.withTitle("Renamed");
    desk.state.pair(renamed, desk.claude, std::nullopt, desk.stamps);
    EXPECT_EQ(desk.state.links[0].conversations[1].title, "Renamed");
    for (const auto& pair : desk.state.pairs) EXPECT_EQ(pair.codex.title, "Renamed");
}

// Two pairs that share the Codex end; both have sent before they are joined.
TEST(RelayLink, renamesNoSpeakerInATextThatHasGoneOut) {
    const std::tuple<const char*, Agent, std::optional<std::string>, std::optional<Case>> cases[] = {
        {"the shared end keeps its name", Agent::codex, "codex", std::nullopt},
        {"the shared end, in an old file", Agent::codex, std::nullopt, std::nullopt},
        {"the shared end was called otherwise", Agent::codex, "codex 2", Case::invalidLink},
        {"the new member's name is taken", Agent::claude, "claude", Case::invalidLink},
        {"the same in an old file", Agent::claude, std::nullopt, Case::invalidLink},
        {"the new member bears its coming name", Agent::claude, "claude 2", std::nullopt},
    };
    for (const auto& [what, source, quotedAs, failure] : cases) {
        Desk desk;
        desk.addPair("P2", desk.codex, desk.claude2);
        RelayTransfer sent;
        sent.id = "T";
        sent.pairID = "P2";
        sent.source = source;
        sent.status = RelayTransfer::Status::received;
        sent.assistantLabel = quotedAs;
        desk.state.transfers.append(sent);
        EXPECT_EQ(failureOf([&] { desk.state.attachPair("P2", "P1", RelayLinkEnd::trailing, desk.stamps); }),
                  failure)
            << what;
        EXPECT_EQ(desk.state.links.empty(), failure.has_value()) << what;
    }
}

TEST(RelayLink, isRefusedWhenItsChainDoesNotHold) {
    const auto expectRefusal = [](const char* what, const std::function<void(RelayState&)>& damage) {
        Desk desk;
        desk.stamps.newID = [made = false]() mutable { return std::exchange(made, true) ? "L" : "P2"; };
        desk.state.extendLink("P1", RelayLinkEnd::trailing, desk.claude2, desk.stamps);
        damage(desk.state);
        EXPECT_EQ(failureOf([&] { desk.state.archiveLink("L", 1); }), Case::invalidLink) << what;
        EXPECT_EQ(failureOf([&] { desk.state.restoreLink("L"); }), Case::invalidLink) << what;
    };
    const std::pair<const char*, void (*)(RelayLink&)> cases[] = {
        {"a conversation too few", [](auto& link) { link.conversations.pop_back(); }},
        {"one conversation alone", [](auto& link) { link.conversations.resize(1), link.pairIDs.clear(); }},
        {"a conversation twice", [](auto& link) { link.conversations[2] = link.conversations[0]; }},
        {"a pair twice", [](auto& link) { link.pairIDs[1] = link.pairIDs[0]; }},
        {"a missing pair", [](auto& link) { link.pairIDs[1] = "gone"; }},
        {"neighbours of one agent",
         [](auto& link) { std::swap(link.conversations[0], link.conversations[1]); }},
        {"another file", [](auto& link) { link.conversations[0].transcriptPath = "/x"; }},
    };
    for (const auto& [what, damage] : cases)
        expectRefusal(what, [&](RelayState& state) { state.links.change("L", damage); });
    expectRefusal("one pair closed", [](RelayState& state) {
        state.pairs.change("P1", [](RelayPair& pair) { pair.archivedAt = 1; });
    });
}
