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

ConversationReference resolve(const std::string& id, const AgentFolders& folders) {
    using enum ConversationCatalogError::Case;
    const auto references = ConversationCatalog::list(folders);
    std::optional<ConversationReference> match;
    for (const auto agent : allAgents) {
        try {
            auto found = ConversationCatalog::resolve(agent, id, references);
            if (match) throw ConversationCatalogError(ambiguous);
            match = std::move(found);
        } catch (const ConversationCatalogError& error) {
            if (error.kind() != notFound) throw;
        }
    }
    if (!match) throw ConversationCatalogError(notFound);
    return *match;
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
    const auto reference =
        agent ? ConversationCatalog::resolve(*agent, fileOrID, ConversationCatalog::list(places.folders))
              : resolve(fileOrID, places.folders);
    return {readReference(reference, places), shownTitle(reference, readNames(std::span(&reference, 1))),
            reference.transcriptPath};
}

ConversationReference referenceNamed(const std::string& id, Agent agent,
                                     std::span<const ConversationReference> references) {
    try {
        return ConversationCatalog::resolve(agent, id, references);
    } catch (const ConversationCatalogError& error) {
        if (error.kind() != ConversationCatalogError::Case::notFound) throw;
    }
    const auto begins = [&](const ConversationReference& reference) {
        return !id.empty() && reference.agent == agent && reference.sessionID.starts_with(id);
    };
    const auto count = std::count_if(references.begin(), references.end(), begins);
    if (count == 0)
        throw CommandFailure(
            "notFound",
            fmt::format("No conversation with {} has the ID “{}”. “orvel-cli list” prints the IDs.",
                        label(agent), id));
    if (count > 1)
        throw CommandFailure(
            "ambiguous", fmt::format("The IDs of {} conversations with {} begin with “{}”. Give more of it.",
                                     count, label(agent), id));
    return *std::find_if(references.begin(), references.end(), begins);
}

} // namespace orvel
