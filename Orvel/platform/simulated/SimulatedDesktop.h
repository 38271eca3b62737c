#pragma once
// A desktop in memory: what Orvel does to it can be looked at, and what it answers can be chosen.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/FileStore.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/platform/simulated/SimulatedScreen.h"
#include "Orvel/platform/unavailable/MemorySettings.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct SimulatedPanels : Panels {
    std::optional<std::string> chooseFile(const OpenPanel& panel) override {
        shown.push_back(panel);
        return answer;
    }

    std::vector<OpenPanel> shown;
    std::optional<std::string> answer;
};

/// Passes everything on to a real store, unless `beforeReplacing` throws.
struct SimulatedFileStore : FileStore {
    explicit SimulatedFileStore(FileStore& store) : store(store) {}
    void replaceFile(const std::string& path, std::string_view contents) override {
        if (beforeReplacing) beforeReplacing(path);
        store.replaceFile(path, contents);
    }

    FileStore& store;
    std::function<void(const std::string& path)> beforeReplacing;
};

// The loop before what stands on it.
struct SimulatedDesktopLoop {
    SimulatedLoop loop;
};

struct SimulatedDesktop : SimulatedDesktopLoop, SimulatedScreen {
    explicit SimulatedDesktop(FileStore& store) : SimulatedScreen(loop), files(store) {}
    Desktop ports() { return {loop, pasteboard, panels, applications, settings, files, processes}; }

    SimulatedPanels panels;
    MemorySettings settings;
    SimulatedFileStore files;
    SimulatedProcesses processes{loop};
};

} // namespace orvel
