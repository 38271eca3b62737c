#pragma once
// The short, persisted list of the conversation files that the user opened last.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/text/Date.h"

#include <cstddef>
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

/// Holds the list as its file has it. A change is formed here, written by the caller, and then adopted; one
/// that could not be written is dropped, and nothing has changed. Changes are formed one after the other,
/// each from the list that the one before left. Not for several threads.
class RecentConversationsStore {
  public:
    static constexpr std::size_t maximumEntries = 20;
    static constexpr std::size_t maximumTitleCharacters = 200;
    static constexpr std::size_t maximumFileSize = 131'072; ///< Bytes.

    /// A new list, and what its file is to hold.
    struct Change {
        std::vector<RecentConversation> entries;
        std::string contents;
    };

    /// Loads the file at `path`. Never throws: a file that cannot be loaded is left as it is and gives an
    /// empty list and `loadErrorDescription`.
    explicit RecentConversationsStore(std::string path);

    const std::string& path() const { return location; }

    /// Newest first.
    const std::vector<RecentConversation>& entries() const { return list; }

    /// Set when the file could not be loaded, until a change is adopted.
    const std::optional<std::string>& loadErrorDescription() const { return loadError; }

    /// Adds or refreshes the entry of a file. Throws FileError::invalidFileName for a path that is relative
    /// or no valid text.
    Change recording(Agent source, std::string_view title, std::string_view path, Date lastUsed) const;

    /// Drops the entry with this id.
    Change removing(std::string_view id) const;

    /// Takes over a change that the file holds by now.
    void adopt(Change change);

  private:
    std::string location;
    std::vector<RecentConversation> list;
    std::optional<std::string> loadError;
};

} // namespace orvel
