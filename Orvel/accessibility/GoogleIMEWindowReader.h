#pragma once
// Looks whether the candidate window of Google Japanese Input is on the screen, without ever waiting long for
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

    /// Seconds that a caller may wait at most, however long it is ready to.
    static constexpr double longestWait = 0.025;

    /// The ports outlive this object, but not a read that comes too late.
    GoogleIMEWindowReader(MainLoop& loop, WindowList& windows, SideQueue& queue);

    /// Holds this thread until the list is read, for at most `maximumWait` seconds. Nothing if that passes,
    /// if it is no positive time, or while an earlier read is still under way.
    std::optional<Sample> readFresh(double maximumWait);

    /// Reads without a bound, for diagnostics. Nothing while an earlier read is still under way.
    Task<std::optional<Sample>> read();

  private:
    struct Reads;

    std::function<void()> readingWork();
    std::optional<Sample> sampleSince(MainLoop::Duration started);

    MainLoop& loop;
    WindowList& windows;
    SideQueue& queue;
    std::shared_ptr<Reads> reads; // Shared with reads that come too late.
};

} // namespace orvel
