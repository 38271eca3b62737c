#pragma once
// A home folder with conversations of both agents and a stand-in for `codex` in it, made fresh in a temporary
// place: what Orvel shows to somebody who has no agent on the machine, and what tests look at.

#include "OrvelCore/conversations/AgentFolders.h"
#include "samples/SampleCodexProgram.h"

#include <optional>
#include <string>

namespace orvel {

/// The folder lives as long as the object. It lies in $TMPDIR or else in /tmp.
class SampleHome {
  public:
    /// Writes all sample conversations, with dates that count back from now. `codex` is the program that
    /// stands in for the command; without one there is none. Throws std::system_error where the file system
    /// refuses.
    explicit SampleHome(const std::optional<std::string>& codex = sampleCodexProgram());
    ~SampleHome();
    SampleHome(const SampleHome&) = delete;
    SampleHome& operator=(const SampleHome&) = delete;

    /// Standardised absolute path.
    const std::string& home() const { return path; }

    AgentFolders folders() const;

    /// Where the command `codex` lies; the only tools of a sample.
    std::string toolFolder() const { return path + "/bin"; }

    /// Where Orvel keeps its own files in this home; not made yet.
    std::string dataFolder() const { return path + "/.local/share/Orvel"; }

  private:
    std::string path;
};

} // namespace orvel
