#include "OrvelCore/relay/RelayStateJson.h"

#include "Failures.h"
#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateReport.h"
#include "relay/RelaySamples.h"

#include <nlohmann/json.hpp>

#include <limits>

namespace orvel {
namespace {

using testing::HasSubstr;

// Every record with every optional field.
constexpr std::string_view full = R"({
"pairs":[{"id":"P","codex":{"agent":"codex","sessionID":"c","title":"C","transcriptPath":"/c","workingDirectory":"/w",
  "modifiedAt":801234567.1234561,"desktopSessionID":"local_1"},"claude":{"agent":"claude","sessionID":"d","title":"D",
  "transcriptPath":"/d","modifiedAt":1},"archivedAt":5,"speakerContext":{"frozenLabels":{"codex:c":"codex"},"usedLabels":["codex"]}}],
"transfers":[{"id":"T","pairID":"P","source":"claude","payload":"me: \"hi\"\n","instruction":"i","sourceThrough":"s",
  "destinationBefore":"b","createdAt":2.5,"status":"received","receivedMessageID":"r","startMessageID":"m",
  "deliveryMode":"submitted","retryable":false,"assistantLabel":"claude 2","sourceNoteRevision":3}],
"checkpoints":{"P:claude":"s"},
"incomingStarts":{"P:codex":"r"},
"initialTransfers":[{"id":"I","sourceReference":{"agent":"codex","sessionID":"c","title":"C","transcriptPath":"/c",
  "modifiedAt":1},"destinationAgent":"claude","payload":"p","instruction":"i","sourceThrough":"s","startMessageID":"m",
  "existingDestinationIDs":["claude:x"],"createdAt":3,"deliveryMode":"copied","boundPairID":"P","retryable":true,
  "nextInstruction":"n","nextStartMessageID":"q","speakerContext":{"frozenLabels":{},"usedLabels":[]},
  "assistantLabel":"codex","linkAttachment":{"anchorPairID":"P","end":"trailing"},"sourceNoteRevision":-1}],
"drafts":{"P:codex":{"instruction":"d","startMessageID":"m","nextTransfer":true}},
"links":[{"id":"L","conversations":[{"agent":"codex","sessionID":"c","title":"C","transcriptPath":"/c","modifiedAt":1}],
  "pairIDs":["P"],"speakerContext":{"frozenLabels":{},"usedLabels":[]},"archivedAt":5,
  "sourceNotes":{"codex:c":{"instruction":"n","revision":2}}}]})";

// The same records without any optional field.
constexpr std::string_view bare = R"({
"pairs":[{"id":"P","codex":{"agent":"codex","sessionID":"c","title":"C","transcriptPath":"/c","modifiedAt":1},
  "claude":{"agent":"claude","sessionID":"d","title":"D","transcriptPath":"/d","modifiedAt":1}}],
"transfers":[{"id":"T","pairID":"P","source":"claude","payload":"","instruction":"","createdAt":2.5,"status":"awaitingReceipt"}],
"checkpoints":{},"incomingStarts":{},
"initialTransfers":[{"id":"I","sourceReference":{"agent":"codex","sessionID":"c","title":"C","transcriptPath":"/c",
  "modifiedAt":1},"destinationAgent":"claude","payload":"p","instruction":"i","existingDestinationIDs":[],"createdAt":3,
  "deliveryMode":"copied"}],
"drafts":{"P:codex":{"instruction":""}},
"links":[{"id":"L","conversations":[],"pairIDs":[],"speakerContext":{"frozenLabels":{},"usedLabels":[]},"sourceNotes":{}}]})";

std::string withChange(std::string_view from, std::string_view to) {
    std::string json(full);
    const auto at = json.find(from);
    EXPECT_NE(at, json.npos) << from;
    return json.replace(at, from.size(), to);
}

TEST(RelayStateJson, readsAndWritesEveryKey) {
    for (const auto document : {full, bare}) {
        const auto state = decodeRelayState(document);
        EXPECT_EQ(nlohmann::json::parse(encodeRelayState(state)), nlohmann::json::parse(document));
    }
    const auto state = decodeRelayState(full);
    EXPECT_EQ(*state.transfers[0].payload, "me: \"hi\"\n");
    EXPECT_EQ(state.initialTransfers[0].linkAttachment, (RelayLinkAttachment{"P", RelayLinkEnd::trailing}));
    EXPECT_EQ(state.links[0].sourceNotes.at("codex:c"), (RelayLinkNote{"n", 2}));
}

TEST(RelayStateJson, readsWhatOlderFilesLack) {
    const auto state =
        decodeRelayState(R"({"pairs":[],"transfers":null,"checkpoints":{"P:codex":"m"},"future":{"x":[1]}})");
    EXPECT_EQ(*state.checkpoints.find("P:codex"), "m");
    EXPECT_TRUE(state.links.empty());
    const auto old = decodeRelayState(bare);
    EXPECT_EQ(old.pairs[0].speakerContext, std::nullopt);
    EXPECT_EQ(old.pairs[0].speakerLabel(Agent::claude), "claude");
}

TEST(RelayStateJson, refusesWhatItDoesNotUnderstand) {
    const auto notJSON = "notJSON: ";
    const struct {
        const char* what;
        std::string json;
        std::string_view words;
        const char* kind = "unexpectedContent: ";
    } cases[] = {
        {"no document", "", "not valid JSON", notJSON},
        {"a list", "[]", "the document is not an object"},
        {"more behind the document", "{} {}", "", notJSON},
        {"no UTF-8", "{\"pairs\":\"\xff\"}", "UTF-8", notJSON},
        {"deep nesting", R"({"x":)" + std::string(10'000, '[') + std::string(10'000, ']') + "}", "deep",
         notJSON},
        {"a number beyond double", withChange("2.5", "1e999"), "number", notJSON},
        {"a missing key", withChange(R"("pairID":"P",)", ""), "transfers[0].pairID is missing"},
        {"another type", withChange(R"("createdAt":2.5)", R"("createdAt":"2.5")"),
         "transfers[0].createdAt is not a number"},
        {"a broken revision", withChange(R"("revision":2)", R"("revision":2.5)"),
         "links[0].sourceNotes.codex:c.revision is not an integer"},
        {"an unknown status", withChange(R"("received")", R"("failed")"),
         "transfers[0].status has an unknown value"},
        {"a key twice", withChange(R"("retryable":false)", R"("retryable":false,"retr\u0079able":true)"),
         "transfers[0].retryable stands twice"},
        {"a top-level key twice", R"({"pairs":[],"links":[],"pairs":[]})", "pairs stands twice"},
        {"a map key twice", R"({"checkpoints":{"a":"1","a":"1"}})", "checkpoints.a stands twice"},
        {"a list with another type", withChange(R"(["claude:x"])", R"(["claude:x",7])"),
         "initialTransfers[0].existingDestinationIDs[1] is not a text"},
    };
    for (const auto& c : cases) {
        const auto end = endOf([&] { decodeRelayState(c.json); });
        EXPECT_THAT(end, testing::StartsWith(c.kind)) << c.what;
        EXPECT_THAT(end, HasSubstr(c.words)) << c.what;
    }
}

TEST(RelayStateJson, refusesAFileThatIsCutAnywhere) {
    const auto whole = encodeRelayState(decodeRelayState(full));
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_THROW(decodeRelayState(whole.substr(0, size)), RelayStateError) << size;
}

TEST(RelayStateJson, writesNothingThatCouldNotBeRead) {
    const auto writing = [](auto change) {
        auto state = decodeRelayState(full);
        state.transfers.change("T", change);
        return caseOf([&] { (void)encodeRelayState(state); });
    };
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(writing([](RelayTransfer&) {}), "done");
    EXPECT_EQ(writing([](RelayTransfer& t) { t.payload = std::string("\xc3"); }), "notStorable");
    EXPECT_EQ(writing([](RelayTransfer& t) { t.createdAt = infinity; }), "notStorable");
    EXPECT_EQ(writing([](RelayTransfer& t) { t.createdAt = infinity - infinity; }), "notStorable");
}

TEST(RelayStateReport, countsAndNamesWhatIsBroken) {
    using testing::Contains;
    const auto report = RelayStateReport::of(decodeRelayState(full));
    EXPECT_EQ(report.archivedPairs, 1u);
    EXPECT_EQ(report.receivedTransfers, 1u);
    EXPECT_EQ(report.boundInitialTransfers, 1u);
    EXPECT_THAT(report.violations, Contains("Link L has the wrong number of conversations or pairs."));
    EXPECT_THAT(report.violations, Contains("Initial transfer I is bound without its pair or its transfer."));

    samples::Desk desk;
    desk.state.pairs.append(desk.state.pairs[0]);
    desk.prepareFromCodex();
    desk.prepareInitial();
    desk.state.checkpoints.set("P1:codex", "invented");
    const auto broken = RelayStateReport::of(desk.state);
    EXPECT_EQ(broken.pendingTransfers, 1u);
    EXPECT_EQ(broken.pendingInitialTransfers, 1u);
    EXPECT_THAT(broken.violations,
                testing::UnorderedElementsAre(
                    "Pair P1 has the identifier of another one.",
                    "Pair P1 joins two conversations that another active pair joins already.",
                    "Checkpoint P1:codex was proved by no transfer."));
}

} // namespace
} // namespace orvel
