#pragma once
// The ports of a desktop that offers nothing but a program to run on it: settings that nobody keeps,
// questions that are cancelled, and no other program's interface. A platform starts from this and puts in
// place what it has.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/unavailable/MemorySettings.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"
#include "Orvel/platform/unavailable/UnavailableUserInterfaces.h"

namespace orvel {

/// Every question is cancelled.
struct UnavailablePanels : Panels {
    std::optional<std::string> choose(const OpenPanel&) override { return std::nullopt; }
};

struct UnavailableDesktop {
    /// These four every program has; they outlive the ports.
    Desktop ports(MainLoop& loop, FileStore& files, Processes& processes, ZipArchives& zipArchives) {
        return {loop,    sideQueue,    files,         processes,   settings,     pasteboard,
                panels,  applications, accessibility, keyboardTap, eventPosting, inputSources,
                windows, localFiles,   zipArchives,   session};
    }

    UnavailableSideQueue sideQueue;
    MemorySettings settings;
    UnavailablePasteboard pasteboard;
    UnavailablePanels panels;
    UnavailableApplications applications;
    UnavailableAccessibility accessibility;
    UnavailableKeyboardTap keyboardTap;
    UnavailableEventPosting eventPosting;
    UnavailableInputSources inputSources;
    UnavailableWindowList windows;
    UnavailableLocalFiles localFiles;
    DesktopSession session;
};

} // namespace orvel
