#pragma once
// The owners of the windows that an X desktop shows, by their window classes: "Mozc_renderer" is the one of
// Mozc's candidates.

#include "Orvel/desktop/WindowList.h"

#include <string>

namespace orvel {

/// A window without a class has an empty name.
class XWindowList : public WindowList {
  public:
    /// An empty name is the environment's display.
    explicit XWindowList(std::string display = {}) : display(std::move(display)) {}

    /// The read has a connection of its own, from its first call on.
    Read reader() override;

  private:
    std::string display;
};

} // namespace orvel
