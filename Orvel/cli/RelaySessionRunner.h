#pragma once
// A model that may write, in a terminal: one command's session with the relay records.

#include "Orvel/cli/TerminalDesktop.h"
#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/posix/DataFolderLock.h"

#include <chrono>
#include <optional>
#include <string>

namespace orvel {

class RelaySessionRunner {
  public:
    /// Far more than reading two conversations takes, also through Codex's server.
    static constexpr std::chrono::seconds patience{120};

    /// Locks the data folder. Throws DataFolderInUse and FileError.
    explicit RelaySessionRunner(const Places& places);

    const Desktop& ports() const { return desktop.ports(); }
    /// In a sample its Claude, otherwise null.
    SampleClaude* claudeOfSample() { return desktop.claudeOfSample(); }
    OrvelModel& model() { return orvel; }
    const OrvelModel& model() const { return orvel; }
    const WorkspaceState& workspace() const { return orvel.workspace.state(); }
    const RelayState& records() const { return orvel.ledger.state().relayState; }
    const std::optional<std::string>& error() const { return orvel.notices.error(); }

    /// Reads the relay records into the model. Throws CommandFailure with the model's words if they can't be
    /// read.
    void restore();

    /// The conversation on this machine that the identifier means, or how it begins. Throws Failure.
    ConversationReference findConversation(const std::string& id, std::optional<Agent> agent);

    /// Opens the pair with the message going out from `source`, and looks for receipts. Throws CommandFailure
    /// with the model's words if the conversation can't be read.
    void open(const RelayPair& pair, Agent source);

    /// Runs until the model has finished what it began; a turn that is watched does not count. Throws
    /// CommandFailure if that takes longer than anybody would wait, and Interrupted.
    void settle();

    /// Runs until `met`, and gives whether it came to that within the time. Throws Interrupted.
    bool runUntil(const std::function<bool()>& met, MainLoop::Duration limit) {
        return desktop.runUntil(met, limit);
    }

    /// Looks for receipts until `isReceived`, for so long at most. Somebody waits: they are looked for at
    /// once, and more often than in a window. A look at a file that has not changed costs nothing. Throws
    /// Interrupted.
    void awaitReceipt(const std::function<bool()>& isReceived, MainLoop::Duration limit);

  private:
    DataFolderLock lock;
    TerminalDesktop desktop;
    ClaudeRelayDiagnosticHistory attempts;
    ClaudeDesktopRelaySender claude;
    OrvelModel orvel;
    TaskScope tasks;
};

} // namespace orvel
