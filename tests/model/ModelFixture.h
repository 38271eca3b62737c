#pragma once
// A model on a simulated desktop, over a home folder of its own.

#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "TemporaryFolder.h"
#include "model/FakeClaudeSender.h"
#include "samples/TranscriptWriter.h"

namespace orvel {

class ModelFixture : public testing::Test {
  protected:
    static constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";
    static constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";

    /// The model, made when it is first asked for, so that a test can write its files before.
    OrvelModel& model() {
        if (!made)
            made = std::make_unique<OrvelModel>(desktop.ports(), claude, folders(),
                                                folder.path("data/state.json"));
        return *made;
    }

    /// Ends the model as a crash does; the next one begins with what is on the disk.
    void crash() { made.reset(); }

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config"));
    }

    const WorkspaceState& session() { return model().workspace.state(); }
    std::string errorText() { return model().notices.error().value_or(""); }

    /// A Codex conversation of two questions and answers, "q1", "a1", "q2", "a2".
    std::string writeCodex() const {
        CodexTranscript transcript({.id = codexID, .workingDirectory = "/code/compiler"});
        transcript.ask("q1").answer("a1").ask("q2").answer("a2");
        return folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl", transcript.text());
    }

    /// A Claude conversation that ends with the user's message "c2".
    std::string writeBusyClaude() const {
        ClaudeTranscript transcript({.id = claudeID, .workingDirectory = "/code/site"});
        transcript.ask("c1").answer("d1").ask("c2");
        return folder.write("home/.claude/projects/-code-site/" + std::string(claudeID) + ".jsonl",
                            transcript.text());
    }

    void load(const std::string& path) {
        model().workspace.load(path);
        desktop.loop.run();
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    FakeClaudeSender claude{desktop.loop};

  private:
    std::unique_ptr<OrvelModel> made;
};

} // namespace orvel
