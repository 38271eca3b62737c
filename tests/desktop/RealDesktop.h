#pragma once
// The ports of a Linux desktop over a session, and Orvel on them.

#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/linux/AtSpiXKeys.h"
#include "Orvel/platform/linux/XApplications.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XEventPosting.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/linux/XPasteboard.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/posix/PosixLocalFiles.h"
#include "Orvel/platform/posix/PosixSideQueue.h"
#include "Orvel/platform/sample/SampleProcesses.h"
#include "Orvel/platform/unavailable/UnavailableDesktop.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "Orvel/shell/OrvelApp.h"
#include "PollWorld.h"
#include "desktop/TestSession.h"

#include <optional>

namespace orvel {

/// A desktop that knows the version of Codex's application, as a package of it would tell.
class VersionedApplications : public XApplications {
  public:
    using XApplications::XApplications;
    std::optional<ApplicationBundle> bundleOf(ProcessID process) override;
};

/// An ordinary keyboard layout.
class OneLayout : public InputSources {
  public:
    std::optional<InputSource> current() override {
        return InputSource{"com.apple.keylayout.US", std::nullopt, "TISTypeKeyboardLayout", true};
    }
    std::optional<std::string> currentLayoutID() override { return "com.apple.keylayout.US"; }
};

class RealDesktop {
  public:
    explicit RealDesktop(TestSession& session);

    Desktop ports();
    bool runUntil(const std::function<bool()>& condition) { return world.runUntil(condition); }

    TestSession& session;
    PollWorld world;
    std::unique_ptr<XConnection> connection;
    std::shared_ptr<XOwnInput> own = std::make_shared<XOwnInput>();
    XKeyboardTap tap;
    XEventPosting posting;
    XPasteboard pasteboard;
    VersionedApplications applications;
    XWindowList windows;
    AccessibilityBus bus;
    AtSpiXKeys keys;
    AtSpiAccessibility accessibility;
    SampleProcesses processes;
    PosixFileStore files;
    PosixLocalFiles localFiles;
    LibzipArchives zipArchives{world.loop};
    PosixSideQueue sideQueue;
    OneLayout inputSources;
    DesktopSession kind{.kind = SessionKind::x11};
    UnavailableDesktop others;
};

} // namespace orvel
