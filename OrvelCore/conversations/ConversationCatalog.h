#pragma once
// Finds the conversations of both agents on this machine without loading them, and resolves an identifier to
// exactly one file, or refuses. Every operation reads files and may run on any thread.

#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/text/Failure.h"

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvel {

class ConversationCatalogError : public Failure {
  public:
    enum class Case { notFound, ambiguous, invalidMetadata };

    explicit ConversationCatalogError(Case kind);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

namespace ConversationCatalog {

/// How much of a transcript is read to learn whose it is, in bytes.
inline constexpr std::size_t identityLimit = 1'048'576;

/// The largest record of the Claude application that is read, in bytes.
inline constexpr std::size_t desktopMetadataLimit = 4'194'304;

/// Everything found in the default folders, newest first.
std::vector<ConversationReference> list(const AgentFolders& folders);

/// Everything found below `roots`, newest first, equal dates by path. What cannot be read or names no
/// conversation is left out. `claudeDesktopRoot` holds the Claude application's records.
std::vector<ConversationReference> discover(std::span<const ConversationRoot> roots,
                                            const std::optional<std::string>& claudeDesktopRoot);

/// The one reference of `agent` whose session or desktop identifier is `sessionID`. Throws
/// ConversationCatalogError.
ConversationReference resolve(Agent agent, std::string_view sessionID,
                              std::span<const ConversationReference> references);

/// The same over what `discover` finds.
ConversationReference resolve(Agent agent, std::string_view sessionID,
                              std::span<const ConversationRoot> roots,
                              const std::optional<std::string>& claudeDesktopRoot);

/// The reference of a file that the user chose. Throws ConversationCatalogError::invalidMetadata, and
/// FileError.
ConversationReference reference(const std::string& path, Agent agent);

/// Whether nobody gave the conversation a title: what stands there is empty, or made of its folder and its
/// identifier.
bool hasNoTitle(const ConversationReference& reference);

/// The names that Codex gave its threads, by session identifier; empty if there is no index.
std::map<std::string, std::string> codexThreadTitles(const AgentFolders& folders);

/// The agent in whose format the file is written, by the first record within the identity limit that only one
/// agent writes; nothing if none does or the file cannot be read.
std::optional<Agent> recognizedAgent(const std::string& path);

} // namespace ConversationCatalog
} // namespace orvel
