// The texts and names of the relay: speaker labels, relays that must not quote each other, and recognised
// receipts.
#include "OrvelCore/relay/RelayText.h"

#include "OrvelCore/relay/RelayState.h"

#include <algorithm>
#include <unordered_map>

namespace orvel {

namespace {

std::string withPlainLineFeeds(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t from = 0; from < text.size();) {
        const auto pair = std::min(text.find("\r\n", from), text.size());
        plain += text.substr(from, pair - from);
        from = pair;
        if (from == text.size()) break;
        plain += '\n';
        from += 2;
    }
    return plain;
}

bool skip(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(expected.size());
    return true;
}

} // namespace

std::string RelaySpeakerContext::label(const ConversationReference& reference) const {
    if (const auto frozen = frozenLabels.find(reference.id()); frozen != frozenLabels.end())
        return frozen->second;
    auto used = usedLabels;
    for (const auto& [key, text] : frozenLabels) used.insert(text);
    std::string base(rawValue(reference.agent));
    if (!used.contains(base)) return base;
    for (int number = 2;; ++number)
        if (auto numbered = base + " " + std::to_string(number); !used.contains(numbered)) return numbered;
}

void RelaySpeakerContext::freeze(const ConversationReference& reference,
                                 std::optional<std::string> newLabel) {
    const auto key = reference.id();
    if (frozenLabels.contains(key)) return;
    const auto text = newLabel ? *newLabel : label(reference);
    frozenLabels[key] = text;
    usedLabels.insert(text);
}

RelaySpeakerContext RelayState::speakerContextForReplacement(std::string_view pairID) const {
    const auto pair = foundPair(pairID);
    auto context = pair->speakerContext.value_or(RelaySpeakerContext());
    // Payloads from before labels existed quote the raw agent names.
    for (const auto& transfer : transfers)
        if (transfer.pairID == pairID && !transfer.assistantLabel)
            context.freeze(pair->endpoint(transfer.source), std::string(rawValue(transfer.source)));
    return context;
}

std::string RelayInitialTransfer::speakerLabel(const ConversationReference& reference) const {
    if (sameKey(reference, sourceReference))
        return assistantLabel.value_or(std::string(rawValue(sourceReference.agent)));
    if (speakerContext) return speakerContext->label(reference);
    return std::string(rawValue(reference.agent));
}

RelayState::ReceivedRelays RelayState::receivedRelays(std::string_view pairID, Agent side) const {
    ReceivedRelays received;
    for (const auto& transfer : transfers)
        if (transfer.pairID == pairID && transfer.source == other(side) && !transfer.isPending() &&
            transfer.receivedMessageID)
            received[*transfer.receivedMessageID] = &transfer;
    return received;
}

// A message that is itself a relay from the other side is not quoted back to it: only what the user said
// there to this conversation survives.
std::vector<Message> RelayState::excludingIncomingQuotes(std::span<const Message> messages,
                                                         std::string_view pairID, Agent source) const {
    const auto incoming = receivedRelays(pairID, source);
    std::vector<Message> kept;
    kept.reserve(messages.size());
    for (const auto& message : messages) {
        const auto relay = incoming.find(message.id);
        if (relay == incoming.end())
            kept.push_back(message);
        else if (const auto& instruction = relay->second->instruction; !instruction.empty())
            kept.push_back({message.id, "user", instruction});
    }
    return kept;
}

ReceiptMatcher::ReceiptMatcher(std::string_view payload, Agent destination)
    : payload(withPlainLineFeeds(payload)), destination(destination) {}

bool ReceiptMatcher::matches(std::string_view received) const {
    if (received.size() < payload.size()) return false;
    if (received.find("\r\n") != received.npos) return matchesPlain(withPlainLineFeeds(received));
    return matchesPlain(received);
}

bool ReceiptMatcher::matchesPlain(std::string_view received) const {
    return received == payload || (destination == Agent::claude && matchesPastedBlock(received));
}

// The closing tag repeats the attribute: this is the form that the Claude application writes.
bool ReceiptMatcher::matchesPastedBlock(std::string_view received) const {
    if (!skip(received, "\n\n<pasted_content id=\"")) return false;
    const auto identifier = received.substr(0, 4);
    const bool isIdentifier =
        identifier.size() == 4 && identifier.find_first_not_of("0123456789abcdef") == identifier.npos;
    return isIdentifier && skip(received, identifier) && skip(received, "\">\n") && skip(received, payload) &&
           skip(received, "\n</pasted_content id=\"") && skip(received, identifier) && received == "\">\n";
}

} // namespace orvel
