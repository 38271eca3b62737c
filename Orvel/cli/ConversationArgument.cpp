#include "Orvel/cli/ConversationArgument.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/TerminalDesktop.h"
#include "Orvel/model/ReadNames.h"
#include "Orvel/reading/ConversationReader.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

namespace orvel {

namespace {

// More than Codex's server may take for its history.
constexpr std::chrono::seconds patience{60};

// A folder does not count: Claude names folders after sessions.
bool meansFile(const std::string& argument) {
    namespace fs = std::filesystem;
    if (argument.find('/') != argument.npos) return true;
    std::error_code ignored;
    return fs::exists(fs::symlink_status(argument, ignored)) && !fs::is_directory(argument, ignored);
}

NamedConversation readFile(const std::string& file, std::optional<Agent> agent) {
    const auto path = standardizedPath(file);
    if (!agent) agent = ConversationCatalog::recognizedAgent(path);
    auto conversation =
        std::make_shared<Conversation>(TranscriptReader::read(path, agent.value_or(Agent::codex)));
    auto title = conversation->title;
    return {std::move(conversation), std::move(title), path};
}

// By the whole identifier; nothing if nobody has it.
std::optional<ConversationReference> resolved(const std::string& id, std::optional<Agent> agent,
                                              std::span<const ConversationReference> references) {
    using enum ConversationCatalogError::Case;
    std::optional<ConversationReference> match;
    for (const auto each : allAgents) {
        if (agent && each != *agent) continue;
        try {
            auto found = ConversationCatalog::resolve(each, id, references);
            if (match) throw ConversationCatalogError(ambiguous);
            match = std::move(found);
        } catch (const ConversationCatalogError& error) {
            if (error.kind() != notFound) throw;
        }
    }
    return match;
}

struct Reading {
    SharedConversation conversation;
    std::exception_ptr failure;
};

Task<void> read(ConversationReader& conversations, ConversationReference reference, Reading& reading) {
    try {
        reading.conversation = co_await conversations.readReference(std::move(reference));
    } catch (...) {
        reading.failure = std::current_exception();
    }
}

SharedConversation readReference(const ConversationReference& reference, const Places& places) {
    TerminalDesktop desktop(places);
    ConversationReader conversations(desktop.ports().loop, desktop.ports().processes, places.folders.home);
    Reading reading;
    TaskScope tasks;
    tasks.start(read(conversations, reference, reading));
    if (!desktop.runUntil([&] { return tasks.isIdle(); }, patience))
        throw CommandFailure("timedOut", "The conversation took too long to read.");
    if (reading.failure) std::rethrow_exception(reading.failure);
    return reading.conversation;
}

} // namespace

NamedConversation readConversation(const std::string& fileOrID, std::optional<Agent> agent,
                                   const Places& places) {
    if (meansFile(fileOrID)) return readFile(fileOrID, agent);
    const auto reference = referenceNamed(fileOrID, agent, ConversationCatalog::list(places.folders));
    return {readReference(reference, places), shownTitle(reference, readNames(std::span(&reference, 1))),
            reference.transcriptPath};
}

ConversationReference referenceNamed(const std::string& id, std::optional<Agent> agent,
                                     std::span<const ConversationReference> references) {
    if (auto exact = resolved(id, agent, references)) return *std::move(exact);
    const auto begins = [&](const ConversationReference& reference) {
        return !id.empty() && (!agent || reference.agent == *agent) && reference.sessionID.starts_with(id);
    };
    const auto count = std::count_if(references.begin(), references.end(), begins);
    const auto with = agent ? fmt::format(" with {}", label(*agent)) : std::string();
    if (count == 0)
        throw CommandFailure(
            "notFound",
            fmt::format("No conversation{} has the ID “{}”. “orvel-cli list” prints the IDs.", with, id));
    if (count > 1)
        throw CommandFailure(
            "ambiguous",
            fmt::format("The IDs of {} conversations{} begin with “{}”. Give more of it.", count, with, id));
    return *std::find_if(references.begin(), references.end(), begins);
}

} // namespace orvel
