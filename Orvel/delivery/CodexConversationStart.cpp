#include "Orvel/delivery/CodexConversationStart.h"

#include "Orvel/reading/AgentTool.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/text/UUID.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr auto pollInterval = 500ms;
constexpr int maximumPolls = 120;
constexpr auto turnTimeout = 3600s;

// The identifier stands in the first line.
constexpr std::size_t maximumOutput = 1'048'576;

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

// The first message that a person wrote, if there is one.
const Message* firstQuestion(const Conversation& conversation) {
    const auto first = std::find_if(conversation.messages.begin(), conversation.messages.end(),
                                    [](const Message& message) { return message.role == "user"; });
    return first == conversation.messages.end() ? nullptr : &*first;
}

} // namespace

bool isCompletedCodex(const ConversationReference& reference, const Conversation& conversation,
                      std::string_view payload) {
    const auto* first = firstQuestion(conversation);
    const auto isReply = [](const Message& message) { return message.role == "assistant"; };
    return reference.agent == Agent::codex && conversation.id == reference.sessionID &&
           !conversation.isBusy && !conversation.hasAmbiguousBranches && first && first->text == payload &&
           std::any_of(conversation.messages.begin(), conversation.messages.end(), isReply);
}

CodexConversationStart::CodexConversationStart(MainLoop& loop, Processes& processes,
                                               ConversationReader& reading, AgentFolders folders)
    : loop(loop), processes(processes), reading(reading), folders(std::move(folders)) {}

std::optional<std::string> CodexConversationStart::refusal(const std::optional<std::string>& folder) const {
    const bool isReady = folder && isFolder(*folder) && agentTool(Agent::codex, processes, folders.home);
    return isReady ? std::nullopt : std::optional<std::string>("Check Codex CLI and the working folder.");
}

Task<ConversationReference> CodexConversationStart::start(RelayInitialTransfer transfer, std::string folder,
                                                          Completion onCompletion) {
    if (const auto obstacle = refusal(folder)) throw RelaySendError(*obstacle, true);
    const auto tool = *agentTool(Agent::codex, processes, folders.home);
    std::unique_ptr<ChildProcess> child;
    try {
        child = processes.start({.executable = tool,
                                 .arguments = {"exec", "--json", "--skip-git-repo-check", "-C", folder, "-"},
                                 .environment = toolEnvironment(tool, processes),
                                 .unattendedInput = *transfer.payload});
    } catch (const ProcessError&) {
        throw RelaySendError("Couldn't start Codex.", true);
    }
    // From here on only a transcript can tell whether the message went in.
    std::optional<std::string> threadID;
    for (int poll = 0; poll < maximumPolls; ++poll) {
        const bool hasEnded = child->exitStatus().has_value();
        if (!threadID) threadID = startedThreadID(child->said(maximumOutput));
        if (threadID) {
            auto conversation = co_await found(*threadID, *transfer.payload);
            if (conversation) {
                tasks.start(watch(std::move(child), *conversation, std::move(onCompletion)));
                co_return *std::move(conversation);
            }
        } else if (hasEnded) {
            break;
        }
        co_await loop.sleep(pollInterval);
    }
    throw RelaySendError("Couldn't confirm delivery in the new Codex conversation. Processing may still be "
                         "running. Check Copy saved message and the conversation list without resending.");
}

// "{"type":"thread.started","thread_id":"01a1…"}"
std::optional<std::string> CodexConversationStart::startedThreadID(std::string_view output) {
    while (!output.empty()) {
        const auto line = output.substr(0, output.find('\n'));
        output.remove_prefix(std::min(line.size() + 1, output.size()));
        const auto event = nlohmann::json::parse(line, nullptr, false);
        if (!event.is_object() || event.value("type", nlohmann::json()) != "thread.started") continue;
        const auto id = event.find("thread_id");
        if (id != event.end() && id->is_string()) return id->get<std::string>();
    }
    return std::nullopt;
}

// The conversation, once it can be read and begins with the message.
Task<std::optional<ConversationReference>> CodexConversationStart::found(std::string threadID,
                                                                         std::string payload) {
    const auto find = [threadID, folders = folders] {
        return ConversationCatalog::resolve(Agent::codex, threadID, ConversationCatalog::list(folders));
    };
    try {
        auto reference = co_await loop.background(find);
        const auto conversation = co_await reading.readReference(reference);
        const auto* first = firstQuestion(*conversation);
        if (first && first->text == payload) co_return reference;
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        // Its file is being made.
    }
    co_return std::nullopt;
}

Task<void> CodexConversationStart::watch(std::unique_ptr<ChildProcess> child,
                                         ConversationReference conversation, Completion onCompletion) {
    const auto deadline = loop.uptime() + turnTimeout;
    watched[conversation.sessionID] = loop.uptime();
    while (!child->exitStatus() && loop.uptime() < deadline) co_await loop.sleep(pollInterval);
    watched.erase(conversation.sessionID);
    const auto status = child->exitStatus();
    std::optional<std::string> failure;
    if (!status)
        failure = "Codex has been at work on a message for an hour and goes on. Orvel no longer watches it.";
    else if (*status != 0)
        failure =
            fmt::format("Codex's turn ended with status {}. Check the conversation and delivery records "
                        "without resending.",
                        *status);
    onCompletion(conversation, failure);
}

} // namespace orvel
