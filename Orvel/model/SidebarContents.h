#pragma once
// The rows of the sidebar: recent and found conversations, and which of them a search leaves.

#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

struct SidebarRow {
    enum class Section { recent, conversations };

    Section section = Section::conversations;
    Agent agent = Agent::codex;
    std::string title;
    std::string folder; ///< Name of the folder that the agent works in.
    Date date = 0;
    std::string path;
    bool isAvailable = true; ///< The file was there when the row was made.
    /// The conversation as the catalogue knows it; for a recent file perhaps nothing.
    std::optional<ConversationReference> reference;
};

/// Immutable. Made anew when the catalogue or the recent list changes; a search only reads it.
class SidebarContents {
  public:
    SidebarContents() = default;
    SidebarContents(std::span<const RecentConversation> recents,
                    std::span<const ConversationReference> catalog,
                    const std::map<std::string, std::string>& codexThreadTitles);

    const std::vector<SidebarRow>& rows() const { return all; }

    /// The indexes of the rows that hold every word of the query in title, folder or identifier, whatever
    /// their case, in the order of the rows. An empty query leaves all.
    std::vector<std::size_t> matching(std::string_view query) const;

  private:
    void add(SidebarRow row);

    std::vector<SidebarRow> all;
    std::vector<std::string> searched; // What a search looks into, one for each row.
};

} // namespace orvel
