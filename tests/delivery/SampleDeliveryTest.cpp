// Orvel's own delivery against the stand-in, which was written without it: two readings of one protocol.

#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/reading/ConversationReader.h"
#include "SavedTransfers.h"
#include "samples/CodexFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orvel;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

class SampleDeliveryTest : public testing::Test {
  protected:
    SampleDeliveryTest() { processes.environment["PATH"] = "/tools"; }

    ConversationReference reference(const std::string& id = CodexFolder::plain) const {
        return {
            .agent = Agent::codex, .sessionID = id, .transcriptPath = files.folder.path(files.nameOf(id))};
    }

    // What became of sending the text: "sent" or the failure's text.
    std::string send(std::string text) {
        outcome.clear();
        tasks.start(report(std::move(text)));
        loop.runFor(milliseconds(300));
        return outcome;
    }

    std::string read(const std::string& id) {
        outcome.clear();
        tasks.start(reportReading(id));
        loop.runFor(seconds(2));
        return outcome;
    }

    CodexFolder files;
    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    SimulatedCodex codex{processes, loop, "/tools/codex", files.folder.path()};
    ConversationReader reading{loop, processes, "/home/robin"};
    CodexRelaySender sender{loop, processes, reading, "/home/robin"};
    std::vector<std::string> lifecycleFailures;

  private:
    Task<void> report(std::string text) {
        try {
            co_await sender.send(savedTransfer(std::move(text)), reference(),
                                 [this](const auto& failure) { lifecycleFailures.push_back(failure); });
            outcome = "sent";
        } catch (const std::exception& failure) {
            outcome = failure.what();
        }
    }
    Task<void> reportReading(std::string id) {
        try {
            outcome = outcomeOf(*co_await reading.readReference(reference(id)));
        } catch (const std::exception& failure) {
            outcome = failure.what();
        }
    }

    std::string outcome;
    TaskScope tasks;
};

} // namespace

TEST_F(SampleDeliveryTest, CarriesAMessageFromSendToReply) {
    for (const std::size_t most : {std::size_t{1}, std::size_t{1'000'000}}) {
        processes.mostBytesPerTransfer = most;
        EXPECT_EQ(send("Relay\nwith “quotes”"), "sent");
        EXPECT_THAT(files.outcome(), testing::EndsWith("user: Relay\nwith “quotes” [busy]"));
        EXPECT_EQ(sender.watchedTurns().count(CodexFolder::plain), 1U);
        loop.runFor(seconds(4));
        EXPECT_THAT(files.outcome(), testing::EndsWith(files.reply("Relay")));
        EXPECT_TRUE(sender.watchedTurns().empty());
        EXPECT_EQ(processes.running(), 0);
    }
    EXPECT_TRUE(lifecycleFailures.empty());
    EXPECT_TRUE(codex.complaints().empty());
}

TEST_F(SampleDeliveryTest, ReadsTheWholeHistoryOfAFork) {
    files.addFork();
    EXPECT_EQ(read(CodexFolder::fork), "user: A | assistant: C | user: F | assistant: G");
    EXPECT_EQ(processes.running(), 0);
    EXPECT_TRUE(codex.complaints().empty());
}
