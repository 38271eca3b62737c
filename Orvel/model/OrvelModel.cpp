#include "Orvel/model/OrvelModel.h"

#include "Orvel/desktop/FileStore.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <utility>

namespace orvel {

namespace {

// Far above what the positions of a lifetime need, in bytes.
constexpr std::size_t stateFileLimit = 67'108'864;

} // namespace

OrvelModel::OrvelModel(Desktop desktop, ClaudeRelaySender& claudeSender, AgentFolders folders,
                       const std::string& statePath)
    : desktop(desktop),
      folders(std::move(folders)),
      plain(changeSignal),
      relays(changeSignal),
      recentStore(joinedPath(parentFolder(statePath), "recent-conversations.json")),
      relayFile(joinedPath(parentFolder(statePath), "relay-state.json"), desktop.files),
      reading(desktop.loop, desktop.processes, this->folders.home),
      codexSender(desktop.loop, desktop.processes, reading, this->folders.home),
      claudeSender(claudeSender) {
    plain.recentConversations = recentStore.entries();
    plain.error = recentStore.loadErrorDescription();
    if (!fileExists(statePath)) return;
    try {
        plain.state = HandoffState::decode(readFile(statePath, stateFileLimit));
    } catch (const std::exception& failure) {
        plain.error = std::string("Couldn't load the last transfer position. Check the message range.\n") +
                      failure.what();
    }
}

void OrvelModel::dismissError() {
    plain.error = std::nullopt;
}

} // namespace orvel
