#pragma once
// A home folder with conversations of both agents in it, made fresh in a temporary place: what Orvel shows to
// somebody who has no agent on the machine, and what tests look at.

#include "OrvelCore/conversations/AgentFolders.h"

#include <string>

namespace orvel {

/// The folder lives as long as the object. It lies in $TMPDIR or else in /tmp.
class SampleHome {
  public:
    /// Writes all sample conversations, with dates that count back from now. Throws std::system_error where
    /// the file system refuses.
    SampleHome();
    ~SampleHome();
    SampleHome(const SampleHome&) = delete;
    SampleHome& operator=(const SampleHome&) = delete;

    /// Standardised absolute path.
    const std::string& home() const { return path; }

    AgentFolders folders() const;

    /// Where Orvel keeps its own files in this home; not made yet.
    std::string dataFolder() const { return path + "/.local/share/Orvel"; }

  private:
    std::string path;
};

} // namespace orvel
