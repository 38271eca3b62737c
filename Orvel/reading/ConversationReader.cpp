#include "Orvel/reading/ConversationReader.h"

#include "Orvel/reading/AgentTool.h"
#include "Orvel/reading/CodexThreadLoader.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelaySendError.h"

namespace orvel {

namespace {

// What the file alone gives. The facts are taken before the reading, so that what is written meanwhile shows
// as a change.
struct FileReading {
    std::optional<FileFacts> facts;
    SharedConversation conversation;
    bool isInherited = false; ///< The file holds only the tail of the conversation.
    bool isMissing = false;
};

FileReading readFile(const ConversationReference& reference, const SharedConversation& known) {
    FileReading reading{.facts = FileFacts::of(reference.transcriptPath)};
    try {
        auto conversation = TranscriptReader::read(reference.transcriptPath, reference.agent);
        const bool isKnown = known && *known == conversation;
        reading.conversation = isKnown ? known : std::make_shared<Conversation>(std::move(conversation));
    } catch (const TranscriptError& error) {
        if (error.kind() != TranscriptError::Case::inheritedHistory) throw;
        reading.isInherited = true;
    } catch (const FileError& error) {
        if (reference.agent != Agent::codex || error.kind() != FileError::Case::noSuchFile) throw;
        reading.isMissing = true;
    }
    return reading;
}

} // namespace

std::string ConversationReader::key(const ConversationReference& reference) {
    return reference.id() + "\n" + reference.transcriptPath;
}

std::string ConversationReader::pathIn(const std::string& key) {
    return key.substr(key.find('\n') + 1);
}

Task<SharedConversation> ConversationReader::readReference(ConversationReference reference) {
    const auto known = earlier.find(key(reference));
    const auto held = known == earlier.end() ? nullptr : known->second.conversation.lock();
    const auto read = [reference, held] { return readFile(reference, held); };
    auto reading = co_await loop.background(read);
    if (!reading.conversation) {
        const auto executable = agentTool(Agent::codex, processes, home);
        if (!executable)
            throw RelaySendError(
                "Couldn't find Codex CLI to locate the conversation or load inherited history.");
        reading.conversation = co_await CodexThreadLoader::readHistory(loop, processes, *executable,
                                                                       reference, reading.isMissing);
    }
    if (reading.conversation->id != reference.sessionID)
        throw RelayError(RelayError::Case::conversationMismatch);
    earlier[key(reference)] = {reading.facts, reading.conversation};
    co_return reading.conversation;
}

std::optional<Date> ConversationReader::writtenAt(const ConversationReference& reference) const {
    const auto known = earlier.find(key(reference));
    if (known == earlier.end() || !known->second.facts) return std::nullopt;
    return static_cast<double>(known->second.facts->modifiedAt) * 1e-9 - referenceDateInUnixTime;
}

// Reads unless the file still has the facts that it had at the last reading.
Task<SharedConversation> ConversationReader::readUnless(ConversationReference reference,
                                                        std::optional<FileFacts> facts) {
    const auto known = earlier.find(key(reference));
    if (known != earlier.end() && facts && known->second.facts == facts)
        if (auto held = known->second.conversation.lock()) co_return held;
    co_return co_await readReference(std::move(reference));
}

Task<SharedConversation> ConversationReader::readIfChanged(ConversationReference reference) {
    const auto look = [path = reference.transcriptPath] { return FileFacts::of(path); };
    const auto facts = co_await loop.background(look);
    co_return co_await readUnless(std::move(reference), facts);
}

Task<ConversationReader::Readings>
ConversationReader::readChanged(std::vector<ConversationReference> references) {
    const auto look = [references] {
        std::vector<std::optional<FileFacts>> facts;
        facts.reserve(references.size());
        for (const auto& reference : references) facts.push_back(FileFacts::of(reference.transcriptPath));
        return facts;
    };
    const auto facts = co_await loop.background(look);
    Readings readings;
    for (std::size_t i = 0; i < references.size(); ++i) {
        auto name = key(references[i]);
        if (readings.contains(name)) continue;
        try {
            auto conversation = co_await readUnless(references[i], facts[i]);
            readings.emplace(std::move(name), std::move(conversation));
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // Left out; whoever wants to know why reads it alone.
        }
    }
    co_return readings;
}

} // namespace orvel
