#pragma once
// The applications on the desktop, including this one, by their bundle identifiers. A platform without
// bundles maps the identifiers itself.

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

/// What an installed application declares about itself. Any of it may be unknown.
struct ApplicationBundle {
    std::optional<std::string> bundleID;
    std::optional<std::string> shortVersion; ///< As shown to people: "3.6556.2".

    bool operator==(const ApplicationBundle&) const = default;
};

/// Belongs to the main loop's thread.
class Applications {
  public:
    virtual ~Applications() = default;

    // This application

    virtual ProcessID ownProcess() = 0;

    /// Brings this application to the front, if the desktop allows it.
    virtual void activateSelf() = 0;

    /// Shows the file in the desktop's file manager; false if there is none.
    virtual bool revealFile(const std::string& path) = 0;

    // Running applications

    /// The application with keyboard focus.
    virtual std::optional<RunningApplication> frontmost() = 0;

    /// The running ones with this identifier, in the order in which they were started.
    virtual std::vector<RunningApplication> running(const std::string& bundleID) = 0;

    /// The running one with this process identifier.
    virtual std::optional<RunningApplication> application(ProcessID process) = 0;

    /// The bundle that the process was started from; nothing if there is none or it can't be found.
    virtual std::optional<ApplicationBundle> bundleOf(ProcessID process) = 0;

    /// Passes the foreground from this application to another one. False if the system refuses; true doesn't
    /// prove that the other one is in front.
    virtual bool activate(ProcessID process) = 0;

    // Installed applications

    /// The location of the application with this identifier, for `openApplication`; nothing if it is not
    /// installed.
    virtual std::optional<std::string> location(const std::string& bundleID) = 0;

    /// The bundle at an absolute macOS path.
    virtual std::optional<ApplicationBundle> bundleAt(const std::string& path) = 0;

    /// Launches the application if necessary, and brings it to the front. True once the system reports it as
    /// running, false if it reports a failure. Doesn't throw.
    virtual Task<bool> openApplication(std::string location) = 0;

    /// Opens the URL in the application registered for it; false if there is none. True doesn't prove that
    /// anything was opened.
    virtual bool openURL(const std::string& url) = 0;
};

} // namespace orvel
