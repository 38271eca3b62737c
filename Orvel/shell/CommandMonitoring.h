#pragma once
// The typed command as a whole: the tap, the agents' editors, and what catches a command there, connected
// with each other and with the model that takes it.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/monitor/CodexIdentification.h"
#include "Orvel/monitor/DesktopCommandMonitor.h"
#include "Orvel/monitor/EditorPreparation.h"
#include "Orvel/monitor/MonitoringLifecycle.h"

#include <functional>

namespace orvel {

class CommandInbox;

/// Belongs to the main loop's thread.
class CommandMonitoring {
  public:
    /// Looks the shortcut up afresh with which Codex copies a conversation's address.
    using CopyShortcut = std::function<CodexCopyShortcutAssessment()>;

    /// The ports, the inbox and the signal outlive it.
    CommandMonitoring(const ChangeSignal& changes, const Desktop& desktop, CommandInbox& inbox,
                      CopyShortcut copyShortcut, ClockStyle clock);

    /// Starts with the permissions that there are, and goes with them from now on.
    void start() { lifecycle.startAutomaticMonitoring(); }

    /// Whether no command is being worked off.
    bool isIdle() const { return monitor.isIdle(); }

  private:
    DiagnosticFacts facts;
    TimedReads reads;

  public:
    EditorPreparation preparation;
    DesktopCommandMonitor monitor;

  private:
    CodexIdentification codex;

  public:
    MonitoringLifecycle lifecycle;
};

} // namespace orvel
