#pragma once
// Writes transcripts as the agents do, record by record and as JSON Lines: for tests, benchmarks and the
// sample conversations. Equal calls give equal text.

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// Whose transcript it is, where the agent works and since when.
struct SampleSession {
    std::string id;
    std::string workingDirectory = "/home/robin/code/lark";
    std::int64_t startedAt = 1'780'000'000; ///< Seconds of the Unix epoch.
};

/// Identifiers that depend on nothing but the seed.
class SampleIDs {
  public:
    explicit SampleIDs(std::string_view seed);

    /// Lower-case hexadecimal digits, at most 16.
    std::string hex(int digits);
    /// A UUID in lower case.
    std::string uuid();

  private:
    std::mt19937_64 random;
};

/// The conversation from which a fork was made; its first `recordCount` records belong to the fork too.
struct SampleForkBase {
    std::string id;
    std::int64_t recordCount = 0;
};

/// A transcript of Codex. Each turn begins with `ask` and ends with `answer` or `fail`; before that the agent
/// is at work.
class CodexTranscript {
  public:
    /// `baseInstructions` stand in the first record, which in real transcripts they make 15 to 20 KB long.
    explicit CodexTranscript(SampleSession session, std::string_view baseInstructions = "You are Codex.");
    /// A fork, whose transcript holds only its own turns.
    CodexTranscript(SampleSession session, const SampleForkBase& base);
    /// What is added to a transcript that holds `recordCount` records already, at a moment in milliseconds of
    /// the Unix epoch.
    static CodexTranscript continued(SampleSession session, std::int64_t recordCount, std::int64_t moment);
    /// Goes on at a later moment.
    CodexTranscript& at(std::int64_t moment);

    /// The user's message, in the first turn behind the scaffolding that Codex writes as user messages.
    CodexTranscript& ask(std::string_view text);
    /// What the agent says on the way.
    CodexTranscript& comment(std::string_view text);
    CodexTranscript& runCommand(std::string_view command, std::string_view output);
    CodexTranscript& answer(std::string_view text);
    /// Ends the turn without an answer.
    CodexTranscript& fail(std::string_view reason);

    const std::string& text() const { return lines; }
    std::int64_t recordCount() const { return count; }
    /// The identifiers of the latest turn and of the latest message.
    const std::string& turn() const { return turnID; }
    const std::string& message() const { return messageID; }

  private:
    struct Continued {};
    CodexTranscript(Continued, SampleSession session, std::int64_t recordCount);

    void writeMeta(const nlohmann::ordered_json& more);
    void write(std::string_view type, nlohmann::ordered_json payload);
    void writeEvent(std::string_view type, const nlohmann::ordered_json& more);
    void writeUserMessage(const std::vector<std::string>& texts, const std::vector<std::string>& kinds);
    void writeAssistantMessage(std::string_view text, std::string_view phase);

    SampleSession session;
    SampleIDs ids;
    std::string turnID, messageID;
    std::string lines;
    std::int64_t count = 0;
    std::int64_t nextRecordAt, pause; // In milliseconds.
    bool isFirstTurn = true;
};

/// A transcript of Claude Code: a chain of records from parent to child, with records of other kinds between
/// the messages.
class ClaudeTranscript {
  public:
    explicit ClaudeTranscript(SampleSession session);
    /// What is added behind the record `lastID` of a transcript; the session's start is when that begins.
    static ClaudeTranscript continued(SampleSession session, std::string lastID);

    /// The user's message, in the first turn with the attachments that follow it.
    ClaudeTranscript& ask(std::string_view text);
    /// What the agent says on the way.
    ClaudeTranscript& comment(std::string_view text);
    ClaudeTranscript& runCommand(std::string_view command, std::string_view output);
    ClaudeTranscript& answer(std::string_view text);
    /// A message of the user's that the agent takes up while a tool runs.
    ClaudeTranscript& takeUp(std::string_view text);
    /// A question to another agent and its answer, beside the chain.
    ClaudeTranscript& sidechain(std::string_view question, std::string_view answer);

    const std::string& text() const { return lines; }
    /// The identifier of the latest record of the chain.
    const std::string& lastRecord() const { return lastID; }

  private:
    enum class Chain { main, side };
    ClaudeTranscript(SampleSession session, std::string lastID);

    void write(const nlohmann::ordered_json& record);
    void writeLink(const nlohmann::ordered_json& record, Chain chain = Chain::main);
    void writeAttachment(const nlohmann::ordered_json& attachment);
    void writeAssistant(nlohmann::ordered_json item, std::string_view stopReason, Chain chain = Chain::main);

    SampleSession session;
    SampleIDs ids;
    std::string lastID, lastSideID; // Empty where a chain has not begun.
    std::string lines;
    std::int64_t recordCount = 0;
};

} // namespace orvel
