#pragma once
// Looks whether the candidate window of Google Japanese Input is on the screen, without ever waiting long for
// the list of windows.

#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/japanese/GoogleIMEWindowDiagnostic.h"

#include <memory>
#include <optional>

namespace orvel {

/// One read at a time. Called on the main loop's thread; the list itself is read on other threads.
class GoogleIMEWindowReader {
  public:
    using Sample = GoogleIMEWindowDiagnostic::Sample;

    /// Seconds that a caller may wait at most, however long it is ready to.
    static constexpr double longestWait = 0.025;

    /// The ports outlive all work on the queue and in the background.
    GoogleIMEWindowReader(MainLoop& loop, WindowList& windows, SideQueue& queue);

    /// Holds this thread until the list is read, for at most `maximumWait` seconds. Nothing if that passes,
    /// if it is no positive time, or while an earlier read is still under way.
    std::optional<Sample> readFresh(double maximumWait);

    /// Reads without a bound, for diagnostics. Nothing while an earlier read is still under way.
    Task<std::optional<Sample>> read();

  private:
    struct Reads;

    MainLoop& loop;
    WindowList& windows;
    SideQueue& queue;
    std::shared_ptr<Reads> reads; // Shared with reads that come too late.
};

} // namespace orvel
