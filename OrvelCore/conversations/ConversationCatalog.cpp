#include "OrvelCore/conversations/ConversationCatalog.h"

#include "OrvelCore/conversations/TranscriptHead.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/files/FolderWalk.h"
#include "OrvelCore/text/JsonRecord.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <limits>
#include <unordered_map>
#include <unordered_set>

namespace orvel {

namespace {

constexpr std::array<FailureWords, 3> words{{
    {"notFound", "No transcript was found for the specified conversation ID."},
    {"ambiguous", "Multiple transcripts have the same conversation ID. Choose the file to use."},
    {"invalidMetadata", "Couldn't verify the conversation ID from transcript metadata."},
}};

} // namespace

ConversationCatalogError::ConversationCatalogError(Case kind)
    : Failure(words[static_cast<std::size_t>(kind)]), which(kind) {}

namespace ConversationCatalog {

namespace {

using simdjson::dom::object;

std::optional<std::string> ownedString(const object& record, std::string_view key) {
    const auto value = stringMember(record, key);
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

// What a transcript says of itself in its first records.
struct TranscriptIdentity {
    std::string sessionID;
    std::optional<std::string> folder, title;
};

std::optional<TranscriptIdentity> claudeIdentity(const object& record) {
    if (isTrue(record, "isSidechain")) return std::nullopt;
    auto session = ownedString(record, "sessionId");
    if (!session) return std::nullopt;
    return TranscriptIdentity{std::move(*session), ownedString(record, "cwd"),
                              ownedString(record, "customTitle")};
}

// A session_meta record settles the matter, even one without an identifier.
std::optional<TranscriptIdentity> codexIdentity(const object& record) {
    if (stringMember(record, "type") != "session_meta") return std::nullopt;
    const auto payload = objectMember(record, "payload");
    if (!payload) return std::nullopt;
    return TranscriptIdentity{ownedString(*payload, "id").value_or(""), ownedString(*payload, "cwd"),
                              ownedString(*payload, "title")};
}

// What follows the folder's name in the title of a conversation that has none.
std::string fallbackEnding(std::string_view sessionID) {
    return std::string(" · ").append(firstCharacters(sessionID, 8));
}

std::string fallbackTitle(const TranscriptIdentity& identity) {
    if (!identity.folder) return identity.sessionID;
    return std::string(lastPathComponent(*identity.folder)) + fallbackEnding(identity.sessionID);
}

// Reads references one after another with the same buffers.
class ReferenceReader {
  public:
    ConversationReference read(const std::string& path, Agent agent) {
        ReadableFile file(path);
        head.open(file);
        std::optional<TranscriptIdentity> identity;
        while (!identity) {
            const auto record = head.next();
            if (!record) break;
            identity = agent == Agent::claude ? claudeIdentity(*record) : codexIdentity(*record);
        }
        if (!identity || identity->sessionID.empty())
            throw ConversationCatalogError(ConversationCatalogError::Case::invalidMetadata);
        auto title = identity->title ? std::move(*identity->title) : fallbackTitle(*identity);
        return {.agent = agent,
                .sessionID = std::move(identity->sessionID),
                .title = std::move(title),
                .transcriptPath = path,
                .workingDirectory = std::move(identity->folder),
                .modifiedAt = file.modifiedAt(),
                .desktopSessionID = std::nullopt,
                .target = {paths.target(path)}};
    }

  private:
    PathResolver paths;
    TranscriptHead head{identityLimit};
};

std::map<std::string, std::string> codexTitles(const std::string& path) try {
    const auto contents = readFile(path, std::numeric_limits<std::size_t>::max() / 2);
    std::map<std::string, std::string> titles;
    JsonRecordParser parser;
    const std::string_view rest = contents;
    for (std::size_t from = 0; from < rest.size();) {
        const auto end = std::min(rest.find('\n', from), rest.size());
        const auto record = parser.parse(rest.substr(from, end - from), rest.size() - end);
        from = end + 1;
        if (!record) continue;
        const auto id = stringMember(*record, "id").value_or("");
        const auto name = stringMember(*record, "thread_name").value_or("");
        if (!id.empty() && !trimmed(name).empty()) titles[std::string(id)] = name;
    }
    return titles;
} catch (const FileError&) {
    return {};
}

std::string titleIndexIn(std::string_view codexFolder) {
    return joinedPath(codexFolder, "session_index.jsonl");
}

struct DesktopMetadata {
    std::string desktopID;
    std::optional<std::string> title, cwd;
};

// The Claude application's records by the identifier of the transcript's session.
using DesktopRecords = std::unordered_multimap<std::string, DesktopMetadata>;

DesktopRecords desktopMetadata(const std::optional<std::string>& root) {
    DesktopRecords records;
    if (!root) return records;
    JsonRecordParser parser;
    walkFolder(*root, [&](const std::string& path) {
        if (pathExtension(path) != "json" || !lastPathComponent(path).starts_with("local_")) return;
        std::optional<FileBytes> bytes;
        try {
            ReadableFile file(path);
            bytes = FileBytes::read(file, desktopMetadataLimit);
        } catch (const FileError&) {
            return;
        }
        if (!bytes) return;
        const auto record = parser.parse(bytes->view(), FileBytes::padding);
        if (!record) return;
        const auto cliID = stringMember(*record, "cliSessionId").value_or("");
        const auto desktopID = stringMember(*record, "sessionId").value_or("");
        if (cliID.empty() || !desktopID.starts_with("local_")) return;
        records.emplace(cliID, DesktopMetadata{std::string(desktopID), ownedString(*record, "title"),
                                               ownedString(*record, "cwd")});
    });
    return records;
}

// The record of a session; of several none counts, since it could belong to another conversation.
const DesktopMetadata* onlyRecord(const DesktopRecords& records, const std::string& sessionID) {
    const auto [first, last] = records.equal_range(sessionID);
    return first != last && std::next(first) == last ? &first->second : nullptr;
}

void addNames(ConversationReference& reference, const std::map<std::string, std::string>& threadTitles,
              const DesktopRecords& desktopRecords) {
    const auto* metadata =
        reference.agent == Agent::claude ? onlyRecord(desktopRecords, reference.sessionID) : nullptr;
    if (metadata) {
        if (metadata->title) reference.title = *metadata->title;
        if (metadata->cwd) reference.workingDirectory = metadata->cwd;
        reference.desktopSessionID = metadata->desktopID;
    }
    const auto threadTitle = threadTitles.find(reference.sessionID);
    if (threadTitle != threadTitles.end()) reference.title = threadTitle->second;
}

} // namespace

std::vector<ConversationReference> list(const AgentFolders& folders) {
    return discover(folders.defaultRoots(), folders.claudeDesktop);
}

std::vector<ConversationReference> discover(std::span<const ConversationRoot> roots,
                                            const std::optional<std::string>& claudeDesktopRoot) {
    const auto desktopRecords = desktopMetadata(claudeDesktopRoot);
    std::vector<ConversationReference> found;
    std::unordered_set<std::string> seen;
    ReferenceReader reader;
    for (const auto& root : roots) {
        const auto folder = standardizedPath(root.path);
        const bool isCodex = root.agent == Agent::codex;
        const auto threadTitles =
            isCodex ? codexTitles(titleIndexIn(parentFolder(folder))) : std::map<std::string, std::string>();
        walkFolder(folder, [&](const std::string& path) {
            if (pathExtension(path) != "jsonl") return;
            if (!isCodex && hasPathComponent(path, "subagents")) return;
            if (!seen.insert(path).second) return;
            try {
                auto reference = reader.read(path, root.agent);
                addNames(reference, threadTitles, desktopRecords);
                found.push_back(std::move(reference));
            } catch (const Failure&) { // NOLINT(bugprone-empty-catch)
                // A file that cannot be read or names no conversation is none of the catalogue's.
            }
        });
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        return a.modifiedAt != b.modifiedAt ? a.modifiedAt > b.modifiedAt
                                            : a.transcriptPath < b.transcriptPath;
    });
    return found;
}

ConversationReference resolve(Agent agent, std::string_view sessionID,
                              std::span<const ConversationReference> references) {
    using enum ConversationCatalogError::Case;
    const ConversationReference* match = nullptr;
    for (const auto& reference : references) {
        if (reference.agent != agent) continue;
        if (reference.sessionID != sessionID && reference.desktopSessionID != sessionID) continue;
        if (match) throw ConversationCatalogError(ambiguous);
        match = &reference;
    }
    if (!match) throw ConversationCatalogError(notFound);
    return *match;
}

ConversationReference resolve(Agent agent, std::string_view sessionID,
                              std::span<const ConversationRoot> roots,
                              const std::optional<std::string>& claudeDesktopRoot) {
    return resolve(agent, sessionID, discover(roots, claudeDesktopRoot));
}

ConversationReference reference(const std::string& path, Agent agent) {
    const auto standardized = standardizedPath(path);
    auto reference = ReferenceReader().read(standardized, agent);
    if (agent == Agent::claude) return reference;
    for (auto folder = parentFolder(standardized); folder != "/"; folder = parentFolder(folder)) {
        const auto name = lastPathComponent(folder);
        if (name != "sessions" && name != "archived_sessions") continue;
        const auto titles = codexTitles(titleIndexIn(parentFolder(folder)));
        const auto title = titles.find(reference.sessionID);
        return title == titles.end() ? reference : reference.withTitle(title->second);
    }
    return reference;
}

bool hasNoTitle(const ConversationReference& reference) {
    return trimmed(reference.title).empty() || reference.title == reference.sessionID ||
           reference.title.ends_with(fallbackEnding(reference.sessionID));
}

std::map<std::string, std::string> codexThreadTitles(const AgentFolders& folders) {
    return codexTitles(titleIndexIn(folders.codex));
}

std::optional<Agent> recognizedAgent(const std::string& path) try {
    ReadableFile file(path);
    TranscriptHead head(identityLimit);
    head.open(file);
    while (const auto record = head.next()) {
        if (stringMember(*record, "sessionId") || objectMember(*record, "message")) return Agent::claude;
        if (stringMember(*record, "type") && objectMember(*record, "payload")) return Agent::codex;
    }
    return std::nullopt;
} catch (const FileError&) {
    return std::nullopt;
}

} // namespace ConversationCatalog
} // namespace orvel
