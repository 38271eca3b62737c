#pragma once
// The versions of installed programs: as their own files say, their package, or their desktop entry. Any of
// them may be missing, which is normal.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orvel {

/// What the files beside an Electron program say of it ("version" in the package.json of its resources, as
/// files or in app.asar); nothing if there are none. Reads files; throws nothing.
std::optional<std::string> versionBeside(const std::string& executable);

/// A Debian version as the product counts it: without the epoch and the package's revision.
std::string upstreamVersion(std::string_view debianVersion);

/// Belongs to the main loop's thread. Nothing here waits: what isn't known yet is found out meanwhile.
class ProductVersions {
  public:
    /// Both outlive this object.
    ProductVersions(MainLoop& loop, Processes& processes) : loop(loop), processes(processes) {}

    /// What is asked last, on the loop's thread.
    using Otherwise = std::function<std::optional<std::string>()>;
    /// The version of a process's program, as far as it is known by now. `otherwise` lives as long as this
    /// object.
    std::optional<std::string> of(ProcessID process, const std::string& executable, Otherwise otherwise);

  private:
    using Key = std::pair<ProcessID, std::string>;

    Task<void> find(Key key, Otherwise otherwise);
    Task<std::optional<std::string>> packaged(std::string executable);

    MainLoop& loop;
    Processes& processes;
    std::map<Key, std::optional<std::string>> known; ///< Also what is being found out.
    TaskScope tasks;
};

} // namespace orvel
