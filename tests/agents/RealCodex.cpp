#include "agents/RealCodex.h"

#include "Orvel/reading/CodexThreadLoader.h"
#include "SavedTransfers.h"

#include <array>
#include <filesystem>

namespace orvel {

void RealCodex::SetUp() {
    RealAgents::SetUp();
    if (IsSkipped()) return;
    reading = std::make_unique<ConversationReader>(world.loop, world.processes, folder.path("home"));
    sender = std::make_unique<CodexRelaySender>(world.loop, world.processes, *reading, folder.path("home"));
}

void RealCodex::TearDown() {
    sender.reset();
    endServer();
}

std::unique_ptr<ChildProcess> RealCodex::codex(std::vector<std::string> arguments) {
    return world.processes.start({.executable = tool, .arguments = std::move(arguments)});
}

std::optional<int> RealCodex::statusOf(std::vector<std::string> arguments) {
    return world.statusOf({.executable = tool, .arguments = std::move(arguments)});
}

void RealCodex::startServer() {
    server = codex({"app-server", "--listen", "unix://"});
    ASSERT_TRUE(world.runUntil([&] { return serverAnswers(); })) << "Codex's server does not answer.";
}

// The proxy ends with status 1 while there is no server; with one it waits for its client.
bool RealCodex::serverAnswers() {
    return std::filesystem::exists(folder.path("codex/app-server-control/app-server-control.sock"));
}

void RealCodex::endServer() {
    if (!server) return;
    server->terminate();
    world.runUntil([&] { return server->exitStatus().has_value(); });
    server.reset();
}

// A server of its own, which speaks in lines on its pipes.
std::unique_ptr<ChildProcess> RealCodex::holdAsAnother(const ConversationReference& reference) {
    auto other = world.processes.start({.executable = tool, .arguments = {"app-server"}, .hasPipes = true});
    const auto lines =
        R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"other","title":"Other","version":"1"}}})"
        "\n"
        R"({"method":"initialized"})"
        "\n"
        R"({"id":2,"method":"thread/resume","params":{"threadId":")" +
        reference.sessionID + "\"}}\n";
    EXPECT_EQ(other->write(lines).count, lines.size());
    std::string said;
    EXPECT_TRUE(world.runUntil([&] {
        std::array<char, 4096> bytes{};
        const auto got = other->read(bytes);
        if (got.kind == PipeTransfer::Kind::moved) said.append(bytes.data(), got.count);
        return said.find("\"id\":2,\"result\"") != said.npos;
    })) << said;
    return other;
}

ConversationReference RealCodex::begin(const std::string& message) {
    return newest(Agent::codex,
                  {.executable = tool,
                   .arguments = {"exec", "--skip-git-repo-check", "-C", folder.path("home"), message}});
}

ConversationReference RealCodex::fork(const ConversationReference& of, const std::string& message) {
    return newest(
        Agent::codex,
        {.executable = tool, .arguments = {"exec", "fork", "--skip-git-repo-check", of.sessionID, message}});
}

Task<void> RealCodex::readHistory(ConversationReference reference, bool preferLocalTranscript,
                                  SharedConversation& into) {
    into = co_await CodexThreadLoader::readHistory(world.loop, world.processes, tool, std::move(reference),
                                                   preferLocalTranscript);
}

SharedConversation RealCodex::history(const ConversationReference& reference, bool preferLocalTranscript) {
    auto result = std::make_shared<const Conversation>();
    EXPECT_EQ(world.outcomeOf(readHistory(reference, preferLocalTranscript, result)), "done");
    return result;
}

std::string RealCodex::send(const std::string& text, const ConversationReference& to) {
    return world.outcomeOf(sender->send(savedTransfer(text), to, [this](const std::string& failure) {
        lifecycleFailures.push_back(failure);
    }));
}

} // namespace orvel
