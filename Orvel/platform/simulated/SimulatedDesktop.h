#pragma once
// A desktop in memory: what Orvel does to it can be looked at, and what it answers can be chosen.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/simulated/SimulatedFileStore.h"
#include "Orvel/platform/simulated/SimulatedLocalFiles.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/platform/simulated/SimulatedScreen.h"
#include "Orvel/platform/simulated/SimulatedUpdater.h"
#include "Orvel/platform/unavailable/MemorySettings.h"
#include "Orvel/platform/unavailable/UnavailableUserInterfaces.h"
#include "Orvel/platform/zip/LibzipArchives.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct SimulatedPanels : Panels {
    std::optional<std::string> choose(const OpenPanel& panel) override {
        shown.push_back(panel);
        return answer;
    }

    std::vector<OpenPanel> shown;
    std::optional<std::string> answer;
};

// The loop before what stands on it.
struct SimulatedDesktopLoop {
    SimulatedLoop loop;
};

struct SimulatedDesktop : SimulatedDesktopLoop, SimulatedScreen {
    SimulatedDesktop() : SimulatedScreen(loop) {}
    Desktop ports() { return portsOn(loop, files); }
    /// The same on a loop and a disk that are not simulated.
    Desktop portsOn(MainLoop& otherLoop, FileStore& otherFiles) {
        return {otherLoop,
                sideQueue,
                otherFiles,
                processes,
                settings,
                pasteboard,
                panels,
                applications,
                accessibility,
                keyboard,
                keyboard,
                inputSources,
                windows,
                localFiles,
                zipArchives.emplace(otherLoop),
                session,
                hasUpdater ? &updater : nullptr};
    }

    SimulatedPanels panels;
    MemorySettings settings;
    SimulatedFileStore files{loop};
    SimulatedProcesses processes{loop};
    SimulatedLocalFiles localFiles{steps};
    std::optional<LibzipArchives> zipArchives; ///< On the loop of the ports that were made last.
    DesktopSession session;
    bool hasUpdater = false;
    SimulatedUpdater updater;
};

} // namespace orvel
