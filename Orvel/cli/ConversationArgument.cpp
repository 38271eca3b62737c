#include "Orvel/cli/ConversationArgument.h"

#include "Orvel/model/ConversationReading.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"

#include <filesystem>
#include <system_error>

namespace orvel {

namespace {

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
    auto conversation = TranscriptReader::read(path, agent.value_or(Agent::codex));
    auto title = conversation.title;
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

} // namespace

NamedConversation readConversation(const std::string& fileOrID, std::optional<Agent> agent,
                                   const AgentFolders& folders) {
    if (meansFile(fileOrID)) return readFile(fileOrID, agent);
    const auto reference =
        agent ? ConversationCatalog::resolve(*agent, fileOrID, ConversationCatalog::list(folders))
              : resolve(fileOrID, folders);
    return {readReference(reference), reference.title, reference.transcriptPath};
}

} // namespace orvel
