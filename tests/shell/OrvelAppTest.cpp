// The application behind its windows: its start, and whether it may quit.

#include "Orvel/shell/OrvelApp.h"

#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "TemporaryFolder.h"
#include "samples/TranscriptWriter.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(QuitRules, RefuseWhatWouldBreakOffAndWaitForWhatEndsByItself) {
    const struct {
        const char* name;
        QuitState state;
        QuitDecision decision;
    } cases[] = {
        {"nothing", {}, QuitDecision::allow},
        {"message", {.isWorkUnderWay = true}, QuitDecision::refuseForWork},
        {"receipts", {.isCheckingReceipts = true}, QuitDecision::wait},
        {"receipts for long",
         {.isCheckingReceipts = true, .isPatienceExhausted = true},
         QuitDecision::refuseForWork},
        {"draft that is being saved", {.isSavingRecords = true, .hasUnsavedDraft = true}, QuitDecision::wait},
        {"draft that is not saved in time",
         {.isSavingRecords = true, .hasUnsavedDraft = true, .isPatienceExhausted = true},
         QuitDecision::refuseForDraft},
        {"draft that can't be saved", {.hasUnsavedDraft = true}, QuitDecision::refuseForDraft},
        {"message and draft", {.isWorkUnderWay = true, .hasUnsavedDraft = true}, QuitDecision::refuseForWork},
        {"a save without a draft, for long",
         {.isSavingRecords = true, .isPatienceExhausted = true},
         QuitDecision::allow},
    };
    for (const auto& [name, state, decision] : cases) EXPECT_EQ(decideQuit(state), decision) << name;
}

class OrvelAppTest : public testing::Test {
  protected:
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";
    static constexpr auto busy =
        "A transfer or preparation is still running. Wait for it to finish, then quit "
        "or install the update again.";

    void SetUp() override {
        desktop.processes.environment["PATH"] = "/tools";
        CodexTranscript codex({.id = codexID, .workingDirectory = "/code/lark"});
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl", codex.ask("q").answer("a").text());
        ClaudeTranscript claude({.id = claudeID, .workingDirectory = "/code/lark"});
        folder.write("home/.claude/projects/-code-lark/" + std::string(claudeID) + ".jsonl",
                     claude.ask("c").answer("d").text());
    }

    OrvelApp& make() {
        app.emplace(desktop.ports(), folders(), folder.path("data/state.json"), ClockStyle(), "1.0");
        app->screens = {
            .showSetup = [this] { ++setups; },
            .showFailure = [this](const auto& message, const auto&) { failures.push_back(message); },
            .dismissFailure = [this] { ++dismissed; }};
        return *app;
    }

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
    }

    void link() {
        desktop.loop.runFor(1s);
        const auto find = [&](Agent agent) {
            for (const auto& reference : app->model.catalogue.state().catalog.get())
                if (reference.agent == agent) return reference;
            ADD_FAILURE() << "no conversation";
            return ConversationReference();
        };
        app->model.workspace.chooseSource(find(Agent::claude));
        desktop.loop.runFor(1s);
        app->model.links.chooseEndpoint(find(Agent::codex));
        desktop.loop.runFor(1s);
        ASSERT_TRUE(app->model.workspace.relay().activePair());
    }

    /// Asks, lets the time pass, and gives the answer: "allowed", "no answer", or why not.
    std::string askToQuit(MainLoop::Duration time) {
        const auto answer = std::make_shared<std::string>("no answer");
        app->askToQuit(
            [answer](std::optional<std::string_view> refusal) { *answer = refusal.value_or("allowed"); });
        desktop.loop.runFor(time);
        return *answer;
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedCodex codex{desktop.processes, desktop.loop, "/tools/codex", folder.path("home/.codex")};
    int setups = 0, dismissed = 0;
    std::vector<std::string> failures;
    std::optional<OrvelApp> app;
};

TEST_F(OrvelAppTest, RefusesToQuitOnlyWhileAMessageIsUnderWay) {
    make().start();
    link();
    app->model.outbox.sendRelay();
    EXPECT_EQ(askToQuit(0s), busy);
    desktop.loop.runFor(60s);
    EXPECT_EQ(askToQuit(0s), "allowed");
    app->model.receipts.checkRelayReceipts();
    ASSERT_TRUE(app->model.receipts.isChecking());
    EXPECT_EQ(askToQuit(0s), "no answer");
    EXPECT_EQ(askToQuit(1s), "allowed") << "a pass of the receipts is over soon";
}

TEST_F(OrvelAppTest, SavesWhatWasTypedLastBeforeItQuits) {
    make().start();
    link();
    const auto& records = app->model.ledger.state();
    const auto& pair = app->model.workspace.relay().activePair()->id;
    const auto type = [&](const char* note) { app->model.workspace.setInstruction(note); };
    type("first");
    EXPECT_EQ(askToQuit(100ms), "allowed");
    EXPECT_EQ(records.relayState->draft(pair, Agent::claude).instruction, "first");

    const std::string unsaved = "Your latest changes couldn’t be saved. Orvel will stay open. The last note "
                                "or range edit could not be "
                                "saved. Resolve the save error and save the edit again before quitting.";
    desktop.files.isFull = true;
    type("second");
    EXPECT_EQ(askToQuit(100ms), unsaved);
    desktop.files.isFull = false;
    desktop.files.duration = 20s;
    type("third");
    EXPECT_EQ(askToQuit(4s), "no answer");
    EXPECT_THAT(askToQuit(6s), testing::AnyOf(unsaved, busy))
        << "a disk that takes no more is not waited for";
}

TEST_F(OrvelAppTest, APassOfTheReceiptsIsWaitedForButNotForEver) {
    make().start();
    link();
    desktop.loop.setBackgroundDuration(20s);
    app->model.receipts.checkRelayReceipts();
    EXPECT_EQ(askToQuit(4s), "no answer");
    EXPECT_EQ(askToQuit(6s), busy);
}

TEST_F(OrvelAppTest, TheStartRestoresFindsAndWatches) {
    make().start();
    link();
    desktop.loop.runFor(1s);
    folder.write("data/captured-command", "Kept instructions");
    int looks = 0;
    make();
    app->model.receipts.onLooked = [&](const auto&) { ++looks; };
    app->start();
    desktop.loop.runFor(1s);
    const int atStart = looks;
    desktop.loop.runFor(2s);
    EXPECT_GT(looks, atStart);
    EXPECT_EQ(app->model.ledger.state().relayState->pairs.size(), 1U);
    EXPECT_THAT(app->model.notices.error().value_or(""), testing::HasSubstr("Kept instructions"));
    EXPECT_EQ(app->model.catalogue.state().catalog->size(), 2U);
    EXPECT_TRUE(app->monitoring.lifecycle.isMonitoring());
    app->didAllowTermination();
    EXPECT_FALSE(app->monitoring.lifecycle.isMonitoring());
}

TEST_F(OrvelAppTest, TheSetupIsOfferedOnceWhereSomethingIsMissing) {
    const struct {
        const char* name;
        bool hasTap, isTrusted, hasKeybindings, isOfferedBefore;
        int offers;
    } cases[] = {{"everything is there", true, true, true, false, 0},
                 {"no permission", true, false, true, false, 1},
                 {"no keybindings", true, true, false, false, 1},
                 {"offered before", true, false, false, true, 0},
                 {"nothing to set up", false, false, false, false, 0}};
    for (const auto& [name, hasTap, isTrusted, hasKeybindings, isOfferedBefore, offers] : cases) {
        desktop.keyboard.exists = hasTap;
        desktop.accessibility.trusted = isTrusted;
        desktop.settings.values.clear();
        if (hasKeybindings)
            desktop.settings.setString("confirmedCodexKeybindingsPath", "/k/keybindings.json");
        if (isOfferedBefore) desktop.settings.setFlag("hasOfferedOrvelSetup", true);
        setups = 0;
        make().start();
        desktop.loop.runFor(1s);
        EXPECT_EQ(setups, offers) << name;
        EXPECT_EQ(desktop.settings.flag("hasOfferedOrvelSetup"), offers > 0 || isOfferedBefore) << name;
        EXPECT_EQ(app->monitoring.lifecycle.isMonitoring(), hasTap && isTrusted) << name;
    }
}

TEST_F(OrvelAppTest, ChoicesOutliveTheRun) {
    for (const bool isChosen : {false, true, false}) {
        make().allowClaudeCode(isChosen);
        app->showDeveloperTools(isChosen);
        make();
        EXPECT_EQ(app->model.outbox.state().mayUseClaudeCode.get(), isChosen);
        EXPECT_EQ(app->showsDeveloperTools(), isChosen);
    }
}

} // namespace
} // namespace orvel
