#pragma once
// Which installed application the desktop opens URLs with, by the files of freedesktop.org's "Association
// between MIME types and applications", and the programs that open them.

#include "Orvel/desktop/Processes.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Belongs to the main loop's thread. Reads small files with every call.
class DesktopEntries {
  public:
    /// The processes outlive this object.
    explicit DesktopEntries(Processes& processes) : processes(processes) {}

    /// The file of the application that opens URLs of the scheme; nothing if none is registered and
    /// installed.
    std::optional<std::string> handlerOf(const std::string& scheme);

    /// The version of the application that a desktop file declares (X-AppVersion, or that of an AppImage);
    /// nothing if it doesn't.
    static std::optional<std::string> versionIn(const std::string& desktopFile);

    /// Has the desktop open a URL or a folder; false if it has no program for that.
    bool open(const std::string& what);
    /// Starts the application of a desktop file; false if there is no program for that.
    bool launch(const std::string& desktopFile);

  private:
    std::vector<std::string> folders();
    bool start(const std::string& program, std::vector<std::string> arguments);

    Processes& processes;
};

} // namespace orvel
