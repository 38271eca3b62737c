#include "Orvel/model/RelayStateFile.h"

#include "Failures.h"
#include "Finish.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "TemporaryFolder.h"
#include "relay/RelaySamples.h"

#include <rapidcheck/gtest.h>

#include <array>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace orvel {
namespace {

class RelayStateFiles : public testing::Test {
  protected:
    TemporaryFolder folder;
    std::string path = folder.path("data/relay-state.json");
    SimulatedDesktop desktop;
    SimulatedFileStore& store = desktop.files;

    void save(RelayStateFile& file, const RelayState& state) { finish(desktop.loop, file.save(state)); }
};

TEST_F(RelayStateFiles, areNotTouchedWhenTheyCannotBeRead) {
    SimulatedFileStore::write(path, R"({"pairs":7})");
    EXPECT_THROW(loadRelayState(path), RelayStateError);
    EXPECT_EQ(contentsOf(path), R"({"pairs":7})");

    // Two billion bytes without a single one on the disk.
    std::filesystem::resize_file(path, 2'000'000'000);
    EXPECT_EQ(caseOf([&] { loadRelayState(path); }), "tooLarge");

    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_THROW(loadRelayState(path), FileError) << "a folder is not an absent file";
}

TEST_F(RelayStateFiles, areNotReadWhileTheyAreWritten) {
    RelayStateFile file(path, store);
    samples::Desk desk;
    save(file, desk.state);
    const auto writer = open(path.c_str(), O_RDONLY);
    ASSERT_EQ(flock(writer, LOCK_EX), 0);
    EXPECT_THROW(loadRelayState(path), FileError);
    close(writer);
    EXPECT_TRUE(loadRelayState(path) == desk.state);
}

TEST_F(RelayStateFiles, knowWhereTheLinksInTheirPathsLead) {
    const auto real = folder.write("real/one.jsonl", R"({"sessionId":"one"})"
                                                     "\n");
    std::filesystem::create_directory_symlink(folder.path("real"), folder.path("link"));
    std::filesystem::create_symlink(real, folder.path("other.jsonl"));
    samples::Desk desk;
    desk.state.links.append(RelayLink{"L", {desk.claude}, {}, {}, {}, {}});
    desk.prepareInitial();
    for (const auto* path : {"link/one.jsonl", "other.jsonl", "real/one.jsonl"}) {
        SCOPED_TRACE(path);
        auto entry = samples::reference(Agent::claude, "one");
        entry.transcriptPath = folder.path(path);
        auto state = desk.state;
        state.pairs.change("P1", [&](RelayPair& pair) { pair.claude = entry; });
        state.links.change("L", [&](RelayLink& link) { link.conversations.front() = entry; });
        state.initialTransfers.change("NEW-1", [&](auto& initial) { initial.sourceReference = entry; });
        RelayStateFile file(this->path, store);
        save(file, state);
        const auto loaded = *loadRelayState(this->path);
        const auto found = ConversationCatalog::reference(real, Agent::claude);
        EXPECT_TRUE(loaded == state) << "no part of the record";
        EXPECT_TRUE(sameIdentity(loaded.pairs[0].claude, found));
        EXPECT_TRUE(sameIdentity(loaded.links[0].conversations[0], found));
        EXPECT_TRUE(sameIdentity(loaded.initialTransfers[0].sourceReference, found));
        EXPECT_TRUE(sameIdentity(ConversationCatalog::reference(entry.transcriptPath, Agent::claude), found));
    }
}

// One change of a state: which, and small numbers that choose where.
using Change = std::array<unsigned char, 3>;

void apply(const Change& change, RelayState& state) {
    const auto [kind, a, b] = change;
    const auto id = "T" + std::to_string(a % (state.transfers.size() + 1));
    switch (kind % 9) {
    case 0:
    case 1: {
        RelayTransfer transfer;
        transfer.id = "T" + std::to_string(state.transfers.size());
        transfer.payload = std::string(20'000U + b, static_cast<char>('a' + a % 26));
        state.transfers.append(transfer);
        break;
    }
    case 2:
    case 3: state.transfers.change(id, [&](RelayTransfer& t) { t.retryable = b % 2 == 0; }); break;
    case 4: state.transfers.change(id, [&](RelayTransfer& t) { t.receivedMessageID.emplace(b, 'r'); }); break;
    case 5: {
        RelayInitialTransfer initial;
        initial.id = "I" + std::to_string(state.initialTransfers.size());
        initial.payload = std::string(5000U + b, 'i');
        state.initialTransfers.append(initial);
        break;
    }
    case 6:
        state.initialTransfers.change("I" + std::to_string(a % (state.initialTransfers.size() + 1)),
                                      [&](auto& initial) { initial.boundPairID.emplace(b, 'p'); });
        break;
    case 8:
        state.pairs.append(RelayPair{"P" + std::to_string(state.pairs.size()),
                                     samples::reference(Agent::codex, "codex-" + std::to_string(a)),
                                     samples::reference(Agent::claude, "claude-" + std::to_string(b)), b,
                                     std::nullopt});
        break;
    default: state.drafts.set("P1:codex", {std::string(b, 'd'), std::nullopt, std::nullopt});
    }
}

// Whatever changes, what a save in part leaves is what a whole one would have written.
RC_GTEST_PROP(RelayStateFilesProperty, holdTheWholeDocumentAfterEverySave, ()) {
    const TemporaryFolder folder = TemporaryFolder::quick();
    const auto path = folder.path("relay-state.json");
    SimulatedLoop loop; // Its other thread is this one, and a standby is there as soon as it can be.
    PosixFileStore store(loop);
    RelayStateFile file(path, store);
    TaskScope scope;
    RelayState state;
    // Sometimes large enough for a standby from the beginning on, sometimes on the way there.
    const auto transfers = *rc::gen::inRange(30, 100);
    for (int i = 0; i < transfers; ++i) apply({0, static_cast<unsigned char>(i), 0}, state);
    const auto saves = *rc::gen::resize(
        4, rc::gen::container<std::vector<std::vector<Change>>>(rc::gen::arbitrary<std::vector<Change>>()));
    for (const auto& changes : saves) {
        for (const auto& change : changes) apply(change, state);
        scope.start(file.save(state));
        loop.run();
        const auto whole = encodeRelayState(state);
        RC_ASSERT(contentsOf(path) == whole);
        const std::filesystem::directory_iterator files(folder.path());
        RC_ASSERT(std::distance(begin(files), end(files)) == (whole.size() < 1'000'000 ? 1 : 2));
    }
    if (!saves.empty()) RC_ASSERT(readRelayState(path) == state);
}

// A document is made from where the older one ends to be the same, and not from the beginning.
TEST(RelayStateDocument, isMadeFromTheFirstChangeOn) {
    RelayState state;
    for (unsigned char i = 0; i < 130; ++i) apply({0, i, 0}, state);
    for (unsigned char i = 0; i < 3; ++i) apply({5, i, 0}, state);
    RelayStateDocument whole(state);
    const auto all = whole.encode().text;
    const struct {
        const char* what;
        std::vector<Change> changes;
        std::size_t atMost; // Bytes.
    } cases[] = {{"nothing", {}, 17'000},
                 {"a draft", {{7, 0, 9}}, 17'000},
                 {"a pair, which stands before all transfers", {{8, 0, 9}}, all.size() + 1'000},
                 {"the last first message", {{6, 2, 9}}, 17'000},
                 {"the last transfer, and a new one", {{2, 129, 0}, {0, 0, 0}}, 2 * 22'000 + 17'000},
                 {"a transfer in the middle", {{4, 64, 9}}, 66 * 22'000 + 17'000},
                 {"a transfer in the middle", {{4, 63, 9}}, 67 * 22'000 + 17'000}};
    for (const auto& [what, changes, atMost] : cases) {
        SCOPED_TRACE(what);
        auto changed = state;
        for (const auto& change : changes) apply(change, changed);
        const auto tail = RelayStateDocument(changed).encode(&whole);
        EXPECT_LT(tail.text.size(), atMost);
        EXPECT_EQ(all.substr(0, tail.from) + tail.text, encodeRelayState(changed));
    }
}

} // namespace
} // namespace orvel
