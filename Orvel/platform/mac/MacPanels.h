#pragma once
// The system's open panel.

#include "Orvel/desktop/Panels.h"

namespace orvel {

/// Belongs to the main thread. The panel has no title, so a title stands before the message.
class MacPanels : public Panels {
  public:
    std::optional<std::string> choose(const OpenPanel& panel) override;
};

} // namespace orvel
