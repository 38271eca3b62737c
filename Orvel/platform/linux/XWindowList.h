#pragma once
// The owners of the windows that an X desktop shows, by their window classes.

#include "Orvel/desktop/WindowList.h"

#include <string>

namespace orvel {

/// A window without a class has an empty name. That of Mozc's candidates is named as on macOS:
/// "GoogleJapaneseInputRenderer". Mozc shows it already while it only suggests.
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
