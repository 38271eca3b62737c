#pragma once
// A desktop in memory: what Orvel does to it can be looked at, and what it answers can be chosen.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/FileStore.h"
#include "Orvel/desktop/MemorySettings.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/simulated/SimulatedAccessibility.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedKeyboard.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedPasteboard.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/SimulatedTyping.h"

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

struct SimulatedDesktop {
    explicit SimulatedDesktop(FileStore& store) : files(store) {}
    Desktop ports() { return {loop, pasteboard, panels, applications, settings, files, processes}; }

    SimulatedLoop loop;
    SimulatedSteps steps{loop};
    SimulatedPasteboard pasteboard{steps};
    SimulatedPanels panels;
    SimulatedApplications applications{loop, steps};
    MemorySettings settings;
    SimulatedFileStore files;
    SimulatedProcesses processes{loop};
    SimulatedAccessibility accessibility{loop, steps};
    SimulatedKeyboard keyboard{loop, steps, applications};
    SimulatedInputSources inputSources{steps};
    SimulatedWindowList windows{loop, steps};
    SimulatedSideQueue sideQueue{loop, windows};
};

} // namespace orvel
