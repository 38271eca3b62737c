#pragma once
// The transcripts that the benchmarks read: as large and as many as people have them, and the same in every
// run.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/conversations/AgentFolders.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace orvel::bench {

/// The files of a run, in a temporary folder that goes with the object.
class SampleTranscripts {
  public:
    SampleTranscripts();
    ~SampleTranscripts();
    SampleTranscripts(const SampleTranscripts&) = delete;
    SampleTranscripts& operator=(const SampleTranscripts&) = delete;

    /// A transcript of 99 MB, most of it tool results; made when it is first asked for.
    const std::string& large(Agent agent);

    /// A transcript of 99 MB, nothing but 600,000 short messages; made when it is first asked for.
    const std::string& tiny(Agent agent);

    /// A home with 10,000 transcripts of both agents in mixed sizes; made when it is first asked for.
    const AgentFolders& many();

    /// The transcripts of `many`.
    const std::vector<std::string>& manyPaths() const { return paths; }

    /// The sizes of all of them together, in bytes.
    std::uintmax_t manyBytes() const { return pathBytes; }

  private:
    std::string folder;
    std::map<Agent, std::string> largeFiles, tinyFiles;
    AgentFolders home;
    std::vector<std::string> paths;
    std::uintmax_t pathBytes = 0;
};

/// The files of this run.
SampleTranscripts& samples();

} // namespace orvel::bench
