#include "Orvel/model/SidebarContents.h"

#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <unordered_map>

#include <fmt/format.h>

namespace orvel {

namespace {

// The folder the agent works in; where the transcript does not say, the one that the transcript lies in.
std::string folderName(const ConversationReference& reference) {
    const std::string_view folder =
        reference.workingDirectory ? *reference.workingDirectory : parentFolder(reference.transcriptPath);
    return std::string(lastPathComponent(folder));
}

std::vector<std::string> wordsOf(std::string_view query) {
    std::vector<std::string> words;
    const auto folded = foldedForSearch(query);
    for (std::size_t from = 0; (from = folded.find_first_not_of(" \t", from)) != folded.npos;) {
        const auto end = std::min(folded.find_first_of(" \t", from), folded.size());
        words.push_back(folded.substr(from, end - from));
        from = end;
    }
    return words;
}

} // namespace

std::vector<SidebarLink> sidebarLinks(const ModelView& view) {
    const auto& state = view.records.relayState.get();
    std::unordered_map<std::string_view, const RelayTransfer*> latest; // By pair.
    for (const auto& transfer : state.transfers) latest[transfer.pairID] = &transfer;

    std::vector<SidebarLink> links;
    for (const auto& pair : state.pairs) {
        if (!pair.isActive()) continue;
        const auto transfer = latest.find(pair.id);
        links.push_back(transfer == latest.end()
                            ? SidebarLink{.pairID = pair.id}
                            : SidebarLink{.pairID = pair.id,
                                          .standing = view.outbox.standing(*transfer->second, view.relay),
                                          .date = transfer->second->createdAt});
    }
    std::reverse(links.begin(), links.end());
    return links;
}

std::vector<SidebarRow> linkRows(const ModelView& view, std::span<const SidebarLink> links) {
    std::vector<SidebarRow> rows;
    for (const auto& link : links) {
        const auto pair = view.records.relayState->pairs.find(link.pairID);
        if (!pair) continue;
        const auto codex = folderName(pair->codex), claude = folderName(pair->claude);
        rows.push_back({.section = SidebarRow::Section::links,
                        .title = pairLabel(view, *pair),
                        .folder = codex == claude ? codex : fmt::format("{} ↔ {}", claude, codex),
                        .date = link.date,
                        .link = link});
    }
    return rows;
}

SidebarContents::SidebarContents(std::vector<SidebarRow> links, std::span<const RecentConversation> recents,
                                 std::span<const ConversationReference> catalog,
                                 const std::map<std::string, std::string>& codexThreadTitles) {
    std::unordered_map<std::string_view, const ConversationReference*> byPath;
    for (const auto& reference : catalog) byPath.emplace(reference.transcriptPath, &reference);
    const auto title = [&](const ConversationReference& reference) {
        const auto thread = codexThreadTitles.find(reference.sessionID);
        return reference.agent == Agent::codex && thread != codexThreadTitles.end() ? thread->second
                                                                                    : reference.title;
    };

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
        if (known != byPath.end() && known->second->agent == recent.source) {
            row.title = title(*known->second);
            row.folder = folderName(*known->second);
            row.reference = *known->second;
        }
        add(std::move(row));
    }
    for (const auto& reference : catalog)
        add({.section = SidebarRow::Section::conversations,
             .agent = reference.agent,
             .title = title(reference),
             .folder = folderName(reference),
             .date = reference.modifiedAt,
             .path = reference.transcriptPath,
             .reference = reference});
}

void SidebarContents::add(SidebarRow row) {
    auto text = row.title + '\n' + row.folder;
    if (row.reference) text += '\n' + row.reference->sessionID;
    searched.push_back(foldedForSearch(text));
    all.push_back(std::move(row));
}

std::vector<std::size_t> SidebarContents::matching(std::string_view query, const Scope& scope) const {
    const auto words = wordsOf(query);
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool isInScope = all[i].link ? scope.links : !scope.agent || all[i].agent == *scope.agent;
        if (!isInScope) continue;
        const auto holds = [&](const std::string& word) {
            return searched[i].find(word) != std::string::npos;
        };
        if (std::all_of(words.begin(), words.end(), holds)) found.push_back(i);
    }
    return found;
}

} // namespace orvel
