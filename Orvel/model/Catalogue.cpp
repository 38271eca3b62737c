#include "Orvel/model/Catalogue.h"

#include "Orvel/desktop/FileStore.h"
#include "Orvel/model/Notices.h"
#include "OrvelCore/conversations/ConversationCatalog.h"

#include <algorithm>

namespace orvel {

namespace {

struct Discovery {
    std::vector<ConversationReference> catalog;
    std::map<std::string, std::string> codexThreadTitles;
};

} // namespace

std::optional<ConversationReference> CatalogueState::entry(Agent agent, std::string_view sessionID,
                                                           std::string_view path) const {
    for (const auto& entry : catalog.get())
        if (entry.agent == agent && entry.sessionID == sessionID && entry.transcriptPath == path)
            return entry;
    return std::nullopt;
}

std::string CatalogueState::conversationTitle(const ConversationReference& reference) const {
    if (reference.agent == Agent::codex) {
        const auto thread = codexThreadTitles->find(reference.sessionID);
        if (thread != codexThreadTitles->end()) return thread->second;
    }
    const auto known = entry(reference.agent, reference.sessionID, reference.transcriptPath);
    return shownTitle(known.value_or(reference), readNames);
}

Catalogue::Catalogue(const ChangeSignal& changes, Notices& notices, MainLoop& loop, FileStore& files,
                     AgentFolders folders, std::string recentsPath)
    : held(changes),
      notices(notices),
      loop(loop),
      files(files),
      folders(std::move(folders)),
      recents(std::move(recentsPath)),
      turns(loop),
      tasks([&notices](const auto& failure) { notices.fail(failure); }) {
    held.recentConversations = recents.entries();
    if (const auto& problem = recents.loadErrorDescription()) notices.fail(*problem);
}

void Catalogue::discoverConversations() {
    if (!held.isDiscovering) tasks.start(discover());
}

Task<void> Catalogue::discover() {
    const WhileTrue discovering(held.isDiscovering);
    const auto search = [folders = folders] {
        return Discovery{ConversationCatalog::list(folders), ConversationCatalog::codexThreadTitles(folders)};
    };
    auto found = co_await loop.background(search);
    held.catalog = std::move(found.catalog);
    held.codexThreadTitles = std::move(found.codexThreadTitles);
    onDiscovered();
}

void Catalogue::readNames(std::span<const ConversationReference> wanted) {
    for (const auto& reference : wanted) {
        if (!ConversationNames::areMissing(reference)) continue;
        const auto known = wantedWhen.find(reference.transcriptPath);
        if (known != wantedWhen.end() && known->second == reference.modifiedAt) continue;
        wantedWhen[reference.transcriptPath] = reference.modifiedAt;
        wantedNames.push_back(reference);
    }
    if (!wantedNames.empty() && !isReadingNames) tasks.start(readWantedNames());
}

Task<void> Catalogue::readWantedNames() {
    constexpr std::ptrdiff_t atOnce = 128;
    const WhileTrue reading(isReadingNames);
    while (!wantedNames.empty()) {
        const auto begin =
            wantedNames.end() - std::min(atOnce, static_cast<std::ptrdiff_t>(wantedNames.size()));
        const auto read = [batch = std::vector(begin, wantedNames.end())] { return orvel::readNames(batch); };
        wantedNames.erase(begin, wantedNames.end());
        auto all = co_await loop.background(read);
        for (const auto& [path, names] : held.readNames.get()) all.try_emplace(path, names);
        held.readNames = std::move(all);
    }
}

void Catalogue::recordRecent(const Conversation& opened, const std::string& path, Agent source) {
    const auto record = [source, title = opened.title, path, now = loop.now()](const Recents& recents) {
        return recents.recording(source, title, path, now);
    };
    tasks.start(
        changeRecents(record, "The conversation was loaded, but couldn't be saved to recent conversations."));
}

void Catalogue::removeRecent(std::string_view id) {
    const auto remove = [id = std::string(id)](const Recents& recents) { return recents.removing(id); };
    tasks.start(changeRecents(remove, "Couldn't remove the conversation from recent conversations."));
}

Task<void> Catalogue::changeRecents(std::function<Recents::Change(const Recents&)> change,
                                    std::string complaint) {
    const auto turn = co_await turns.next();
    try {
        auto changed = change(recents);
        co_await files.replaceFile(recents.path(), changed.contents);
        recents.adopt(std::move(changed));
        held.recentConversations = recents.entries();
    } catch (const std::exception& failure) {
        notices.fail(complaint + "\n" + failure.what());
    }
}

} // namespace orvel
