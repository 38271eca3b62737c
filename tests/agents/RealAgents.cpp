#include "agents/RealAgents.h"

#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"
#include "conversations/Outcome.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace orvel {

namespace {

std::string codexConfiguration(const std::string& port) {
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

std::string RealAgents::variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

void RealAgents::setVariable(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}

void RealAgents::SetUp() {
    if (tool.empty()) GTEST_SKIP() << "The environment names no program; scripts/test-agents does.";
    // A change of these reaches every child, as a person's own environment would.
    static const std::string searchPath = variable("PATH");
    setVariable("PATH", std::string(parentFolder(tool)) + ':' + searchPath);
    setVariable("HOME", folder.path("home"));
    setVariable("CODEX_HOME", folder.path("codex"));
    setVariable("CLAUDE_CONFIG_DIR", folder.path("claude"));
    for (const auto* name : {"ORVEL_MODEL_KEY", "ANTHROPIC_API_KEY"}) setVariable(name, "none");
    for (const auto* name : {"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "DISABLE_TELEMETRY",
                             "DISABLE_ERROR_REPORTING", "DISABLE_AUTOUPDATER"})
        setVariable(name, "1");
    std::filesystem::create_directories(folder.path("home"));

    modelServer = world.processes.start({.executable = variable("ORVEL_NODE"),
                                         .arguments = {MODEL_SERVER, folder.path("port")},
                                         .hasPipes = true});
    ASSERT_TRUE(world.runUntil([&] { return std::filesystem::exists(folder.path("port")); }));
    const auto port = contentsOf(folder.path("port"));
    folder.write("codex/config.toml", codexConfiguration(port));
    setVariable("ANTHROPIC_BASE_URL", "http://127.0.0.1:" + port);
}

std::vector<ConversationReference> RealAgents::conversations(Agent agent) const {
    const std::array<ConversationRoot, 2> roots{
        {{Agent::codex, folder.path("codex/sessions")}, {Agent::claude, folder.path("claude/projects")}}};
    auto found = ConversationCatalog::discover(roots, std::nullopt);
    std::erase_if(found, [&](const auto& reference) { return reference.agent != agent; });
    return found;
}

ConversationReference RealAgents::newest(Agent agent, const ChildLaunch& launch) {
    std::set<std::string> known;
    for (const auto& reference : conversations(agent)) known.insert(reference.sessionID);
    EXPECT_EQ(world.statusOf(launch), 0);
    for (const auto& reference : conversations(agent))
        if (known.count(reference.sessionID) == 0) return reference;
    throw std::runtime_error("The agent made no conversation.");
}

std::string RealAgents::outcome(const ConversationReference& reference) const {
    return outcomeOf(TranscriptReader::read(reference.transcriptPath, reference.agent));
}

std::string RealAgents::outcomeEndingWith(const std::string& end, const ConversationReference& reference) {
    world.runUntil([&] { return outcome(reference).ends_with(end); });
    return outcome(reference);
}

} // namespace orvel
