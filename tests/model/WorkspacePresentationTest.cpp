// What a screen is given for each state of the model.

#include "model/ModelFixture.h"

#include "Orvel/model/BusyWords.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <chrono>

namespace orvel {
namespace {

using namespace std::chrono_literals;

using WorkspacePresentationTest = ModelFixture;

TEST_F(WorkspacePresentationTest, AnUntouchedModelShowsAnEmptyWorkspaceAndWritesNothing) {
    const auto snapshot = workspaceSnapshot(model().view());
    EXPECT_EQ(snapshot.state, OrvelWorkspaceState{});
    EXPECT_TRUE(snapshot.endpoints.empty());
    EXPECT_EQ(snapshot.destination, "Claude");
    EXPECT_EQ(snapshot.sourceLabel, "Codex");
    EXPECT_EQ(snapshot.contextID, "empty");
    EXPECT_FALSE(snapshot.canCopy);
    EXPECT_FALSE(snapshot.hasRange);
    EXPECT_EQ(snapshot.statusTitle(), "Choose a conversation");
    EXPECT_EQ(model().notices.status(), "Open a conversation file or paste a conversation.");
    EXPECT_FALSE(std::filesystem::exists(folder.path("data")));
}

TEST_F(WorkspacePresentationTest, TheTitleSaysWhatMattersMost) {
    struct Case {
        const char* title;
        bool canCopy;
        std::function<void()> act;
    };
    const auto codex = writeCodex();
    const auto claude = writeBusyClaude();
    const std::vector<Case> cases{
        {"Ready · Instructions only", true,
         [&] {
             model().workspace.setInstruction("note");
             model().workspace.setManualText(" ");
         }},
        {"Ready", true, [&] { model().workspace.setManualText("pasted"); }},
        {"Loading conversation…", false,
         [&] {
             model().workspace.setInstruction("");
             model().workspace.load(codex);
         }},
        {"Ready", true, [&] { desktop.loop.run(); }},
        {"Couldn't complete the action", true, [&] { model().commandInbox.open("bad"); }},
        {"Waiting for Claude", false,
         [&] {
             model().workspace.openFile(claude);
             desktop.loop.run();
         }},
        {"Choose a conversation", false, [&] { model().workspace.useManualInput(); }},
        {"Up to date", false, [&] { model().workspace.setManualText(" "); }},
    };
    for (const auto& [title, canCopy, act] : cases) {
        act();
        const auto snapshot = workspaceSnapshot(model().view());
        EXPECT_EQ(snapshot.statusTitle(), title);
        EXPECT_EQ(snapshot.canCopy, canCopy) << title;
        EXPECT_EQ(snapshot.previewSize, model().workspace.relay().preview().size());
    }
}

TEST_F(WorkspacePresentationTest, TheCardBearsTheBestKnownTitle) {
    const auto path = writeCodex();
    load(path);
    EXPECT_EQ(workspaceSnapshot(model().view()).endpoints.front(),
              (OrvelWorkspaceSnapshot::Endpoint{"codex", Agent::codex, "Codex", "rollout-one", "From"}));
    model().catalogue.discoverConversations();
    desktop.loop.run();
    EXPECT_EQ(workspaceSnapshot(model().view()).endpoints.front().title, "compiler · 01a1fd20");
    model().catalogue.readNames(model().catalogue.state().catalog.get());
    desktop.loop.run();
    EXPECT_EQ(workspaceSnapshot(model().view()).endpoints.front().title, "q1");
    folder.write("home/.codex/session_index.jsonl",
                 R"({"id":")" + std::string(codexID) + R"(","thread_name":"Parser"})");
    model().catalogue.discoverConversations();
    desktop.loop.run();
    EXPECT_EQ(workspaceSnapshot(model().view()).endpoints.front().title, "Parser");
}

TEST_F(WorkspacePresentationTest, ATranscriptThatEndsWithinATurnIsSaidToBeSilent) {
    const auto path = writeBusyClaude();
    model().catalogue.discoverConversations();
    desktop.loop.run();
    const auto reference = model().catalogue.state().catalog->front();
    const auto line = [&] { return workspaceSnapshot(model().view()).statusLine.value_or(""); };
    const auto readAfter = [&](std::chrono::seconds silence) {
        const auto now = std::chrono::file_clock::from_sys(
            std::chrono::sys_seconds(std::chrono::seconds(978'307'200 + std::int64_t(desktop.loop.now()))));
        std::filesystem::last_write_time(path, now - silence);
        model().workspace.chooseSource(reference);
        desktop.loop.run();
    };
    readAfter(1min);
    EXPECT_EQ(line(), "");
    readAfter(3h + 1min);
    EXPECT_TRUE(line().starts_with("Claude has written nothing here for 3 h")) << line();
    EXPECT_EQ(workspaceSnapshot(model().view()).statusTitle(), "Waiting for Claude");
}

TEST_F(WorkspacePresentationTest, AConversationWhoseClaudeCodeIsGoneIsSaidToBeAbandoned) {
    writeBusyClaude();
    model().catalogue.discoverConversations();
    desktop.loop.run();
    const auto reference = model().catalogue.state().catalog->front();
    const auto line = [&] {
        model().workspace.chooseSource(reference);
        desktop.loop.run();
        return workspaceSnapshot(model().view()).statusLine.value_or("");
    };
    EXPECT_EQ(line(), "") << "Without any note nothing is known.";
    folder.write("home/.claude/sessions/41.json",
                 R"({"pid":41,"procStart":"9","sessionId":")" + reference.sessionID + R"("})");
    EXPECT_TRUE(line().starts_with("Claude ended in the middle of a turn")) << line();
    desktop.processes.strangers[41] = "9";
    EXPECT_EQ(line(), "");
}

TEST(BusyWords, SayOnlyWhatIsKnown) {
    const auto words = [](const AgentActivity& activity) {
        return wordsForBusy(Agent::codex, activity).value_or("");
    };
    EXPECT_EQ(words({}), "");
    EXPECT_EQ(words({.silence = 9min + 59s}), "");
    EXPECT_TRUE(words({.silence = 10min}).starts_with("Codex has written nothing here for 10 min,"));
    EXPECT_TRUE(words({.silence = 119min}).starts_with("Codex has written nothing here for 1 h,"));
    EXPECT_TRUE(words({.silence = 48h}).starts_with("Codex has written nothing here for 2 days,"));
    EXPECT_TRUE(words({.processIsGone = true, .silence = 1s}).starts_with("Codex ended in the middle"));
}

} // namespace
} // namespace orvel
