#include "agents/RealCodex.h"

#include "Orvel/reading/CodexThreadLoader.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"
#include "SavedTransfers.h"
#include "conversations/Outcome.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace orvel {

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

void setVariable(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}

std::string configuration(const std::string& port) {
    return "model = \"local\"\n"
           "model_provider = \"local\"\n"
           "approval_policy = \"never\"\n"
           "sandbox_mode = \"read-only\"\n"
           "check_for_update_on_startup = false\n"
           "[model_providers.local]\n"
           "name = \"Local\"\n"
           "base_url = \"http://127.0.0.1:" +
           port +
           "/v1\"\n"
           "wire_api = \"responses\"\n"
           "env_key = \"ORVEL_MODEL_KEY\"\n"
           "request_max_retries = 0\n"
           "stream_max_retries = 0\n"
           "[analytics]\n"
           "enabled = false\n";
}

} // namespace

void RealCodex::SetUp() {
    tool = variable("ORVEL_CODEX");
    if (tool.empty()) GTEST_SKIP() << "ORVEL_CODEX names no program; scripts/test-agents does.";
    // A change of these reaches every child, as a person's own environment would.
    static const std::string searchPath = variable("PATH");
    setVariable("PATH", std::string(parentFolder(tool)) + ':' + searchPath);
    setVariable("HOME", folder.path("home"));
    setVariable("CODEX_HOME", folder.path("codex"));
    setVariable("ORVEL_MODEL_KEY", "none");
    std::filesystem::create_directories(folder.path("home"));

    modelServer = world.processes.start({.executable = variable("ORVEL_NODE"),
                                         .arguments = {MODEL_SERVER, folder.path("port")},
                                         .hasPipes = true});
    ASSERT_TRUE(world.runUntil([&] { return std::filesystem::exists(folder.path("port")); }));
    folder.write("codex/config.toml", configuration(contentsOf(folder.path("port"))));
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

std::vector<ConversationReference> RealCodex::conversations() const {
    const std::array<ConversationRoot, 1> roots{{{Agent::codex, folder.path("codex/sessions")}}};
    return ConversationCatalog::discover(roots, std::nullopt);
}

ConversationReference RealCodex::newest(const std::vector<std::string>& arguments) {
    std::set<std::string> known;
    for (const auto& reference : conversations()) known.insert(reference.sessionID);
    EXPECT_EQ(statusOf(arguments), 0);
    for (const auto& reference : conversations())
        if (known.count(reference.sessionID) == 0) return reference;
    throw std::runtime_error("Codex made no conversation.");
}

ConversationReference RealCodex::begin(const std::string& message) {
    return newest({"exec", "--skip-git-repo-check", "-C", folder.path("home"), message});
}

ConversationReference RealCodex::fork(const ConversationReference& of, const std::string& message) {
    return newest({"exec", "fork", "--skip-git-repo-check", of.sessionID, message});
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

std::string RealCodex::outcome(const ConversationReference& reference) const {
    return outcomeOf(TranscriptReader::read(reference.transcriptPath, Agent::codex));
}

std::string RealCodex::outcomeEndingWith(const std::string& end, const ConversationReference& reference) {
    world.runUntil([&] { return outcome(reference).ends_with(end); });
    return outcome(reference);
}

} // namespace orvel
