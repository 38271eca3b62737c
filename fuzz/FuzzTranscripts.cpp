// Transcripts of both agents: the first byte picks the agent, the rest is the transcript.

#include "Claim.h"

#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/text/Digest.h"
#include "OrvelCore/text/Unicode.h"

#include <cstdint>
#include <optional>
#include <unordered_set>

using namespace orvel;

namespace {

std::optional<Conversation> parsed(std::string_view text, Agent agent) try {
    return TranscriptReader::parse(text, agent, "fallback", "Title");
} catch (const TranscriptError&) {
    return std::nullopt;
}

void claimWellFormed(const Conversation& conversation) {
    claim(!conversation.messages.empty(), "a conversation has messages");
    claim(isValidUTF8(conversation.id), "the session is UTF-8");
    std::unordered_set<std::string> ids;
    for (const auto& message : conversation.messages) {
        claim(message.role == "user" || message.role == "assistant", "there are two roles");
        claim(!trimmed(message.text).empty(), "no message is blank");
        claim(isValidUTF8(message.text) && isValidUTF8(message.id), "messages are UTF-8");
        claim(ids.insert(message.id).second, "identities are unique");
        claim(message.id.ends_with(":" + sha256Hex({message.role, "\n", message.text})),
              "an identity ends with the digest of role and text");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const auto agent = data[0] % 2 == 0 ? Agent::codex : Agent::claude;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto conversation = parsed(text, agent);
    if (conversation) claimWellFormed(*conversation);
    claim(parsed(text + "\n \t\n", agent) == conversation, "blank lines at the end change nothing");
    if (!conversation) return 0;
    const auto extended = parsed(text + "\n{\"a\":\"\u2028\"}", agent);
    claim(!extended || extended == conversation,
          "a line that line feeds alone end changes nothing before it");
    return 0;
}
