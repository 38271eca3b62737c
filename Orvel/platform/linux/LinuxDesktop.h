#pragma once
// All that a desktop over an X server offers, made together: where there is no such desktop, there is none of
// it.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/platform/posix/DescriptorWatcher.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace orvel {

/// Of the environment's session: X11 where a display is named, and Wayland where that is what the person
/// sees, also if there is an X server for older programs.
SessionKind environmentSession();

struct LinuxDesktopNeeds {
    MainLoop& loop;
    DescriptorWatcher& descriptors;
    FileStore& files;
    Processes& processes;
    Applications& own; ///< Knows this program's own window.
    /// The program and its arguments as a session starts it; none where that is not offered.
    std::vector<std::string> autostart;
};

/// Belongs to the loop's thread. When the X server goes, its ports answer as if nothing were there, and the
/// others go on.
class LinuxDesktop {
  public:
    /// A server that answers later is taken for none.
    static constexpr std::chrono::seconds openLimit{2};

    /// Null if there is no server. All that is needed outlives the desktop.
    static std::unique_ptr<LinuxDesktop> open(const LinuxDesktopNeeds& needs);
    LinuxDesktop(const LinuxDesktop&) = delete;
    LinuxDesktop& operator=(const LinuxDesktop&) = delete;
    ~LinuxDesktop();

    Pasteboard& pasteboard();
    Applications& applications();
    Accessibility& accessibility();
    KeyboardTap& keyboardTap();
    EventPosting& eventPosting();
    InputSources& inputSources();
    WindowList& windows();
    const DesktopSession& session() const;

  private:
    struct Ports;

    explicit LinuxDesktop(std::unique_ptr<Ports> ports);

    std::unique_ptr<Ports> ports;
};

} // namespace orvel
