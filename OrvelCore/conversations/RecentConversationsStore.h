#pragma once
// The short, persisted list of the conversation files that the user opened last.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/text/Date.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// One opened conversation. Two entries with the same path are the same entry.
struct RecentConversation {
    Agent source = Agent::codex;
    std::string title; ///< At most 200 characters.
    std::string path;  ///< Absolute and standardised.
    Date lastUsed = 0;

    const std::string& id() const { return path; }

    /// Whether a readable file lies at the path right now.
    bool isAvailable() const;

    bool operator==(const RecentConversation&) const = default;
};

/// The JSON form: keys as the fields.
nlohmann::ordered_json jsonOf(const RecentConversation& entry);

/// Holds the list and keeps its file equal to it. Not for several threads.
class RecentConversationsStore {
  public:
    static constexpr std::size_t maximumEntries = 20;
    static constexpr std::size_t maximumTitleCharacters = 200;
    static constexpr std::size_t maximumFileSize = 131'072; ///< Bytes.

    /// Replaces a file's contents as a whole and makes its folder where needed; throws on failure.
    using ReplaceFile = std::function<void(const std::string& path, std::string_view contents)>;

    /// Loads the file at `storagePath`. Never throws: a file that cannot be loaded is left as it is and gives
    /// an empty list and `loadErrorDescription`.
    RecentConversationsStore(std::string storagePath, ReplaceFile replaceFile);

    /// Newest first.
    const std::vector<RecentConversation>& entries() const { return list; }

    /// Set when the file could not be loaded, until the next save succeeds.
    const std::optional<std::string>& loadErrorDescription() const { return loadError; }

    /// Adds or refreshes the entry of a file and saves. Throws FileError::invalidFileName for a path that is
    /// relative or no valid text, and what the saving throws; then nothing has changed.
    void record(Agent source, std::string_view title, std::string_view path, Date lastUsed);

    /// Drops the entry with this id and saves. Throws what the saving throws; then nothing has changed.
    void remove(std::string_view id);

  private:
    void save(std::vector<RecentConversation> newList);

    std::string storagePath;
    ReplaceFile replaceFile;
    std::vector<RecentConversation> list;
    std::optional<std::string> loadError;
};

} // namespace orvel
