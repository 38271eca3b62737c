#include "OrvelCore/conversations/ConversationNames.h"

#include "OrvelCore/conversations/ClaudeRecords.h"
#include "OrvelCore/conversations/CodexRecords.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/MachineMadeText.h"
#include "OrvelCore/conversations/TranscriptHead.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/text/UUID.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

namespace {

using simdjson::dom::object;

constexpr std::size_t longestTitle = 80;

// The titles of a Claude transcript: the user's own and the agent's, the latest of each.
class TitleRecords {
  public:
    explicit TitleRecords(const std::string& sessionID) : sessionID(sessionID) {}

    // Takes the title records among the bytes, which may begin and end within a line.
    void takeFrom(std::string_view bytes) {
        constexpr std::string_view mark = "-title\"";
        for (auto at = bytes.find(mark); at != bytes.npos; at = bytes.find(mark, at)) {
            const auto before = bytes.rfind('\n', at);
            const auto begin = before == bytes.npos ? 0 : before + 1;
            const auto end = std::min(bytes.find('\n', at), bytes.size());
            if (const auto record = parser.parse(bytes.substr(begin, end - begin), 0)) take(*record);
            at = end;
        }
    }

    std::optional<std::string> latest() const { return custom ? custom : made; }

  private:
    void take(const object& record) {
        const auto type = stringMember(record, "type");
        if (stringMember(record, "sessionId").value_or(sessionID) != sessionID) return;
        if (type == "custom-title") note(custom, stringMember(record, "customTitle"));
        if (type == "ai-title") note(made, stringMember(record, "aiTitle"));
    }

    // An empty title takes the one before away.
    static void note(std::optional<std::string>& title, std::optional<std::string_view> text) {
        if (!text) return;
        if (trimmed(*text).empty())
            title.reset();
        else
            title = *text;
    }

    const std::string& sessionID;
    JsonRecordParser parser;
    std::optional<std::string> custom, made;
};

// Finds the user's first own message by the rules of the transcript readers.
class FirstMessage {
  public:
    explicit FirstMessage(Agent agent) : agent(agent) {}

    void take(const object& record) {
        const auto type = stringMember(record, "type");
        if (agent == Agent::claude && type == "user" && !isTrue(record, "isMeta") &&
            !isTrue(record, "isCompactSummary"))
            claude.take(record, 0);
        if (agent == Agent::codex && type == "response_item") codex.take(record, 0);
        if (words.empty()) words = firstOwnWords(conversation);
        conversation.messages.clear();
    }

    bool isFound() const { return !words.empty(); }
    std::string words;

  private:
    Agent agent;
    Conversation conversation{.id = {}, .source = agent, .title = {}, .messages = {}, .queuedCommands = {}};
    ClaudeRecords claude{conversation};
    CodexRecords codex{conversation};
};

std::optional<std::string> folderIn(const object& record, Agent agent) {
    const auto payload = agent == Agent::codex ? objectMember(record, "payload") : record;
    if (!payload || isTrue(record, "isSidechain")) return std::nullopt;
    const auto folder = stringMember(*payload, "cwd").value_or("");
    return folder.empty() ? std::nullopt : std::optional<std::string>(folder);
}

// The line that stands for an attachment, or marks where one begins and ends.
bool isAttachment(std::string_view line) {
    return line.starts_with("[添付") || line.starts_with("<image ") || line.starts_with("</image>");
}

} // namespace

bool ConversationNames::areMissing(const ConversationReference& reference) {
    return ConversationCatalog::hasNoTitle(reference) || !reference.workingDirectory;
}

ConversationNames ConversationNames::read(const ConversationReference& reference) {
    ReadableFile file(reference.transcriptPath);
    TranscriptHead head(headLimit);
    head.open(file);
    ConversationNames names;
    FirstMessage first(reference.agent);
    while (!names.folder || !first.isFound()) {
        const auto record = head.next();
        if (!record) break;
        if (!names.folder) names.folder = folderIn(*record, reference.agent);
        first.take(*record);
    }
    if (reference.agent == Agent::claude) {
        TitleRecords titles(reference.sessionID);
        titles.takeFrom(head.bytes());
        if (file.size() > head.bytes().size()) titles.takeFrom(file.end(tailLimit));
        names.title = titles.latest();
    }
    if (!names.title && first.isFound()) names.title = std::move(first.words);
    return names;
}

bool isReadableName(std::string_view text) {
    constexpr std::size_t identifierSize = 36;
    for (std::size_t at = 0; at + identifierSize <= text.size(); ++at)
        if (isUUID(text.substr(at, identifierSize))) return false;
    return text != untitled && !trimmed(text).empty();
}

std::string firstOwnWords(const Conversation& conversation) {
    for (const auto& message : conversation.messages) {
        if (message.role != "user" || machineMade(conversation.source, message.text)) continue;
        if (auto words = firstWords(message.text); !words.empty()) return words;
    }
    return {};
}

std::string firstWords(std::string_view text) {
    // Characters can have many bytes, but not often; a title is for looking at.
    constexpr std::size_t enough = 16 * longestTitle;
    std::string words;
    for (std::size_t at = 0; at <= text.size() && words.size() < enough;) {
        const auto line = lineAt(text, at);
        at = line.next;
        auto rest = trimmed(line.text.substr(0, std::min(line.text.size(), enough)));
        if (isAttachment(rest)) continue;
        while (!rest.empty()) {
            const auto end = std::min(rest.find_first_of(" \t"), rest.size());
            if (!words.empty()) words += ' ';
            words += rest.substr(0, end);
            rest = trimmed(rest.substr(end));
        }
    }
    const auto whole = displayable(words);
    auto kept = firstCharacters(whole, longestTitle);
    if (kept.size() == whole.size()) return whole;
    const auto blank = kept.rfind(' ');
    if (blank != kept.npos && blank > kept.size() / 2) kept = kept.substr(0, blank);
    return std::string(kept) + "…";
}

} // namespace orvel
