#pragma once
// Synthetic keys and clicks on macOS.

#include "Orvel/desktop/EventPosting.h"

namespace orvel {

/// A key for a process goes to that process, whatever is in front. A key for nobody in particular and a click
/// go the way of the hardware. All have exactly the modifiers that they are given, whatever the person holds
/// down, and carry the marker.
class MacEventPosting : public EventPosting {
  public:
    std::unique_ptr<PreparedEvents> key(SyntheticKey key, std::optional<ProcessID> process) override;
    std::unique_ptr<PreparedEvents> click(AXPoint point) override;
};

} // namespace orvel
