#include "Orvel/model/MessageSearch.h"

#include "Orvel/model/Notices.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

namespace {

bool holdsAll(const Conversation& conversation, std::vector<std::string> words) {
    for (const auto& message : conversation.messages) {
        const auto text = foldedForSearch(message.text);
        std::erase_if(words, [&](const std::string& word) { return text.find(word) != text.npos; });
        if (words.empty()) return true;
    }
    return false;
}

} // namespace

std::vector<std::string> searchedWords(std::string_view query) {
    std::vector<std::string> words;
    const auto folded = foldedForSearch(query);
    for (std::size_t from = 0; (from = folded.find_first_not_of(" \t", from)) != folded.npos;) {
        const auto end = std::min(folded.find_first_of(" \t", from), folded.size());
        words.push_back(folded.substr(from, end - from));
        from = end;
    }
    return words;
}

std::unordered_set<std::string> conversationsHolding(std::string_view query,
                                                     std::span<const LoadedConversation> loaded) {
    std::unordered_set<std::string> paths;
    const auto words = searchedWords(query);
    if (words.empty()) return paths;
    for (const auto& [path, conversation] : loaded)
        if (holdsAll(*conversation, words)) paths.insert(path);
    return paths;
}

MessageSearch::MessageSearch(const ChangeSignal& changes, Notices& notices, MainLoop& loop,
                             const ConversationReadings& readings, const WorkspaceState& workspace)
    : found(changes),
      loop(loop),
      readings(readings),
      workspace(workspace),
      tasks([&notices](const auto& failure) { notices.fail(failure); }) {}

void MessageSearch::look(std::string query) {
    Wanted next{std::move(query), readings.revision(), workspace.conversation.revision()};
    if (next == wanted || (next.query.empty() && wanted.query.empty())) return;
    wanted = std::move(next);
    if (!isSearching) tasks.start(search());
}

Task<void> MessageSearch::search() {
    const WhileTrue searching(isSearching);
    Wanted done;
    do {
        done = wanted;
        std::vector<LoadedConversation> loaded;
        for (const auto& [key, conversation] : readings.latest())
            loaded.emplace_back(ConversationReader::pathIn(key), conversation);
        if (const auto& open = workspace.conversation.get(); open && workspace.filePath.get())
            loaded.emplace_back(*workspace.filePath.get(), open);
        const auto look = [query = done.query, loaded = std::move(loaded)] {
            return conversationsHolding(query, loaded);
        };
        auto paths = co_await loop.background(look);
        if (done == wanted) found = Result{done.query, std::move(paths)};
    } while (done != wanted);
}

} // namespace orvel
