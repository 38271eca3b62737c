#pragma once
// Searching the text of the conversations that are loaded, off the main loop.

#include "Orvel/model/ConversationReadings.h"
#include "Orvel/model/WorkspaceState.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace orvel {

class Notices;

/// A loaded conversation and the path of its transcript.
using LoadedConversation = std::pair<std::string, SharedConversation>;

/// The words that a search looks for, in the form of `foldedForSearch`.
std::vector<std::string> searchedWords(std::string_view query);

/// The paths of those conversations whose messages hold every word of the query, each in any of them.
std::unordered_set<std::string> conversationsHolding(std::string_view query,
                                                     std::span<const LoadedConversation> loaded);

class MessageSearch {
  public:
    struct Result {
        std::string query;
        std::unordered_set<std::string> paths; ///< Of the transcripts that hold it.
    };

    /// Everything outlives the search.
    MessageSearch(const ChangeSignal& changes, Notices& notices, MainLoop& loop,
                  const ConversationReadings& readings, const WorkspaceState& workspace);

    /// The last search that has ended.
    const Observable<Result>& result() const { return found; }

    /// Looks for the query, unless that has been done and nothing was loaded since. A query that comes while
    /// another is looked for takes its place.
    void look(std::string query);

    bool isIdle() const { return tasks.isIdle(); }

  private:
    struct Wanted {
        std::string query;
        std::uint64_t readings = 0, workspace = 0; // Their revisions.
        bool operator==(const Wanted&) const = default;
    };

    Task<void> search();

    Observable<Result> found;
    MainLoop& loop;
    const ConversationReadings& readings;
    const WorkspaceState& workspace;
    Wanted wanted;
    bool isSearching = false;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
