#pragma once
// Checks whether the candidate window of Google Japanese Input is on the screen, with a bound on the wait for
// the list of windows.

#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/japanese/GoogleIMEWindowDiagnostic.h"

#include <functional>
#include <memory>
#include <optional>

namespace orvel {

/// One read at a time. Called on the main loop's thread; the list itself is read on other threads. A sample's
/// times are those of the main loop's thread: from when it asked until it had the answer.
class GoogleIMEWindowReader {
  public:
    using Sample = GoogleIMEWindowDiagnostic::Sample;

    /// In seconds. `readFresh` never waits longer, whatever timeout it is given.
    static constexpr double readTimeout = 0.025;

    /// The ports outlive this object, but not a read that comes too late.
    GoogleIMEWindowReader(MainLoop& loop, WindowList& windows, SideQueue& queue);

    /// Blocks until the list is read, for at most `timeout` seconds. Nothing if that time passes, if it is
    /// not positive and finite, or while an earlier read is still under way.
    std::optional<Sample> readFresh(double timeout);

    /// Reads without a timeout, for diagnostics. Nothing while an earlier read is still under way.
    Task<std::optional<Sample>> read();

  private:
    struct Reads;

    std::function<void()> readingWork();
    std::optional<Sample> sampleSince(MainLoop::Duration started);

    MainLoop& loop;
    WindowList& windows;
    SideQueue& queue;
    std::shared_ptr<Reads> reads; // Shared with reads that finish too late.
};

} // namespace orvel
