#pragma once
// The platform's framework for updates of this program. Where there is none, there is no such port.

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orvel {

/// What the framework says of itself.
struct UpdaterState {
    bool canCheckForUpdates = false;
    bool automaticallyChecks = false;
    bool automaticallyDownloads = false;
};

/// What the framework asks for and tells.
struct UpdaterDelegate {
    /// Facts about the machine that may go along with a request for the feed.
    std::vector<std::string> allowedSystemProfileKeys;
    /// What else is added to such a request.
    std::map<std::string, std::string> feedParameters;
    /// The state has changed.
    std::function<void()> onChanged;
    /// An update has been downloaded. `install` asks this program to quit, as the system does, and once it
    /// has quit installs the update and opens it again.
    std::function<void(std::function<void()> install)> onReady;
};

/// Belongs to the main loop's thread.
class Updater {
  public:
    virtual ~Updater() = default;

    /// Whether this build receives updates; nothing else is called where it doesn't. On macOS: whether the
    /// bundle's information holds `OrvelEnableUpdates` as the boolean true.
    virtual bool isProductionBuild() const = 0;

    /// The host that updates are asked of, without a scheme.
    virtual std::string feedHost() const = 0;

    /// Starts the framework; false if it can't. To be called once.
    virtual bool start(UpdaterDelegate delegate) = 0;

    // All of these once it has started.

    virtual UpdaterState state() const = 0;
    virtual void setAutomaticallyChecks(bool checks) = 0;
    virtual void setAutomaticallyDownloads(bool downloads) = 0;
    /// Looks for updates now, with windows of the framework's own.
    virtual void checkForUpdates() = 0;
};

} // namespace orvel
