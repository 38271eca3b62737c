#pragma once
// The conversations of this machine: those that discovery found, their names, and those that were opened
// last.

#include "Orvel/model/ReadNames.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "Orvel/runtime/Turns.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvel {

class FileStore;
class Notices;

struct CatalogueState {
    explicit CatalogueState(const ChangeSignal& changes)
        : catalog(changes),
          codexThreadTitles(changes),
          readNames(changes),
          isDiscovering(changes),
          recentConversations(changes) {}

    Observable<std::vector<ConversationReference>> catalog; ///< The last discovery, newest first.
    Observable<std::map<std::string, std::string>> codexThreadTitles;
    Observable<ReadNames> readNames; ///< As far as somebody wanted them.
    Observable<bool> isDiscovering;
    Observable<std::vector<RecentConversation>> recentConversations;

    /// The entry of this conversation and file.
    std::optional<ConversationReference> entry(Agent agent, std::string_view sessionID,
                                               std::string_view path) const;

    /// The best name known for the conversation: what Codex calls the thread, else what the catalogue says,
    /// else its own title; and where that is none, what was read in the transcript.
    std::string conversationTitle(const ConversationReference& reference) const;
};

class Catalogue {
  public:
    /// `recentsPath` is the file of the recent conversations. Everything outlives the catalogue.
    Catalogue(const ChangeSignal& changes, Notices& notices, MainLoop& loop, FileStore& files,
              AgentFolders folders, std::string recentsPath);

    const CatalogueState& state() const { return held; }
    const AgentFolders& agentFolders() const { return folders; }

    /// Told each time that a discovery has ended.
    std::function<void()> onDiscovered = [] {};

    /// One runs at a time.
    void discoverConversations();

    /// Reads in the background what those of the conversations that have no title, or no folder, are called
    /// in their transcripts. What was read since they last changed is not read again; what was asked for last
    /// comes first.
    void readNames(std::span<const ConversationReference> wanted);

    /// Puts a conversation that was opened at the head of the recent ones.
    void recordRecent(const Conversation& opened, const std::string& path, Agent source);
    void removeRecent(std::string_view id);

    /// Whether nothing is searched for or saved.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Recents = RecentConversationsStore;

    Task<void> discover();
    Task<void> readWantedNames();
    Task<void> changeRecents(std::function<Recents::Change(const Recents&)> change, std::string complaint);

    CatalogueState held;
    Notices& notices;
    MainLoop& loop;
    FileStore& files;
    AgentFolders folders;
    Recents recents;
    std::vector<ConversationReference> wantedNames;   // The last ones first.
    std::unordered_map<std::string, Date> wantedWhen; // By path: how new the transcript was.
    bool isReadingNames = false;
    Turns turns;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
