// Chains of conversations: their making, growing, closing and notes.
#include "OrvelCore/relay/RelayLink.h"

#include "OrvelCore/relay/RelayChecks.h"
#include "OrvelCore/relay/RelayState.h"
#include "OrvelCore/relay/RelayTransaction.h"

#include <algorithm>
#include <unordered_set>

namespace orvel {

using Case = RelayError::Case;

bool RelayLink::containsPair(std::string_view pairID) const {
    return std::find(pairIDs.begin(), pairIDs.end(), pairID) != pairIDs.end();
}

bool RelayLink::containsIdentity(const ConversationReference& reference) const {
    return std::any_of(conversations.begin(), conversations.end(),
                       [&](const auto& member) { return sameIdentity(member, reference); });
}

const RelayLinkNote* RelayLink::note(const ConversationReference& reference) const {
    const auto found = sourceNotes.find(reference.id());
    return found == sourceNotes.end() ? nullptr : &found->second;
}

RelayLink RelayState::extendLink(std::string_view fromPairID, RelayLinkEnd at,
                                 const ConversationReference& with, const RelayStamp& stamp) {
    const auto row = extensionRow(fromPairID, true);
    checkExtension(row, at, with, std::nullopt);
    const auto& anchor = row.member(at);
    const auto joined = pairs.findIf([&](const RelayPair& pair) {
        return pair.isActive() && sameIdentity(pair.endpoint(anchor.agent), anchor) &&
               sameIdentity(pair.endpoint(with.agent), with);
    });
    require(!joined, Case::activePairExists);
    return onCopy(*this, [&](RelayState& copy) {
        const bool anchorIsCodex = anchor.agent == Agent::codex;
        const auto made = copy.pair(anchorIsCodex ? anchor : with, anchorIsCodex ? with : anchor,
                                    row.speakerContext, stamp);
        return copy.attachPairUnchecked(made.id, fromPairID, at, std::nullopt, stamp);
    });
}

RelayLink RelayState::attachPair(std::string_view pairID, std::string_view to, RelayLinkEnd at,
                                 const RelayStamp& stamp) {
    return onCopy(*this, [&](RelayState& copy) {
        return copy.attachPairUnchecked(pairID, to, at, std::nullopt, stamp);
    });
}

void RelayState::archiveLink(std::string_view id, Date at) {
    const auto stored = validatedLink(links.find(id));
    require(!pendingTransfer(*stored), Case::pendingTransfer);
    for (const auto& member : stored->conversations) require(!pendingInitial(member), Case::pendingTransfer);
    if (!stored->isActive()) return;
    links.change(id, [&](RelayLink& link) { link.archivedAt = at; });
    for (const auto& pairID : stored->pairIDs)
        pairs.change(pairID, [&](RelayPair& pair) { pair.archivedAt = at; });
}

void RelayState::restoreLink(std::string_view id) {
    const auto stored = validatedLink(links.find(id));
    for (const auto& pairID : stored->pairIDs) {
        const auto member = foundPair(pairID);
        const auto rival = pairs.findIf([&](const RelayPair& pair) {
            return pair.isActive() && !stored->containsPair(pair.id) && sameKey(pair.codex, member->codex) &&
                   sameKey(pair.claude, member->claude);
        });
        require(!rival, Case::activePairExists);
    }
    links.change(id, [](RelayLink& link) { link.archivedAt.reset(); });
    for (const auto& pairID : stored->pairIDs)
        pairs.change(pairID, [](RelayPair& pair) { pair.archivedAt.reset(); });
}

std::vector<ConversationReference> RelayState::orderedReferences(std::string_view pairID) const {
    return extensionRow(pairID, false).conversations;
}

RelaySpeakerContext RelayState::speakerContextForExtension(std::string_view pairID) const {
    return extensionRow(pairID, true).speakerContext;
}

void RelayState::setSourceInstruction(std::string_view linkID, const ConversationReference& sourceReference,
                                      std::string_view instruction) {
    const auto stored = links.find(linkID);
    require(stored && stored->isActive() && stored->containsIdentity(sourceReference),
            Case::conversationMismatch);
    links.change(linkID, [&](RelayLink& link) {
        const auto* old = link.note(sourceReference);
        const auto revision = nextRevision(old ? old->revision : 0);
        link.sourceNotes[sourceReference.id()] = {std::string(instruction), revision};
    });
}

std::string RelayState::sourceInstruction(std::string_view linkID,
                                          const ConversationReference& sourceReference) const {
    const auto stored = links.find(linkID);
    require(stored && stored->containsIdentity(sourceReference), Case::conversationMismatch);
    const auto* note = stored->note(sourceReference);
    return note ? note->instruction : std::string();
}

// The link, if the chain holds together. The greatest length is not looked at: it counts when a chain grows.
std::shared_ptr<const RelayLink> RelayState::validatedLink(std::shared_ptr<const RelayLink> link) const {
    require(link && link->conversations.size() >= 2 && link->pairIDs.size() + 1 == link->conversations.size(),
            Case::invalidLink);
    std::unordered_set<std::string> keys;
    for (const auto& member : link->conversations)
        require(keys.insert(member.id()).second, Case::invalidLink);
    const std::unordered_set<std::string_view> ids(link->pairIDs.begin(), link->pairIDs.end());
    require(ids.size() == link->pairIDs.size(), Case::invalidLink);
    for (std::size_t i = 0; i < link->pairIDs.size(); ++i) {
        const auto& left = link->conversations[i];
        const auto& right = link->conversations[i + 1];
        const auto pair = pairs.find(link->pairIDs[i]);
        require(left.agent != right.agent && pair && sameIdentity(pair->endpoint(left.agent), left) &&
                    sameIdentity(pair->endpoint(right.agent), right) && pair->isActive() == link->isActive(),
                Case::invalidLink);
    }
    return link;
}

// The link as seen from one of its pairs. A lone pair gives the link that it would become, which has no
// identifier yet and begins with the Claude end.
RelayLink RelayState::extensionRow(std::string_view pairID, bool requireActive) const {
    if (const auto holding = link(pairID)) {
        require(!requireActive || holding->isActive(), Case::pairArchived);
        return *validatedLink(holding);
    }
    const auto stored = foundPair(pairID);
    require(!requireActive || stored->isActive(), Case::pairArchived);
    RelayLink row;
    row.conversations = {stored->claude, stored->codex};
    row.pairIDs = {std::string(pairID)};
    row.speakerContext = speakerContextForReplacement(pairID);
    row.archivedAt = stored->archivedAt;
    for (const auto& member : row.conversations) {
        row.speakerContext.freeze(member);
        row.sourceNotes[member.id()] = {draft(pairID, member.agent).instruction, 0};
    }
    return row;
}

// Whether the conversation may become a member at this end.
// Whether a new conversation may join the row behind the source.
void RelayState::requireFreeEnd(const RelayLink& row, RelayLinkEnd end,
                                const ConversationReference& source) const {
    require(row.conversations.size() < RelayLink::maximumConversations, Case::linkCapacity);
    require(sameIdentity(row.member(end), source), Case::conversationMismatch);
    require(!pendingTransfer(row), Case::pendingTransfer);
}

void RelayState::requireExtensible(const RelayLinkAttachment& attachment, const ConversationReference& source,
                                   std::optional<std::string_view> allowedInitialID) const {
    const auto row = extensionRow(attachment.anchorPairID, true);
    requireFreeEnd(row, attachment.end, source);
    require(!pendingInitial(row, allowedInitialID), Case::pendingTransfer);
}

void RelayState::checkExtension(const RelayLink& link, RelayLinkEnd end,
                                const ConversationReference& conversation,
                                std::optional<std::string_view> allowedInitialID) const {
    require(link.conversations.size() < RelayLink::maximumConversations, Case::linkCapacity);
    for (const auto& member : link.conversations)
        require(!sameKey(member, conversation), Case::duplicateLinkConversation);
    require(link.member(end).agent != conversation.agent, Case::unsupportedAdjacentAgents);
    // A second file that claims the same conversation identifier stops here.
    for (const auto& pair : pairs) {
        if (!pair.isActive()) continue;
        const auto& known = pair.endpoint(conversation.agent);
        require(!sameKey(known, conversation) || sameIdentity(known, conversation),
                Case::conversationMismatch);
    }
    require(!pendingTransfer(link), Case::pendingTransfer);
    for (const auto& initial : initialTransfers)
        if (initial.isPending() && initial.id != allowedInitialID)
            require(!link.containsIdentity(initial.sourceReference), Case::pendingTransfer);
}

RelayLink RelayState::attachPairUnchecked(std::string_view pairID, std::string_view to, RelayLinkEnd at,
                                          std::optional<std::string_view> allowedInitialID,
                                          const RelayStamp& stamp) {
    require(pairID != to, Case::invalidLink);
    require(!link(pairID), Case::invalidLink);
    const auto joining = pairs.find(pairID);
    require(joining && joining->isActive(), Case::invalidLink);
    auto row = extensionRow(to, true);
    const auto anchorAgent = row.member(at).agent;
    require(sameIdentity(joining->endpoint(anchorAgent), row.member(at)), Case::conversationMismatch);
    const auto& newMember = joining->endpoint(other(anchorAgent));
    checkExtension(row, at, newMember, allowedInitialID);
    for (const auto& transfer : transfers)
        if (transfer.pairID == pairID && transfer.isPending())
            require(transfer.id == allowedInitialID, Case::pendingTransfer);
    row.speakerContext.freeze(newMember);
    // Joining must not rename a speaker in a text that has already gone out.
    for (const auto& transfer : transfers) {
        if (transfer.pairID != pairID) continue;
        const auto quoted = transfer.assistantLabel.value_or(std::string(rawValue(transfer.source)));
        require(row.speakerContext.label(joining->endpoint(transfer.source)) == quoted, Case::invalidLink);
    }

    const bool isTrailing = at == RelayLinkEnd::trailing;
    row.conversations.insert(isTrailing ? row.conversations.end() : row.conversations.begin(), newMember);
    row.pairIDs.emplace(isTrailing ? row.pairIDs.end() : row.pairIDs.begin(), pairID);
    row.sourceNotes[newMember.id()] = {draft(pairID, newMember.agent).instruction, 0};
    for (const auto& id : row.pairIDs)
        pairs.change(id, [&](RelayPair& pair) { pair.speakerContext = row.speakerContext; });
    if (const auto stored = link(to)) {
        links.change(stored->id, [&](RelayLink& link) { link = row; });
    } else {
        row.id = stamp.newID();
        links.append(row);
    }
    return row;
}

} // namespace orvel
