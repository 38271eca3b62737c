#pragma once
// ZIP archives by the tools of macOS: `ditto` makes them, `unzip` tells what they hold.

#include "Orvel/desktop/Processes.h"
#include "Orvel/desktop/ZipArchives.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <string>

namespace orvel {

/// The files stand in the ZIP in the order in which `ditto` finds them. A name that holds a line feed can't
/// be told from two. Whoever drops a task of this ends the tool, and then there is no ZIP.
class DittoArchives : public ZipArchives {
  public:
    /// A tool that takes longer is killed.
    static constexpr std::chrono::seconds patience{120};

    /// The loop and the processes outlive this object. The tools are absolute paths.
    DittoArchives(MainLoop& loop, Processes& processes, std::string ditto = "/usr/bin/ditto",
                  std::string unzip = "/usr/bin/unzip")
        : loop(loop), processes(processes), ditto(std::move(ditto)), unzip(std::move(unzip)) {}

    Task<void> make(std::string folder, std::string path, StopFlag stop) override;
    Task<std::vector<std::string>> entries(std::string path) override;

  private:
    MainLoop& loop;
    Processes& processes;
    std::string ditto, unzip;
};

} // namespace orvel
