#include "samples/SampleCodexThread.h"

#include "OrvelCore/files/FileReading.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace orvel {

namespace {

using Json = nlohmann::json;
using Item = SampleCodexTurn::Item;

constexpr std::size_t largestTranscript = 100'000'000;

std::int64_t modifiedAt(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 ? facts.st_mtime : 0;
}

std::string textOf(const Json& payload) {
    std::string text;
    for (const auto& item : payload.value("content", Json::array())) text += item.value("text", "");
    return text;
}

bool isFromTheUser(const Json& payload) {
    const auto& kinds = payload.value("internal_chat_message_metadata_passthrough", Json::object())
                            .value("content_item_kinds", Json::array());
    return std::find(kinds.begin(), kinds.end(), "user.text") != kinds.end();
}

// The server gives the user's messages identifiers of their own, the agent's messages those of the
// transcript.
std::string userItemID(const std::string& messageID) {
    return messageID.starts_with("msg_") ? messageID.substr(4) : messageID;
}

class Reading {
  public:
    explicit Reading(SampleCodexThread& thread) : thread(thread) {}

    void take(const Json& record) {
        const auto type = record.value("type", "");
        const auto payload = record.value("payload", Json::object());
        if (type == "session_meta") takeMeta(payload);
        if (type == "event_msg") takeEvent(payload.value("type", ""), payload);
        if (type == "response_item") takeItem(payload.value("type", ""), payload);
    }

  private:
    void takeMeta(const Json& payload) {
        thread.id = payload.at("id");
        thread.workingDirectory = payload.value("cwd", "");
        const auto base = payload.find("history_base");
        if (base == payload.end() || base->is_null()) return;
        thread.forkedFrom = base->at("thread_id");
        thread.inheritedRecords = base->at("end_ordinal_exclusive");
    }

    void takeEvent(const std::string& type, const Json& payload) {
        if (type == "task_started") {
            leaveUnfinished();
            thread.turns.push_back(
                {.id = payload.value("turn_id", ""), .startedAt = payload.value("started_at", 0)});
        }
        if (thread.turns.empty()) return;
        auto& turn = thread.turns.back();
        if (type == "task_complete") {
            turn.status = SampleCodexTurn::Status::completed;
            turn.completedAt = payload.value("completed_at", 0);
            if (const auto error = payload.find("error"); error != payload.end() && error->is_object()) {
                turn.status = SampleCodexTurn::Status::failed;
                turn.error = error->value("message", "");
            }
        }
        if (type == "turn_aborted") turn.status = SampleCodexTurn::Status::interrupted;
    }

    void takeItem(const std::string& type, const Json& payload) {
        if (thread.turns.empty()) return;
        auto& items = thread.turns.back().items;
        const auto id = payload.value("id", "");
        if (type == "function_call")
            items.push_back({Item::Kind::command, id, payload.value("arguments", ""), {}});
        if (type != "message") return;
        const auto role = payload.value("role", "");
        if (role == "user" && isFromTheUser(payload))
            items.push_back({Item::Kind::user, userItemID(id), textOf(payload), {}});
        if (role == "assistant")
            items.push_back({Item::Kind::agent, id, textOf(payload), payload.value("phase", "")});
    }

    // A turn whose process was killed never ends in the transcript.
    void leaveUnfinished() {
        if (thread.turns.empty()) return;
        auto& status = thread.turns.back().status;
        if (status == SampleCodexTurn::Status::inProgress) status = SampleCodexTurn::Status::interrupted;
    }

    SampleCodexThread& thread;
};

} // namespace

SampleCodexThread SampleCodexThread::read(const std::string& path, std::optional<std::int64_t> endOrdinal) {
    SampleCodexThread thread{.path = path, .updatedAt = modifiedAt(path)};
    Reading reading(thread);
    const auto text = readFile(path, largestTranscript);
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        const auto line = std::string_view(text).substr(at, end - at);
        at = end + 1;
        if (line.empty()) continue;
        const auto record = Json::parse(line);
        const auto ordinal = record.value("ordinal", thread.nextOrdinal);
        if (endOrdinal && ordinal >= *endOrdinal) break;
        thread.nextOrdinal = ordinal + 1;
        reading.take(record);
    }
    if (thread.id.empty()) throw std::runtime_error("no session in " + path);
    return thread;
}

} // namespace orvel
