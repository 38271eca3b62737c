#pragma once
// The owners of the windows that macOS shows.

#include "Orvel/desktop/WindowList.h"

namespace orvel {

/// From the front to the back. The windows' titles, which want a permission, are not asked for.
class MacWindowList : public WindowList {
  public:
    Read reader() override;
};

} // namespace orvel
