#pragma once
// The input source of a Linux desktop: the engine of IBus, or the X server's layout where there is no IBus.

#include "Orvel/desktop/InputSources.h"

namespace orvel {

class IBusDaemon;
class XKeyboardLayout;

/// What is known of other platforms' sources decides what becomes of a typed command, so for the person:
///
/// - The plain American layout, and Mozc while it lets keys through (direct input): commands work.
/// - Mozc otherwise: it tells whether text is unconfirmed, so the first Return confirms, and the next one is
///   the command's.
/// - Other layouts and engines: they may compose more than they tell. A command's Return is swallowed and its
///   text kept; it can be given after switching to one of the above.
/// - No IBus, and another input method or several layouts to switch between: nothing is read; again the same.
///
/// No version of an input method is told, here or by the applications of an X desktop.
class IBusInputSources : public InputSources {
  public:
    /// Both outlive the object.
    IBusInputSources(const IBusDaemon& ibus, XKeyboardLayout& layout) : ibus(ibus), layout(layout) {}

    std::optional<InputSource> current() override;
    std::optional<std::string> currentLayoutID() override;

  private:
    const IBusDaemon& ibus;
    XKeyboardLayout& layout;
};

} // namespace orvel
