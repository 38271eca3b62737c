#include "OrvelCore/conversations/RecentConversationsStore.h"

#include "OrvelCore/conversations/JsonDocument.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <unordered_set>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

bool isUsable(std::string_view path, Date lastUsed) {
    return path.starts_with('/') && path.find('\0') == path.npos && isValidUTF8(path) &&
           std::isfinite(lastUsed);
}

std::string shortTitle(std::string_view title) {
    return std::string(firstCharacters(title, RecentConversationsStore::maximumTitleCharacters));
}

std::vector<RecentConversation> normalized(std::vector<RecentConversation> entries) {
    std::erase_if(entries, [](const auto& entry) { return !isUsable(entry.path, entry.lastUsed); });
    for (auto& entry : entries) {
        entry.path = standardizedPath(entry.path);
        entry.title = shortTitle(entry.title);
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return a.lastUsed != b.lastUsed ? a.lastUsed > b.lastUsed : a.path < b.path;
    });
    std::unordered_set<std::string> seen;
    std::erase_if(entries, [&](const auto& entry) { return !seen.insert(entry.path).second; });
    if (entries.size() > RecentConversationsStore::maximumEntries)
        entries.resize(RecentConversationsStore::maximumEntries);
    return entries;
}

RecentConversation decodedEntry(const nlohmann::json& json) {
    const auto source = agentNamed(json.at("source").get_ref<const std::string&>());
    if (!source) throw std::invalid_argument("source");
    return {*source, json.at("title").get<std::string>(), json.at("path").get<std::string>(),
            json.at("lastUsed").get<Date>()};
}

std::vector<RecentConversation> decoded(const std::string& contents) {
    const auto document = documentIn(contents);
    if (!document.is_array()) throw std::invalid_argument("array");
    std::vector<RecentConversation> entries;
    for (const auto& json : document) entries.push_back(decodedEntry(json));
    return entries;
}

RecentConversationsStore::Change changeTo(std::vector<RecentConversation> entries) {
    auto document = nlohmann::ordered_json::array();
    for (const auto& entry : entries) document.push_back(jsonOf(entry));
    return {std::move(entries), document.dump()};
}

} // namespace

nlohmann::ordered_json jsonOf(const RecentConversation& entry) {
    return {{"source", rawValue(entry.source)},
            {"title", entry.title},
            {"path", entry.path},
            {"lastUsed", entry.lastUsed}};
}

bool RecentConversation::isAvailable() const {
    return isReadableFile(path);
}

RecentConversationsStore::RecentConversationsStore(std::string path) : location(std::move(path)) {
    if (!fileExists(location)) return;
    try {
        list = normalized(decoded(readFile(location, maximumFileSize)));
    } catch (const std::exception&) {
        loadError = "Couldn't load recent conversations. Open the conversation file again.";
    }
}

RecentConversationsStore::Change RecentConversationsStore::recording(Agent source, std::string_view title,
                                                                     std::string_view path,
                                                                     Date lastUsed) const {
    if (!isUsable(path, lastUsed))
        throw FileError(FileError::Case::invalidFileName, "save", path, "The file name is not valid");
    RecentConversation entry{source, std::string(trimmed(title)), standardizedPath(path), lastUsed};
    if (entry.title.empty()) entry.title = pathStem(path);
    std::vector<RecentConversation> newList{std::move(entry)};
    for (const auto& old : list)
        if (old.path != newList.front().path) newList.push_back(old);
    return changeTo(normalized(std::move(newList)));
}

RecentConversationsStore::Change RecentConversationsStore::removing(std::string_view id) const {
    auto newList = list;
    std::erase_if(newList, [&](const auto& entry) { return entry.id() == id; });
    return changeTo(std::move(newList));
}

void RecentConversationsStore::adopt(Change change) {
    list = std::move(change.entries);
    loadError.reset();
}

} // namespace orvel
