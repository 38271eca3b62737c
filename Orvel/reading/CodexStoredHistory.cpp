#include "Orvel/reading/CodexStoredHistory.h"

#include "Orvel/reading/JsonMessage.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/MessageText.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/JsonString.h"
#include "OrvelCore/text/Unicode.h"

#include <set>
#include <unordered_set>

#include <nlohmann/json.hpp>

namespace orvel::CodexStoredHistory {

namespace {

using nlohmann::ordered_json;
using simdjson::dom::array;
using simdjson::dom::element;
using simdjson::dom::object;

constexpr int turnsPerPage = 20;
constexpr std::size_t maximumCursors = 1'000;

CodexThreadLoaderError invalid(std::string message) {
    return {CodexThreadLoaderError::Kind::invalid, std::move(message)};
}

template <typename T>
T required(std::optional<T> value) {
    if (!value) throw CodexThreadLoaderError::invalid();
    return *value;
}

std::vector<object> requiredObjects(const object& owner, std::string_view key) {
    std::vector<object> objects;
    for (const auto entry : required(member<array>(owner, key))) {
        object each;
        if (entry.get(each) != simdjson::SUCCESS) throw CodexThreadLoaderError::invalid();
        objects.push_back(each);
    }
    return objects;
}

// The turns of the server's pages as the lines of a transcript.
class TranscriptLines {
  public:
    explicit TranscriptLines(bool isBusy) : isBusy(isBusy) {}

    // Gives the cursor of the next page, nothing behind the last one.
    std::optional<std::string> takePage(const object& page) {
        const auto turns = requiredObjects(page, "data");
        element cursor;
        if (page["nextCursor"].get(cursor) != simdjson::SUCCESS) throw CodexThreadLoaderError::invalid();
        for (const auto& turn : turns) takeTurn(turn);
        if (cursor.is_null()) return std::nullopt;
        const auto next = required(stringMember(page, "nextCursor"));
        if (next.empty() || turns.empty()) throw CodexThreadLoaderError::invalid();
        return std::string(next);
    }

    Conversation conversation(const ConversationReference& reference) const {
        auto parsed = TranscriptReader::parse(text, Agent::codex, reference.sessionID, reference.title);
        parsed.isBusy = isBusy;
        return parsed;
    }

  private:
    void takeTurn(const object& turn) {
        const auto id = required(stringMember(turn, "id"));
        const bool hasView = turn["itemsView"].error() == simdjson::SUCCESS;
        if (hasView && stringMember(turn, "itemsView") != "full") throw CodexThreadLoaderError::invalid();
        if (required(stringMember(turn, "status")) == "inProgress") isBusy = true;
        for (const auto& item : requiredObjects(turn, "items")) takeItem(id, item);
    }

    void takeItem(std::string_view turnID, const object& item) {
        const auto type = stringMember(item, "type");
        const bool isUser = type == "userMessage";
        const bool isAnswer = type == "agentMessage" && stringMember(item, "phase") == "final_answer";
        if (!isUser && !isAnswer) return;
        const auto id = required(stringMember(item, "id"));
        const auto key = std::string(turnID) + "/" + std::string(id);
        if (id.empty() || !seenItems.insert(key).second) throw CodexThreadLoaderError::invalid();

        if (!text.empty()) text += '\n';
        const auto begin = text.size();
        text += R"({"type":"response_item","payload":{"type":"message","id":)";
        appendJsonString(text, "stored/" + key);
        text += isUser ? R"(,"role":"user","content":[)" : R"(,"role":"assistant","content":[)";
        if (isUser)
            appendUserContent(item);
        else
            appendContent("output_text", required(stringMember(item, "text")));
        text += "]}}";
        escapeLineEnds(begin);
        size += text.size() - begin;
        if (size > TranscriptReader::maximumSize) throw TranscriptError(TranscriptError::Case::tooLarge);
    }

    void appendUserContent(const object& item) {
        bool isFirst = true;
        for (const auto& part : requiredObjects(item, "content")) {
            if (!isFirst) text += ',';
            isFirst = false;
            appendUserPart(part);
        }
    }

    void appendUserPart(const object& part) {
        const auto type = stringMember(part, "type");
        if (type == "text")
            appendContent("input_text", required(stringMember(part, "text")));
        else if (type == "image" || type == "localImage")
            appendContent("input_text", attachmentWithoutReference);
        else if (type == "skill" || type == "mention")
            appendContent("input_text", "[参照: " + std::string(required(stringMember(part, "name"))) + " (" +
                                            std::string(required(stringMember(part, "path"))) + ")]");
        else
            throw CodexThreadLoaderError::invalid();
    }

    void appendContent(std::string_view type, std::string_view content) {
        text += R"({"type":")";
        text += type;
        text += R"(","text":)";
        appendJsonString(text, content);
        text += '}';
    }

    // JSON leaves some characters of a string as they are that would end the line of a transcript.
    void escapeLineEnds(std::size_t begin) {
        if (lineAt(text, begin).next > text.size()) return;
        const auto line = text.substr(begin);
        text.resize(begin);
        for (std::size_t at = 0; at <= line.size();) {
            const auto piece = lineAt(line, at);
            const auto end = at + piece.text.size();
            text += piece.text;
            if (end < line.size()) {
                const auto separator = std::string_view(line).substr(end, piece.next - end);
                text += separator == "\u0085" ? "\\u0085" : separator == "\u2028" ? "\\u2028" : "\\u2029";
            }
            at = piece.next;
        }
    }

    bool isBusy;
    std::string text;
    std::size_t size = 0; ///< Of the lines without what joins them.
    std::unordered_set<std::string> seenItems;
};

Metadata metadataIn(const object& result, std::string_view sessionID) {
    static constexpr std::string_view words =
        "Couldn't verify the Codex conversation metadata (ID, storage path, or status).";
    const auto thread = objectMember(result, "thread");
    if (!thread || stringMember(*thread, "id") != sessionID) throw invalid(std::string(words));
    const auto path = stringMember(*thread, "path");
    const auto status = objectMember(*thread, "status");
    const auto type = status ? stringMember(*status, "type") : std::nullopt;
    const auto updatedAt = member<double>(*thread, "updatedAt");
    if (!path || (type != "idle" && type != "notLoaded" && type != "active") || !updatedAt)
        throw invalid(std::string(words));
    const auto sortedStatus = nlohmann::json::parse(std::string(simdjson::minify(*status))).dump();
    return {std::string(*path), std::string(*type), sortedStatus, *updatedAt};
}

// The conversation in the transcript, or nothing if that holds only the tail of a fork.
Task<std::optional<Conversation>> localConversation(MainLoop& loop, std::string path) {
    const auto readFile = [path]() -> std::optional<Conversation> {
        try {
            return TranscriptReader::read(path, Agent::codex);
        } catch (const TranscriptError& error) {
            if (error.kind() != TranscriptError::Case::inheritedHistory) throw;
            return std::nullopt;
        }
    };
    co_return co_await loop.background(readFile);
}

std::string pageParams(const std::string& threadID, const std::optional<std::string>& cursor) {
    ordered_json params{
        {"threadId", threadID}, {"limit", turnsPerPage}, {"sortDirection", "asc"}, {"itemsView", "full"}};
    if (cursor) params["cursor"] = *cursor;
    return params.dump();
}

Task<void> fetchAllPages(MainLoop& loop, std::string threadID, std::shared_ptr<TranscriptLines> lines,
                         Request request) {
    std::optional<std::string> cursor;
    std::set<std::string> seenCursors;
    for (;;) {
        const auto page = co_await request("thread/turns/list", pageParams(threadID, cursor));
        const auto take = [page, lines] { return lines->takePage(page->object()); };
        cursor = co_await loop.background(take);
        if (!cursor) co_return;
        if (!seenCursors.insert(*cursor).second) throw CodexThreadLoaderError::invalid();
        if (seenCursors.size() >= maximumCursors) throw TranscriptError(TranscriptError::Case::tooLarge);
    }
}

} // namespace

Task<SharedConversation> read(MainLoop& loop, ConversationReference reference, bool preferLocalTranscript,
                              Request request) {
    const auto first = co_await metadata(loop, reference, request);
    const bool isActive = first.statusType == "active";
    if (preferLocalTranscript) {
        auto local = co_await localConversation(loop, first.path);
        if (local) {
            if (local->id != reference.sessionID) throw RelayError(RelayError::Case::conversationMismatch);
            co_await verifyUnchanged(loop, reference, first, request);
            local->title = reference.title;
            local->isBusy = local->isBusy || isActive;
            co_return std::make_shared<const Conversation>(std::move(*local));
        }
    }
    const auto lines = std::make_shared<TranscriptLines>(isActive);
    co_await fetchAllPages(loop, reference.sessionID, lines, request);
    co_await verifyUnchanged(loop, reference, first, request);
    const auto parse = [lines, reference] {
        return std::make_shared<const Conversation>(lines->conversation(reference));
    };
    co_return co_await loop.background(parse);
}

Task<Metadata> metadata(MainLoop& loop, ConversationReference reference, Request request) {
    const ordered_json params{{"threadId", reference.sessionID}, {"includeTurns", false}};
    const auto answer = co_await request("thread/read", params.dump());
    auto found = metadataIn(answer->object(), reference.sessionID);
    const auto verify = [path = found.path, reference] { return verifiedTranscriptPath(path, reference); };
    found.path = co_await loop.background(verify);
    co_return found;
}

std::string verifiedTranscriptPath(const std::string& path, const ConversationReference& reference) {
    if (!path.starts_with('/') || pathExtension(path) != "jsonl")
        throw invalid("Codex returned an invalid conversation storage path.");
    const auto resolved = resolvedPath(path);
    if (resolved == resolvedPath(reference.transcriptPath)) return resolved;
    std::string sessionID;
    try {
        sessionID = ConversationCatalog::reference(resolved, Agent::codex).sessionID;
    } catch (const Failure&) { // NOLINT(bugprone-empty-catch)
        // Stays empty, which is nobody's identifier.
    }
    if (sessionID != reference.sessionID)
        throw invalid("Codex changed the conversation storage file, but its conversation ID could not be "
                      "verified. Refresh or select the conversation again.");
    return resolved;
}

Task<void> verifyUnchanged(MainLoop& loop, ConversationReference reference, Metadata first, Request request) {
    const auto now = co_await metadata(loop, reference, request);
    if (now.path != first.path)
        throw invalid("Codex changed the conversation storage file while history was loading. Refresh the "
                      "conversation and try again.");
    if (now.updatedAt != first.updatedAt || now.status != first.status)
        throw RelaySendError("The conversation changed while loading history. Try again.");
}

} // namespace orvel::CodexStoredHistory
