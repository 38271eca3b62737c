#pragma once
// Keys and clicks on an X desktop.

#include "Orvel/desktop/EventPosting.h"

#include <memory>

namespace orvel {

class XConnection;
class XOwnInput;

/// A key for a process is sent to its window, past every grab, and only if that has the focus as it is
/// posted; no tap sees it. ⌘ is Control there. A key for nobody in particular and a click go the way of all
/// input, and are noted so that the tap leaves them out.
class XEventPosting : public EventPosting {
  public:
    /// The connection outlives this object and what it prepares.
    XEventPosting(XConnection& connection, std::shared_ptr<XOwnInput> own);

    std::unique_ptr<PreparedEvents> key(SyntheticKey key, std::optional<ProcessID> process) override;
    std::unique_ptr<PreparedEvents> click(AXPoint point) override;

  private:
    XConnection& connection;
    std::shared_ptr<XOwnInput> own;
    bool hasXTest;
};

} // namespace orvel
