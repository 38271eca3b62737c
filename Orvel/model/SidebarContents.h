#pragma once
// The rows of the sidebar: links, recent and found conversations, and which of them a search leaves.

#include "Orvel/model/ReadNames.h"
#include "Orvel/model/TransferStanding.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace orvel {

struct ModelView;

/// What a link's row tells of its transfers, apart from its names.
struct SidebarLink {
    std::string pairID;
    std::optional<TransferStanding> standing; ///< Of the last message, if there is one.
    Date date = 0;                            ///< When the last message was formed; 0 if there is none.

    bool operator==(const SidebarLink&) const = default;
};

/// The first messages that wait for their conversations, by their sources' ConversationReference::id.
using WaitingStarts = std::map<std::string, TransferStanding>;

/// Each link by its first pair, the newest first.
struct SidebarLinks {
    std::vector<SidebarLink> open, closed;
    WaitingStarts waiting;

    bool operator==(const SidebarLinks&) const = default;
};

SidebarLinks sidebarLinks(const ModelView& view);

struct SidebarRow {
    enum class Section { links, closedLinks, recent, conversations };

    Section section = Section::conversations;
    Agent agent = Agent::codex; ///< Of a conversation; a link has both.
    std::string title;
    std::string folder; ///< Name of the folder that the agent works in.
    Date date = 0;
    std::string path;
    bool isAvailable = true; ///< The file was there when the row was made.
    /// The conversation as the catalogue knows it; for a recent file perhaps nothing.
    std::optional<ConversationReference> reference;
    std::optional<SidebarLink> link;         ///< Of a row among the links; it has no path.
    std::optional<TransferStanding> waiting; ///< Of a first message that waits for its conversation.
};

/// The rows of the open links, then of the closed ones, with the best names that the model knows.
std::vector<SidebarRow> linkRows(const ModelView& view, const SidebarLinks& links);

/// Made anew when the links, the catalogue or the recent list change; a search only reads it.
class SidebarContents {
  public:
    /// The names that Codex gave its threads, by session identifier.
    using ThreadTitles = std::map<std::string, std::string>;

    SidebarContents() = default;
    SidebarContents(std::vector<SidebarRow> links, std::span<const RecentConversation> recents,
                    std::span<const ConversationReference> catalog, const ThreadTitles& threadTitles = {},
                    const ReadNames& names = {}, const WaitingStarts& waiting = {});

    const std::vector<SidebarRow>& rows() const { return all; }

    /// Takes over what conversations and links are called by now, and how the links' messages stand. The
    /// links are those of the rows, in their order.
    void rename(std::span<const SidebarRow> links, const ThreadTitles& threadTitles, const ReadNames& names);

    /// Which rows are looked at.
    struct Scope {
        bool links = true;
        std::optional<Agent> agent; ///< Only conversations of this one.
    };

    /// The indexes of the rows in scope that hold every word of the query in title, folder or identifier,
    /// whatever their case, or whose transcript is one of `holding`, in the order of the rows. An empty query
    /// leaves all.
    std::vector<std::size_t> matching(std::string_view query, const Scope& scope,
                                      const std::unordered_set<std::string>& holding = {}) const;

  private:
    void add(SidebarRow row);

    std::vector<SidebarRow> all;
    std::vector<std::string> searched; // What a search looks into, one for each row.
};

} // namespace orvel
