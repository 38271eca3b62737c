#pragma once
// The part of a preparation that copies the selected files, step by step, and holds the finished ZIP against
// them. For any thread.

#include "Orvel/consultation/ArchiveStaging.h"
#include "Orvel/consultation/ContainedFiles.h"
#include "Orvel/consultation/RepositoryCandidates.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace orvel {

class RepositoryPacking {
  public:
    /// `limit` is in bytes, for all files together.
    RepositoryPacking(std::string folder, std::shared_ptr<const RepositoryCandidates> candidates,
                      std::uint64_t limit, StopFlag stop);

    /// Makes the folder for the ZIP below the output folder. Throws FileError and PreparationStopped.
    void begin(const std::string& outputFolder);

    /// Copies some of the files, and says whether that was the last. Throws RelaySendError, FileError and
    /// PreparationStopped.
    bool copySome();

    /// Throws RelaySendError if the entries of the ZIP are not exactly the files that were copied.
    void compare(std::vector<std::string> entries) const;

    /// Sets the flag, waits for the step that is under way, and removes what was made.
    void abandon() noexcept;

    /// These between the steps

    const ArchiveStaging& staging() const { return *own; } ///< After `begin`.
    const ArchiveContents& contents() const { return packed; }
    ArchiveProgress progress(ArchiveProgress::Phase phase) const;

  private:
    void take(const std::string& path);
    void leaveOut(const std::string& path, LeftOutPath::Reason reason);

    std::string folder;
    std::shared_ptr<const RepositoryCandidates> candidates;
    std::uint64_t limit;
    StopFlag stop;

    std::mutex mutex; ///< Held during a step.
    std::unique_ptr<ArchiveStaging> own;
    std::size_t next = 0; ///< Of the candidates.
    std::uint64_t bytes = 0;
    ArchiveContents packed;
};

} // namespace orvel
