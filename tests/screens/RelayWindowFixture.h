#pragma once
// A window on a simulated desktop, with conversations of both agents and the records of an earlier run.

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/screens/ConversationCard.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "TemporaryFolder.h"
#include "model/FakeClaudeSender.h"
#include "samples/TranscriptWriter.h"
#include "screens/WindowFixture.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include <QApplication>

namespace orvel {

class RelayWindowFixture : public WindowFixture {
  public:
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
    static constexpr auto otherCodexID = "01a1fd20-0000-7000-8000-000000000003";
    static constexpr auto otherClaudeID = "5b0d714f-0000-4000-8000-000000000004";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";

    void SetUp() override {
        write();
        CodexTranscript other({.id = otherCodexID, .workingDirectory = "/code/engine"});
        other.ask("q").answer("a");
        folder.write(codexPath(otherCodexID), other.text());
        std::string titles;
        for (const auto& [id, title] : {std::pair(codexID, "Parser"), std::pair(otherCodexID, "Presets")})
            titles += std::string(R"({"id":")") + id + R"(","thread_name":")" + title + "\"}\n";
        folder.write("home/.codex/session_index.jsonl", titles);
        ClaudeTranscript otherClaude({.id = otherClaudeID, .workingDirectory = "/code/engine"});
        otherClaude.ask("f").answer("g");
        folder.write(claudePath(otherClaudeID), otherClaude.text());
        for (const auto& [id, title] : {std::pair(claudeID, "Review"), std::pair(otherClaudeID, "Fuzzing")})
            folder.write("config/Claude/claude-code-sessions/one/local_" + std::string(title) + ".json",
                         std::string(R"({"sessionId":"local_)") + title + R"(","cliSessionId":")" + id +
                             R"(","cwd":"/code/compiler","title":")" + title + R"("})");
        simulated.processes.environment["PATH"] = "/opt";
    }

    static std::string codexPath(const std::string& id) {
        return "home/.codex/sessions/2026/11/20/rollout-2026-11-20T10-00-00-" + id + ".jsonl";
    }

    static std::string claudePath(const std::string& id) {
        return "home/.claude/projects/-code-compiler/" + id + ".jsonl";
    }

    void write() const {
        folder.write(codexPath(codexID), codexTranscript.text());
        folder.write(claudePath(claudeID), claudeTranscript.text());
    }

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
    }

    ConversationReference reference(const std::string& sessionID) const {
        for (const auto& known : ConversationCatalog::list(folders()))
            if (known.sessionID == sessionID) return known;
        ADD_FAILURE() << "no conversation " << sessionID;
        return {};
    }

    // The records, as an earlier run of Orvel left them

    void pairUp() { pairID = state.pair(reference(codexID), reference(claudeID), std::nullopt, stamp).id; }

    std::string prepare(Agent source, std::string_view instruction = "note") {
        const auto read = [&](Agent agent) {
            const auto known = reference(agent == Agent::codex ? codexID : claudeID);
            return TranscriptReader::read(known.transcriptPath, agent);
        };
        if (pairID.empty()) pairUp();
        return state
            .prepare({pairID, source, read(source), read(other(source)), instruction, std::nullopt}, stamp)
            .id;
    }

    /// A message that has arrived.
    void receive(Agent source, std::string_view instruction = "note", std::string_view answer = "a2") {
        const auto id = prepare(source, instruction);
        const auto& payload = *state.transfers.back().payload;
        if (source == Agent::claude)
            codexTranscript.ask(payload).answer(answer);
        else
            claudeTranscript.ask(payload).answer(answer);
        write();
        const auto known = reference(source == Agent::claude ? codexID : claudeID);
        state.markSubmitted(id);
        EXPECT_TRUE(state.reconcile(id, TranscriptReader::read(known.transcriptPath, other(source))));
    }

    // The window

    void open() {
        folder.write("data/relay-state.json", encodeRelayState(state));
        model = std::make_unique<OrvelModel>(simulated.ports(), claude, folders(),
                                             folder.path("data/state.json"));
        window = std::make_unique<MainWindow>(*model, simulated.ports(), WindowCommands());
        window->resize(1000, 700);
        window->show();
        model->links.restoreRelay();
        model->catalogue.discoverConversations();
        settle();
    }

    void settle() override { pass(std::chrono::milliseconds(10)); }

    void pass(MainLoop::Duration time) {
        simulated.loop.runFor(time);
        for (int i = 0; i < 3; ++i) QApplication::processEvents();
    }

    void openPair() {
        pairUp();
        open();
    }

    /// A chain of Claude's conversation, Codex's and another one of Claude's.
    void chainUp() {
        pairUp();
        state.extendLink(pairID, RelayLinkEnd::trailing, reference(otherClaudeID), stamp);
    }

    void openChain() {
        chainUp();
        open();
    }

    void openSubmitted(Agent source) {
        state.markSubmitted(prepare(source));
        open();
    }

    void failToSend(bool canRetry) {
        claude.failure = RelaySendError("The window vanished.", canRetry);
        openPair();
        trigger("Send to Claude");
        pass(std::chrono::seconds(2));
    }

    // Lets time pass until the window shows it, for an hour at most.
    void waitInWindow(const std::function<bool()>& condition) {
        for (int i = 0; i < 36'000 && !condition(); ++i) pass(std::chrono::milliseconds(100));
        EXPECT_TRUE(condition());
    }

    /// The names of the cards, from left to right.
    std::string cards() {
        QStringList names;
        for (auto* card : window->findChildren<ConversationCard*>())
            if (card->isVisible()) names += card->accessibleName();
        return utf8Text(names.join(" | "));
    }

    TemporaryFolder folder;
    CodexTranscript codexTranscript =
        CodexTranscript({.id = codexID, .workingDirectory = "/code/compiler"}).ask("q1").answer("a1");
    ClaudeTranscript claudeTranscript =
        ClaudeTranscript({.id = claudeID, .workingDirectory = "/code/compiler"}).ask("c1").answer("d1");
    RelayState state;
    std::string pairID;
    RelayStamp stamp{[count = std::make_shared<int>(0)] { return "ID-" + std::to_string(++*count); }, 1000};
    SimulatedDesktop simulated;
    FakeClaudeSender claude{simulated.loop};
};

} // namespace orvel
