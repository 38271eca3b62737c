#pragma once
// All that macOS offers of a desktop, made together.

#include "Orvel/desktop/Desktop.h"

#include <memory>

namespace orvel {

/// Belongs to the main thread, whose run loop serves the tap. Nothing of it asks the person for a permission
/// by itself.
class MacDesktop {
  public:
    /// `own` knows this program's windows. Both outlive the desktop.
    MacDesktop(MainLoop& loop, Applications& own);
    MacDesktop(const MacDesktop&) = delete;
    MacDesktop& operator=(const MacDesktop&) = delete;
    ~MacDesktop();

    Pasteboard& pasteboard();
    Panels& panels();
    Applications& applications();
    Accessibility& accessibility();
    KeyboardTap& keyboardTap();
    EventPosting& eventPosting();
    InputSources& inputSources();
    WindowList& windows();
    /// Null in a build without the framework for updates.
    Updater* updater();

  private:
    struct Ports;

    std::unique_ptr<Ports> ports;
};

} // namespace orvel
