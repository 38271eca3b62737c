// A relay into Codex with every fault at every step: a child dies, nothing can be saved, Orvel itself is
// killed. Whatever happens, no message is delivered twice without the user, and none is lost.

#include "model/RelayFixture.h"

#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "OrvelCore/files/FileError.h"

#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

enum class Fault { none, childrenDie, nextSaveFails, nothingCanBeSaved, orvelDies };

constexpr std::array allFaults{Fault::childrenDie, Fault::nextSaveFails, Fault::nothingCanBeSaved,
                               Fault::orvelDies};

// How Codex behaves in a scenario.
struct Manner {
    const char* name;
    std::function<void(SimulatedCodex&)> arrange;
};

class Relay {
  public:
    Relay(const Manner& manner, int faultyStep, Fault fault)
        : faultyStep(faultyStep),
          fault(fault),
          codex(desktop.processes, desktop.loop, "/tools/codex", folder.path("home/.codex")) {
        CodexTranscript transcript({.id = codexID});
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl",
                     transcript.ask("q1").answer("a1").text());
        ClaudeTranscript source({.id = claudeID});
        folder.write("home/.claude/projects/-code/" + std::string(claudeID) + ".jsonl",
                     source.ask("c1").answer("d1").text());
        desktop.processes.environment["PATH"] = "/tools";
        manner.arrange(codex);
        start();
        model->catalogue.discoverConversations();
        desktop.loop.run();
        for (const auto agent : {Agent::claude, Agent::codex}) {
            for (const auto& reference : model->catalogue.state().catalog.get())
                if (reference.agent == agent) model->links.chooseEndpoint(reference);
            desktop.loop.run();
        }
        model->workspace.setInstruction("Look at this.");
        desktop.processes.beforeStep = [this](std::string_view name) { step(name); };
        desktop.files.beforeReplacing = [this](const std::string& path) {
            step("save");
            if (isDead || cannotSave || std::exchange(nextSaveFails, false))
                throw FileError(FileError::Case::outOfSpace, "save", path, "No space left on device");
        };
    }

    /// The person presses Send and waits for a minute.
    void send() {
        model->outbox.sendRelay();
        desktop.loop.runFor(60s);
    }

    /// Whatever was wrong is over; Orvel may have to be started again.
    void recover() {
        const bool wasDead = isDead;
        fault = Fault::none;
        cannotSave = nextSaveFails = isDead = false;
        if (wasDead) {
            model.reset();
            start();
            model->links.restoreRelay();
        }
        settle();
    }

    void settle() {
        desktop.loop.runFor(60s);
        model->receipts.checkRelayReceipts();
        desktop.loop.runFor(60s);
    }

    /// Until the last watch has ended.
    void waitForAll() { desktop.loop.run(); }

    int steps() const { return stepCount; }
    OrvelModel& orvel() { return *model; }
    const std::vector<std::string>& broken() const { return brokenRules; }
    int children() const { return desktop.processes.running(); }
    const SimulatedCodex& program() const { return codex; }

    const RelayTransfer* transfer() const {
        const auto& transfers = model->ledger.state().relayState->transfers;
        return transfers.empty() ? nullptr : &transfers.back();
    }

    /// How often the message stands in the destination or waits there.
    int deliveries() const {
        int count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path("home/.codex")))
            if (entry.is_regular_file()) {
                const auto text = contentsOf(entry.path());
                // Twice in a transcript: as the message, and at the head of the reply that quotes it.
                for (auto at = text.find(R"("text":"Look at this.)"); at != text.npos;
                     at = text.find(R"("text":"Look at this.)", at + 1))
                    ++count;
                if (entry.path().extension() != ".jsonl" && text.find("Look at this.") != text.npos) ++count;
            }
        return count;
    }

    bool memoryEqualsDisk() const {
        const auto path = folder.path("data/relay-state.json");
        return model->ledger.state().relayState.get() == readRelayState(path);
    }

  private:
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";

    void start() {
        const auto home =
            AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
        model.emplace(desktop.ports(), claude, home, folder.path("data/state.json"));
        mayRetry = false;
        subscription = model->changes().subscribe([this] { watchRetry(); });
    }

    // At the very moment when a retry is offered, nothing may have gone in; a moment later the receipt would
    // have taken the offer back.
    void watchRetry() {
        const auto* pending = transfer();
        const bool offered = pending && pending->isPending() && model->outbox.state().mayRetry(*pending);
        if (offered && !std::exchange(mayRetry, offered) && deliveries() > 0)
            brokenRules.emplace_back("a retry was offered for a message that had gone in");
        mayRetry = offered;
    }

    void step(std::string_view name) {
        if (name == "start") checkSavedBefore();
        if (std::exchange(lastStep, name) == name) return; // Looking again is no new step.
        if (++stepCount != faultyStep) {
            if (isDead && name == "start") throw ProcessError(ProcessError::Case::launchFailed, "dead");
            return;
        }
        switch (fault) {
        case Fault::none: return;
        case Fault::nextSaveFails: nextSaveFails = true; return;
        case Fault::nothingCanBeSaved: cannotSave = true; return;
        case Fault::orvelDies: isDead = true; break;
        case Fault::childrenDie: break;
        }
        // A child may not end inside its own code.
        desktop.loop.post([this] { desktop.processes.killAll(); });
        if (isDead && name == "start") throw ProcessError(ProcessError::Case::launchFailed, "dead");
    }

    // Before the tool that delivers runs, the message is on the disk, and not to be repeated on its own.
    void checkSavedBefore() {
        if (isDead) return;
        const auto saved = readRelayState(folder.path("data/relay-state.json"));
        if (saved.transfers.empty())
            brokenRules.emplace_back("a child was started before the message was saved");
        else if (saved.transfers.back().retryable != false && saved.transfers.back().isPending())
            brokenRules.emplace_back("the record did not say that a delivery was under way");
    }

    TemporaryFolder folder = TemporaryFolder::quick();
    SimulatedDesktop desktop;
    FakeClaudeSender claude{desktop.loop};
    int stepCount = 0;
    std::string lastStep;
    int faultyStep;
    Fault fault;
    bool isDead = false, cannotSave = false, nextSaveFails = false;
    std::vector<std::string> brokenRules;
    SimulatedCodex codex;
    std::optional<OrvelModel> model;
    bool mayRetry = false;
    ChangeSignal::Subscription subscription;
};

const std::vector<Manner>& manners() {
    static const std::vector<Manner> all{
        {"ordinary", [](SimulatedCodex&) {}},
        {"the turn fails", [](SimulatedCodex& codex) { codex.manner.turnsFail = true; }},
        {"another program holds the conversation",
         [](SimulatedCodex& codex) { codex.holdAsAnother("01a1fd20-0000-7000-8000-000000000001"); }},
        {"no server", [](SimulatedCodex& codex) { codex.hasServer = false; }},
        {"the queue refuses",
         [](SimulatedCodex& codex) {
             codex.queueStores = false;
             codex.queueStatus = 1;
         }},
        {"the queue stores and never ends", [](SimulatedCodex& codex) { codex.queueEnds = false; }},
    };
    return all;
}

// What must hold after each run, and again once everything works and the person has retried what may be.
void judge(Relay& relay) {
    EXPECT_THAT(relay.broken(), testing::IsEmpty());
    EXPECT_TRUE(relay.memoryEqualsDisk());
    EXPECT_THAT(relay.program().complaints(), testing::IsEmpty());
    const auto delivered = relay.deliveries();
    EXPECT_LE(delivered, 1);
    const auto& model = relay.orvel();
    EXPECT_FALSE(model.outbox.state().operation.isSending() || model.outbox.state().operation.isPreparing() ||
                 model.receipts.isChecking());
    EXPECT_EQ(relay.children(), static_cast<int>(model.outbox.watchedTurns().size()));
    if (const auto* transfer = relay.transfer()) {
        const bool mayRetry = transfer->isPending() && model.outbox.state().mayRetry(*transfer);
        EXPECT_FALSE(mayRetry && delivered > 0);
        EXPECT_TRUE(transfer->isPending() || delivered == 1);
    } else {
        EXPECT_EQ(delivered, 0);
    }
}

class CodexRelayFaultsTest : public testing::TestWithParam<std::size_t> {};

TEST_P(CodexRelayFaultsTest, NoFaultAtAnyStepDeliversTwiceOrLoses) {
    const auto& manner = manners()[GetParam()];
    SCOPED_TRACE(manner.name);
    int steps = 0;
    {
        Relay relay(manner, 0, Fault::none);
        relay.send();
        steps = relay.steps();
        relay.settle();
        judge(relay);
        relay.waitForAll();
        EXPECT_EQ(relay.children(), 0);
    }
    ASSERT_GT(steps, 3);
    for (const auto fault : allFaults)
        for (int step = 1; step <= steps; ++step) {
            SCOPED_TRACE(fmt::format("fault {} at step {} of {}", static_cast<int>(fault), step, steps));
            Relay relay(manner, step, fault);
            relay.send();
            relay.recover();
            judge(relay);
            // The person sends, or sends again, what may be sent.
            if (relay.orvel().outbox.canSendRelay()) {
                relay.send();
                relay.settle();
                judge(relay);
            }
            if (testing::Test::HasFailure()) return;
        }
}

INSTANTIATE_TEST_SUITE_P(Manners, CodexRelayFaultsTest, testing::Range<std::size_t>(0, 6));

// The exchange is the same whether the bytes come one by one or all at once.
TEST(CodexRelayTest, AWholeRelayRunsFromSendToReceipt) {
    Relay relay(manners()[0], 0, Fault::none);
    relay.send();
    relay.settle();
    ASSERT_TRUE(relay.transfer());
    EXPECT_FALSE(relay.transfer()->isPending());
    EXPECT_EQ(relay.orvel().workspace.state().source.get(), Agent::codex);
    EXPECT_EQ(relay.orvel().workspace.state().conversation.get()->messages.size(), 4U);
    EXPECT_FALSE(relay.orvel().notices.error());
    EXPECT_EQ(relay.children(), 0);
}

} // namespace
} // namespace orvel
