#include "Orvel/model/SidebarContents.h"

#include "Orvel/model/MessageSearch.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <unordered_map>

#include <fmt/format.h>

namespace orvel {

namespace {

// The best names that are known for a row's conversation.
void name(SidebarRow& row, const SidebarContents::ThreadTitles& threadTitles, const ReadNames& names) {
    if (!row.reference) {
        if (row.link || isReadableName(row.title)) return;
        const auto read = names.find(row.path);
        row.title = read != names.end() ? read->second.title.value_or(std::string(untitled)) : untitled;
        return;
    }
    const auto& reference = *row.reference;
    const auto thread =
        reference.agent == Agent::codex ? threadTitles.find(reference.sessionID) : threadTitles.end();
    row.title = thread != threadTitles.end() ? thread->second : shownTitle(reference, names);
    row.folder = shownFolder(reference, names);
}

std::string searchedText(const SidebarRow& row) {
    auto text = row.title + '\n' + row.folder;
    if (row.reference) text += '\n' + row.reference->sessionID;
    return foldedForSearch(text);
}

} // namespace

namespace {

// The pair's last message, or that of its link: one that waits comes before all others.
SidebarLink linkOf(const ModelView& view, const RelayPair& pair, const RelayLink* link,
                   const std::unordered_map<std::string_view, const RelayTransfer*>& latest) {
    const RelayTransfer* shown = nullptr;
    for (const auto& id : link ? link->pairIDs : std::vector<std::string>{pair.id}) {
        const auto found = latest.find(id);
        if (found == latest.end()) continue;
        const auto* each = found->second;
        const bool isBetter = !shown || (each->isPending() && !shown->isPending()) ||
                              (each->isPending() == shown->isPending() && each->createdAt > shown->createdAt);
        if (isBetter) shown = each;
    }
    if (!shown) return {.pairID = pair.id};
    return {
        .pairID = pair.id, .standing = view.outbox.standing(*shown, view.relay), .date = shown->createdAt};
}

void addRows(const ModelView& view, std::span<const SidebarLink> links, SidebarRow::Section section,
             std::vector<SidebarRow>& rows) {
    const auto& names = view.catalogue.readNames.get();
    for (const auto& link : links) {
        const auto pair = view.records.relayState->pairs.find(link.pairID);
        if (!pair) continue;
        const auto codex = shownFolder(pair->codex, names), claude = shownFolder(pair->claude, names);
        rows.push_back({.section = section,
                        .title = pairLabel(view, *pair),
                        .folder = codex == claude ? codex : fmt::format("{} ↔ {}", claude, codex),
                        .date = link.date,
                        .link = link});
    }
}

} // namespace

SidebarLinks sidebarLinks(const ModelView& view) {
    const auto& state = view.records.relayState.get();
    std::unordered_map<std::string_view, const RelayTransfer*> latest; // By pair.
    for (const auto& transfer : state.transfers) latest[transfer.pairID] = &transfer;
    std::unordered_map<std::string_view, const RelayLink*> linkOfPair;
    for (const auto& link : state.links)
        for (const auto& id : link.pairIDs) linkOfPair[id] = &link;

    SidebarLinks links;
    for (const auto& pair : state.pairs) {
        const auto found = linkOfPair.find(pair.id);
        const auto* link = found == linkOfPair.end() ? nullptr : found->second;
        if (link && link->pairIDs.front() != pair.id) continue;
        (pair.isActive() ? links.open : links.closed).push_back(linkOf(view, pair, link, latest));
    }
    std::reverse(links.open.begin(), links.open.end());
    std::reverse(links.closed.begin(), links.closed.end());
    for (const auto& initial : state.initialTransfers)
        if (initial.isPending())
            links.waiting.insert_or_assign(initial.sourceReference.id(), view.outbox.standing(initial));
    return links;
}

std::vector<SidebarRow> linkRows(const ModelView& view, const SidebarLinks& links) {
    std::vector<SidebarRow> rows;
    addRows(view, links.open, SidebarRow::Section::links, rows);
    addRows(view, links.closed, SidebarRow::Section::closedLinks, rows);
    return rows;
}

SidebarContents::SidebarContents(std::vector<SidebarRow> links, std::span<const RecentConversation> recents,
                                 std::span<const ConversationReference> catalog,
                                 const ThreadTitles& threadTitles, const ReadNames& names,
                                 const WaitingStarts& waiting) {
    const auto mark = [&](SidebarRow& row) {
        const auto found = row.reference ? waiting.find(row.reference->id()) : waiting.end();
        if (found != waiting.end()) row.waiting = found->second;
    };
    std::unordered_map<std::string_view, const ConversationReference*> byPath;
    for (const auto& reference : catalog) byPath.emplace(reference.transcriptPath, &reference);

    for (auto& link : links) add(std::move(link));
    for (const auto& recent : recents) {
        SidebarRow row{.section = SidebarRow::Section::recent,
                       .agent = recent.source,
                       .title = recent.title,
                       .folder = std::string(lastPathComponent(parentFolder(recent.path))),
                       .date = recent.lastUsed,
                       .path = recent.path,
                       .isAvailable = recent.isAvailable()};
        const auto known = byPath.find(recent.path);
        if (known != byPath.end() && known->second->agent == recent.source) row.reference = *known->second;
        name(row, threadTitles, names);
        mark(row);
        add(std::move(row));
    }
    for (const auto& reference : catalog) {
        SidebarRow row{.section = SidebarRow::Section::conversations,
                       .agent = reference.agent,
                       .date = reference.modifiedAt,
                       .path = reference.transcriptPath,
                       .reference = reference};
        name(row, threadTitles, names);
        mark(row);
        add(std::move(row));
    }
}

void SidebarContents::add(SidebarRow row) {
    searched.push_back(searchedText(row));
    all.push_back(std::move(row));
}

void SidebarContents::rename(std::span<const SidebarRow> links, const ThreadTitles& threadTitles,
                             const ReadNames& names) {
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto row = all[i].link && i < links.size() ? links[i] : all[i];
        name(row, threadTitles, names);
        if (row.title == all[i].title && row.folder == all[i].folder && row.link == all[i].link) continue;
        searched[i] = searchedText(row);
        all[i] = std::move(row);
    }
}

std::vector<std::size_t> SidebarContents::matching(std::string_view query, const Scope& scope,
                                                   const std::unordered_set<std::string>& holding) const {
    const auto words = searchedWords(query);
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool isInScope = all[i].link ? scope.links : !scope.agent || all[i].agent == *scope.agent;
        if (!isInScope) continue;
        const auto holds = [&](const std::string& word) {
            return searched[i].find(word) != std::string::npos;
        };
        const bool isNamed = std::all_of(words.begin(), words.end(), holds);
        if (isNamed || (!all[i].link && holding.contains(all[i].path))) found.push_back(i);
    }
    return found;
}

} // namespace orvel
