#include "OrvelCore/relay/RelayText.h"
#include "relay/RelaySamples.h"

namespace orvel {
namespace {

using namespace samples;

TEST(RelaySpeakerContext, givesEachConversationANameOfItsOwn) {
    const auto first = reference(Agent::codex, "one");
    const auto second = reference(Agent::codex, "two");
    RelaySpeakerContext context;
    EXPECT_EQ(context.label(first), "codex");
    EXPECT_EQ(context.label(second), "codex") << "a name is free until it is frozen";
    context.freeze(first);
    EXPECT_EQ(context.label(second), "codex 2");
    context.usedLabels.insert("codex 2");
    EXPECT_EQ(context.label(second), "codex 3");
    EXPECT_EQ(context.label(reference(Agent::claude, "one")), "claude");

    context.freeze(second, "helper");
    context.freeze(second, "another");
    EXPECT_EQ(context.label(second), "helper");
    EXPECT_TRUE(context.usedLabels.contains("helper"));
    EXPECT_FALSE(context.usedLabels.contains("another"));
}

TEST(RelaySpeakerContext, agreesWithPayloadsFromBeforeLabels) {
    Desk desk;
    desk.state.pairs.change("P1", [](RelayPair& pair) { pair.speakerContext.reset(); });
    EXPECT_EQ(desk.state.pairs[0].speakerLabel(Agent::claude), "claude");
    RelayTransfer old;
    old.id = "T";
    old.pairID = "P1";
    old.source = Agent::claude;
    desk.state.transfers.append(old);
    const auto context = desk.state.speakerContextForReplacement("P1");
    EXPECT_EQ(context.frozenLabels, (std::map<std::string, std::string>{{"claude:claude-1", "claude"}}));
    EXPECT_EQ(failureOf([&] { desk.state.speakerContextForReplacement("P2"); }),
              RelayError::Case::pairNotFound);
}

TEST(RelayInitialTransfer, namesItsSourceAsItsTextDoes) {
    Desk desk;
    auto initial = desk.prepareInitial();
    EXPECT_EQ(initial.speakerLabel(desk.codex), "codex");
    EXPECT_EQ(initial.speakerLabel(desk.codex2), "codex 2");
    initial.assistantLabel = "codex 7";
    EXPECT_EQ(initial.speakerLabel(desk.codex), "codex 7");
    initial.assistantLabel.reset();
    initial.speakerContext.reset();
    EXPECT_EQ(initial.speakerLabel(desk.codex), "codex");
    EXPECT_EQ(initial.speakerLabel(desk.claude), "claude");
}

std::string pasted(const std::string& opening, const std::string& text, const std::string& closing) {
    return "\n\n<pasted_content id=\"" + opening + "\">\n" + text + "\n</pasted_content id=\"" + closing +
           "\">\n";
}

TEST(ReceiptMatcher, recognisesAPayload) {
    const std::tuple<const char*, std::string, std::string, Agent, bool> cases[] = {
        {"the same text", "me: hello", "me: hello", Agent::codex, true},
        {"another text", "me: hello", "me: hallo", Agent::codex, false},
        {"another Unicode form", "me: e\u0301", "me: \u00e9", Agent::codex, false},
        {"CR LF stored", "a\nb\n", "a\r\nb\r\n", Agent::codex, true},
        {"CR LF received", "a\r\nb", "a\nb", Agent::codex, true},
        {"a lone CR is no line feed", "a\rb", "a\nb", Agent::codex, false},
        {"CR CR LF loses one CR", "a\r\nb", "a\r\r\nb", Agent::codex, false},
        {"pasted block", pasted("09af", "long\ntext", "09af"), "long\r\ntext", Agent::claude, true},
        {"pasted block of an empty text", pasted("09af", "", "09af"), "", Agent::claude, true},
        {"pasted block in Codex", pasted("09af", "text", "09af"), "text", Agent::codex, false},
        {"upper-case identifier", pasted("09AF", "text", "09AF"), "text", Agent::claude, false},
        {"long identifier", pasted("09af0", "text", "09af0"), "text", Agent::claude, false},
        {"different identifiers", pasted("09af", "text", "09ae"), "text", Agent::claude, false},
        {"more behind the block", pasted("09af", "text", "09af") + "more", "text", Agent::claude, false},
        {"something before the block", "x" + pasted("09af", "text", "09af"), "text", Agent::claude, false},
        {"cut off block", "\n\n<pasted_content id=\"09", "", Agent::claude, false},
        {"another text in the block", pasted("09af", "text", "09af"), "other", Agent::claude, false},
    };
    for (const auto& [what, received, payload, destination, matches] : cases)
        EXPECT_EQ(ReceiptMatcher(payload, destination).matches(received), matches) << what;
}

TEST(RelayPreview, quotesNoRelayBackToItsSender) {
    Desk desk;
    desk.claudeTalk.messages.clear();
    ASSERT_TRUE(desk.deliver(desk.prepareFromCodex("  please look ")));
    desk.claudeTalk.messages.push_back(assistant("looked"));
    EXPECT_EQ(textsOf(desk.state.preview("P1", Agent::claude, desk.claudeTalk)),
              (std::vector<std::string>{"user:please look", "assistant:looked"}));
    EXPECT_EQ(desk.state.preview("P1", Agent::claude, desk.claudeTalk)[0].id, desk.claudeTalk.messages[0].id);

    desk.state.transfers.change("NEW-1", [](RelayTransfer& transfer) { transfer.instruction.clear(); });
    EXPECT_EQ(textsOf(desk.state.preview("P1", Agent::claude, desk.claudeTalk)),
              (std::vector<std::string>{"assistant:looked"}));

    // Of several transfers that the same message proves, the newest decides.
    auto newer = desk.state.transfers[0];
    newer.id = "newer";
    newer.instruction = "newer text";
    desk.state.transfers.append(newer);
    EXPECT_EQ(textsOf(desk.state.preview("P1", Agent::claude, desk.claudeTalk))[0], "user:newer text");
}

} // namespace
} // namespace orvel
