#pragma once
// Whether this program starts with the person's sessions: a desktop file in their configuration folder, where
// freedesktop.org's desktops look for such files.

#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/desktop/FileStore.h"
#include "Orvel/runtime/MainLoop.h"

#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// A file of somebody else is never changed.
class AutostartFile : public DesktopSwitch {
  public:
    /// `path` is the file, `command` the program and its arguments. Both ports outlive this object.
    AutostartFile(MainLoop& loop, FileStore& files, std::string path, std::vector<std::string> command)
        : loop(loop), files(files), path(std::move(path)), command(std::move(command)) {}

    Task<Reading> read() override;
    Task<void> turn(bool isOn) override;

  private:
    MainLoop& loop;
    FileStore& files;
    std::string path;
    std::vector<std::string> command;
};

} // namespace orvel
