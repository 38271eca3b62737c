#include "samples/TranscriptWriter.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

// Time passes from record to record, so that transcripts look lived in.
constexpr std::int64_t millisecondsBetweenRecords = 2'700;

std::string timestamp(std::int64_t milliseconds) {
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> day{};
    std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%s.%03dZ", day.data(), static_cast<int>(milliseconds % 1000));
    return text.data();
}

void appendLine(std::string& lines, const Json& record) {
    lines += record.dump();
    lines += '\n';
}

Json contentItem(std::string_view type, std::string_view text) {
    return {{"type", type}, {"text", text}};
}

} // namespace

SampleIDs::SampleIDs(std::string_view seed) {
    std::uint64_t hash = 14'695'981'039'346'656'037U; // FNV-1a, the same everywhere.
    for (const char c : seed) hash = (hash ^ static_cast<unsigned char>(c)) * 1'099'511'628'211U;
    random.seed(hash);
}

std::string SampleIDs::hex(int digits) {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(random()));
    return {text.data(), static_cast<std::size_t>(digits)};
}

std::string SampleIDs::uuid() {
    return hex(8) + '-' + hex(4) + "-4" + hex(3) + "-a" + hex(3) + '-' + hex(12);
}

CodexTranscript::CodexTranscript(SampleSession newSession, std::string_view baseInstructions)
    : session(std::move(newSession)),
      ids(session.id),
      nextRecordAt(session.startedAt * 1000),
      pause(millisecondsBetweenRecords) {
    writeMeta({{"base_instructions", {{"text", baseInstructions}}}, {"history_mode", "paginated"}});
}

CodexTranscript::CodexTranscript(SampleSession newSession, const SampleForkBase& base)
    : session(std::move(newSession)),
      ids(session.id),
      count(base.recordCount),
      nextRecordAt(session.startedAt * 1000),
      pause(millisecondsBetweenRecords),
      isFirstTurn(false) {
    writeMeta({{"forked_from_id", base.id},
               {"history_mode", "paginated"},
               {"history_base", {{"thread_id", base.id}, {"end_ordinal_exclusive", base.recordCount}}}});
}

// Seeded with the place too, so that no identifier comes twice in one transcript.
CodexTranscript::CodexTranscript(Continued, SampleSession newSession, std::int64_t recordCount)
    : session(std::move(newSession)),
      ids(session.id + '/' + std::to_string(recordCount)),
      count(recordCount),
      nextRecordAt(0),
      pause(1),
      isFirstTurn(false) {}

CodexTranscript CodexTranscript::continued(SampleSession session, std::int64_t recordCount,
                                           std::int64_t moment) {
    return CodexTranscript(Continued{}, std::move(session), recordCount).at(moment);
}

CodexTranscript& CodexTranscript::at(std::int64_t moment) {
    nextRecordAt = std::max(nextRecordAt, moment);
    return *this;
}

CodexTranscript& CodexTranscript::ask(std::string_view text) {
    turnID = ids.uuid();
    writeEvent("task_started", {{"started_at", nextRecordAt / 1000}});
    if (std::exchange(isFirstTurn, false)) {
        write("response_item",
              {{"type", "message"},
               {"id", "msg_" + ids.uuid()},
               {"role", "developer"},
               {"content", Json::array({contentItem("input_text", "<permissions instructions>")})}});
        writeUserMessage({"# AGENTS.md instructions\n\nRun the tests before you answer.",
                          "<environment_context>\n  <cwd>" + session.workingDirectory +
                              "</cwd>\n  <shell>bash</shell>\n</environment_context>"},
                         {"agents_md.instructions", "environments.environment_context"});
    }
    write("turn_context", {{"turn_id", turnID}, {"cwd", session.workingDirectory}, {"summary", "none"}});
    writeUserMessage({std::string(text)}, {"user.text"});
    return *this;
}

CodexTranscript& CodexTranscript::comment(std::string_view text) {
    writeAssistantMessage(text, "commentary");
    return *this;
}

CodexTranscript& CodexTranscript::runCommand(std::string_view command, std::string_view output) {
    const auto call = "call_" + ids.hex(16);
    write("response_item", {{"type", "function_call"},
                            {"id", "fc_" + ids.hex(16)},
                            {"name", "exec_command"},
                            {"arguments", Json{{"cmd", command}}.dump()},
                            {"call_id", call}});
    write("response_item", {{"type", "function_call_output"},
                            {"id", "fco_" + ids.uuid()},
                            {"call_id", call},
                            {"output", output}});
    return *this;
}

CodexTranscript& CodexTranscript::answer(std::string_view text) {
    writeAssistantMessage(text, "final_answer");
    writeEvent("token_count", Json::object());
    writeEvent("task_complete", {{"completed_at", nextRecordAt / 1000}});
    return *this;
}

CodexTranscript& CodexTranscript::fail(std::string_view reason) {
    writeEvent("task_complete", {{"error", {{"message", reason}, {"codex_error_info", "other"}}},
                                 {"completed_at", nextRecordAt / 1000}});
    return *this;
}

void CodexTranscript::writeMeta(const Json& more) {
    Json meta{{"id", session.id},
              {"timestamp", timestamp(nextRecordAt)},
              {"cwd", session.workingDirectory},
              {"originator", "codex_cli_rs"},
              {"cli_version", "0.169.0"},
              {"source", "cli"}};
    meta.update(more);
    write("session_meta", std::move(meta));
}

void CodexTranscript::write(std::string_view type, Json payload) {
    appendLine(lines, {{"timestamp", timestamp(nextRecordAt)},
                       {"ordinal", count},
                       {"type", type},
                       {"payload", std::move(payload)}});
    ++count;
    nextRecordAt += pause;
}

void CodexTranscript::writeEvent(std::string_view type, const Json& more) {
    Json event{{"type", type}, {"turn_id", turnID}};
    event.update(more);
    write("event_msg", std::move(event));
}

void CodexTranscript::writeUserMessage(const std::vector<std::string>& texts,
                                       const std::vector<std::string>& kinds) {
    auto content = Json::array();
    for (const auto& text : texts) content.push_back(contentItem("input_text", text));
    messageID = "msg_" + ids.uuid();
    write("response_item", {{"type", "message"},
                            {"id", messageID},
                            {"role", "user"},
                            {"content", std::move(content)},
                            {"internal_chat_message_metadata_passthrough",
                             {{"turn_id", turnID}, {"content_item_kinds", kinds}}}});
}

void CodexTranscript::writeAssistantMessage(std::string_view text, std::string_view phase) {
    messageID = "msg_" + ids.hex(16);
    write("response_item", {{"type", "message"},
                            {"status", "completed"},
                            {"id", messageID},
                            {"role", "assistant"},
                            {"content", Json::array({contentItem("output_text", text)})},
                            {"phase", phase},
                            {"internal_chat_message_metadata_passthrough",
                             {{"turn_id", turnID}, {"content_item_kinds", Json::array({"unknown"})}}}});
}

ClaudeTranscript::ClaudeTranscript(SampleSession newSession)
    : session(std::move(newSession)), ids(session.id) {
    write({{"type", "mode"}, {"mode", "normal"}, {"sessionId", session.id}});
}

// Seeded with the place too, so that no identifier comes twice in one transcript.
ClaudeTranscript::ClaudeTranscript(SampleSession newSession, std::string lastID)
    : session(std::move(newSession)), ids(session.id + '/' + lastID), lastID(std::move(lastID)) {}

ClaudeTranscript ClaudeTranscript::continued(SampleSession session, std::string lastID) {
    return {std::move(session), std::move(lastID)};
}

ClaudeTranscript& ClaudeTranscript::ask(std::string_view text) {
    const bool isFirst = lastID.empty();
    writeLink({{"type", "user"}, {"message", {{"role", "user"}, {"content", text}}}});
    if (isFirst)
        for (const auto* type : {"skill_listing", "session_context", "date"})
            writeAttachment({{"type", type}});
    return *this;
}

ClaudeTranscript& ClaudeTranscript::comment(std::string_view text) {
    writeAssistant(contentItem("text", text), "tool_use");
    return *this;
}

ClaudeTranscript& ClaudeTranscript::runCommand(std::string_view command, std::string_view output) {
    const auto use = "toolu_" + ids.hex(16);
    writeAssistant({{"type", "tool_use"}, {"id", use}, {"name", "Bash"}, {"input", {{"command", command}}}},
                   "tool_use");
    const Json result{
        {"tool_use_id", use}, {"type", "tool_result"}, {"content", output}, {"is_error", false}};
    writeLink({{"type", "user"}, {"message", {{"role", "user"}, {"content", Json::array({result})}}}});
    return *this;
}

ClaudeTranscript& ClaudeTranscript::answer(std::string_view text) {
    writeAssistant(contentItem("text", text), "end_turn");
    writeLink({{"type", "system"}, {"subtype", "turn_duration"}, {"durationMs", 8'150}});
    return *this;
}

ClaudeTranscript& ClaudeTranscript::takeUp(std::string_view text) {
    writeAttachment({{"type", "queued_command"}, {"prompt", text}});
    return *this;
}

ClaudeTranscript& ClaudeTranscript::sidechain(std::string_view question, std::string_view answer) {
    lastSideID.clear();
    writeLink({{"type", "user"}, {"message", {{"role", "user"}, {"content", question}}}}, Chain::side);
    writeAssistant(contentItem("text", answer), "end_turn", Chain::side);
    return *this;
}

void ClaudeTranscript::write(const Json& record) {
    appendLine(lines, record);
    ++recordCount;
}

void ClaudeTranscript::writeLink(const Json& record, Chain chain) {
    auto& last = chain == Chain::main ? lastID : lastSideID;
    auto uuid = ids.uuid();
    Json link{{"parentUuid", last.empty() ? Json() : Json(last)}, {"isSidechain", chain == Chain::side}};
    link.update(record);
    link.update(
        {{"uuid", uuid},
         {"timestamp", timestamp(session.startedAt * 1000 + recordCount * millisecondsBetweenRecords)},
         {"userType", "external"},
         {"entrypoint", "cli"},
         {"cwd", session.workingDirectory},
         {"sessionId", session.id},
         {"version", "2.1.329"},
         {"gitBranch", "main"}});
    write(link);
    last = std::move(uuid);
}

void ClaudeTranscript::writeAttachment(const Json& attachment) {
    writeLink({{"attachment", attachment}, {"type", "attachment"}});
}

void ClaudeTranscript::writeAssistant(Json item, std::string_view stopReason, Chain chain) {
    writeLink({{"message",
                {{"id", "msg_" + ids.hex(16)},
                 {"type", "message"},
                 {"role", "assistant"},
                 {"model", "claude-opus-5-5"},
                 {"content", Json::array({std::move(item)})},
                 {"stop_reason", stopReason},
                 {"stop_sequence", nullptr},
                 {"usage", {{"input_tokens", 1'200}, {"output_tokens", 340}}}}},
               {"type", "assistant"}},
              chain);
}

} // namespace orvel
