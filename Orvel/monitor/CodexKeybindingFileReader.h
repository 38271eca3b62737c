#pragma once
// Reads Codex's keybindings while a key of the person waits, for so long and no longer.

#include "Orvel/desktop/LocalFiles.h"
#include "Orvel/desktop/SideQueue.h"

#include <atomic>
#include <memory>
#include <string>

namespace orvel {

/// One read at a time, on the side queue's thread. Belongs to the main loop's thread.
class CodexKeybindingFileReader {
  public:
    /// The ports outlive this object, but not a read that comes too late.
    CodexKeybindingFileReader(const MainLoop& loop, SideQueue& queue, LocalFiles& files);

    /// Blocks until the file is read, for at most `timeout`. Of a file that is too large it gives more bytes
    /// than are ever judged. Fails at once while an earlier read is still under way.
    LocalFiles::Reading read(const std::string& path, MainLoop::Duration timeout);

  private:
    struct Job;

    const MainLoop& loop;
    SideQueue& queue;
    LocalFiles& files;
    std::shared_ptr<std::atomic<bool>> isInFlight; ///< Shared with a read that finishes too late.
};

} // namespace orvel
