#pragma once
// Small conversations and a state to try the relay operations on.

#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelayState.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel::samples {

inline ConversationReference reference(Agent agent, const std::string& name) {
    return {agent,        name,          "Title of " + name, "/transcripts/" + name + ".jsonl",
            std::nullopt, 700'000'000.5, std::nullopt};
}

inline Message user(const std::string& text) {
    return {"u:" + text, "user", text};
}

inline Message assistant(const std::string& text) {
    return {"a:" + text, "assistant", text};
}

inline Conversation conversation(const ConversationReference& reference, std::vector<Message> messages) {
    return {reference.sessionID, reference.agent, reference.title, std::move(messages)};
}

/// Stamps with the identifiers NEW-1, NEW-2 and so on.
inline RelayStamp stamp() {
    return {[count = std::make_shared<int>(0)] { return "NEW-" + std::to_string(++*count); }, 1234.5};
}

/// Four conversations; the pair P1 joins `codex` and `claude`, each of which has a question and an answer.
struct Desk {
    ConversationReference codex = reference(Agent::codex, "codex-1");
    ConversationReference claude = reference(Agent::claude, "claude-1");
    ConversationReference codex2 = reference(Agent::codex, "codex-2");
    ConversationReference claude2 = reference(Agent::claude, "claude-2");
    Conversation codexTalk = conversation(codex, {user("q1"), assistant("a1")});
    Conversation claudeTalk = conversation(claude, {user("q2"), assistant("a2")});
    RelayState state;
    RelayStamp stamps = stamp();

    Desk() { addPair("P1", codex, claude); }

    void addPair(const std::string& id, const ConversationReference& withCodex,
                 const ConversationReference& withClaude, std::optional<Date> archivedAt = std::nullopt) {
        state.pairs.append(RelayPair{id, withCodex, withClaude, archivedAt, RelaySpeakerContext()});
    }

    RelayTransfer prepareFromCodex(const std::string& instruction = "",
                                   const std::optional<std::string>& start = std::nullopt) {
        return state.prepare({"P1", Agent::codex, codexTalk, claudeTalk, instruction, start}, stamps);
    }

    RelayTransfer prepareFromClaude(const std::string& instruction = "") {
        return state.prepare({"P1", Agent::claude, claudeTalk, codexTalk, instruction, std::nullopt}, stamps);
    }

    /// Lets the transfer stand in the destination's transcript, and reconciles.
    bool deliver(const RelayTransfer& transfer) {
        auto& destination = transfer.source == Agent::codex ? claudeTalk : codexTalk;
        destination.messages.push_back({"got:" + transfer.id, "user", *transfer.payload});
        return state.reconcile(transfer.id, destination);
    }

    RelayInitialTransfer prepareInitial(const std::string& instruction = "begin",
                                        const std::optional<RelayLinkAttachment>& attachment = std::nullopt) {
        return state.prepareInitial({.sourceReference = codex,
                                     .conversation = codexTalk,
                                     .instruction = instruction,
                                     .existingDestinationIDs = std::vector<std::string>{"claude:old"},
                                     .linkAttachment = attachment},
                                    stamps);
    }
};

/// The case with which the operation fails, if it does.
template <typename Operation>
std::optional<RelayError::Case> failureOf(Operation operation) {
    try {
        operation();
    } catch (const RelayError& error) {
        return error.kind();
    }
    return std::nullopt;
}

inline std::vector<std::string> textsOf(const std::vector<Message>& messages) {
    std::vector<std::string> texts;
    for (const auto& message : messages) texts.push_back(message.role + ":" + message.text);
    return texts;
}

} // namespace orvel::samples

namespace orvel {
inline void PrintTo(RelayError::Case kind, std::ostream* out) {
    *out << RelayError(kind).caseName();
}
} // namespace orvel
