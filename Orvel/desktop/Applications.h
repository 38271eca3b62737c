#pragma once
// Applications on the desktop, this one included. They are told by their bundle identifiers, which a platform
// without bundles looks up in tables of its own.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/runtime/Task.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct RunningApplication {
    std::optional<std::string> bundleID; ///< Not every program has one.
    ProcessID process = 0;

    bool operator==(const RunningApplication&) const = default;
};

/// What an installed application says of itself. That something is not known is normal.
struct ApplicationBundle {
    std::optional<std::string> bundleID;
    std::optional<std::string> shortVersion; ///< As people see it, "3.6556.2".

    bool operator==(const ApplicationBundle&) const = default;
};

/// Belongs to the main loop's thread.
class Applications {
  public:
    virtual ~Applications() = default;

    // This application

    virtual ProcessID ownProcess() = 0;

    /// Brings this application to the front, as far as the desktop allows.
    virtual void activateSelf() = 0;

    /// Shows the file in the desktop's file manager; false if there is none.
    virtual bool revealFile(const std::string& path) = 0;

    // Running applications

    /// The one that has the keyboard.
    virtual std::optional<RunningApplication> frontmost() = 0;

    /// Those with this identifier that have not ended, in the order in which they were started.
    virtual std::vector<RunningApplication> running(const std::string& bundleID) = 0;

    /// The one with this process identifier, if it runs.
    virtual std::optional<RunningApplication> application(ProcessID process) = 0;

    /// The bundle that the process was started from; nothing if it has none or it can't be found.
    virtual std::optional<ApplicationBundle> bundleOf(ProcessID process) = 0;

    /// Hands the foreground from this application to that one. False if the system refuses; true doesn't
    /// prove that it is in front.
    virtual bool activate(ProcessID process) = 0;

    // Installed applications

    /// Where the application with this identifier lies, in a form that `openApplication` takes; nothing if it
    /// is not installed.
    virtual std::optional<std::string> location(const std::string& bundleID) = 0;

    /// The bundle at an absolute path, as macOS names places.
    virtual std::optional<ApplicationBundle> bundleAt(const std::string& path) = 0;

    /// Starts the application, if it does not run, and brings it to the front. True once the system says that
    /// it runs, false if it says that it failed. Doesn't throw.
    virtual Task<bool> openApplication(std::string location) = 0;

    /// Has the URL opened by whatever it is for; false if nothing takes it. True doesn't prove that anything
    /// was opened.
    virtual bool openURL(const std::string& url) = 0;
};

} // namespace orvel
