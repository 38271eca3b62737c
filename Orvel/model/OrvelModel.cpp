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
      recentStore(joinedPath(parentFolder(statePath), "recent-conversations.json"),
                  [&files = desktop.files](const std::string& path, std::string_view contents) {
                      files.replaceFile(path, contents);
                  }),
      relayFile(joinedPath(parentFolder(statePath), "relay-state.json"), desktop.files),
      reading(desktop.loop, desktop.processes, this->folders.home),
      codexSender(desktop.loop, desktop.processes, reading, this->folders.home),
      claudeSender(claudeSender),
      tasks([this](const std::exception_ptr& failure) { showFailure(failure); }) {
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

// What an operation did not expect, as that no thread could be started. It may begin again; a delivery lets
// nothing through to here.
void OrvelModel::showFailure(const std::exception_ptr& failure) {
    relays.isDiscovering = false;
    relays.isCheckingReceipts = false;
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& known) {
        plain.error = known.what();
    }
}

void OrvelModel::dismissError() {
    plain.error = std::nullopt;
}

} // namespace orvel
