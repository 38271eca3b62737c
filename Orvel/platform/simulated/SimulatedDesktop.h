#pragma once
// A desktop in memory: what Orvel does to it can be looked at, and what it answers can be chosen.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/desktop/FileStore.h"
#include "Orvel/desktop/MemorySettings.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct SimulatedPasteboard : UnavailablePasteboard {
    void clearContents() override { text.reset(); }
    bool setString(std::string_view newText) override {
        if (!refuses) text = newText;
        return !refuses;
    }

    std::optional<std::string> text;
    bool refuses = false;
};

struct SimulatedPanels : Panels {
    std::optional<std::string> chooseFile(const OpenPanel& panel) override {
        shown.push_back(panel);
        return answer;
    }

    std::vector<OpenPanel> shown;
    std::optional<std::string> answer;
};

struct SimulatedApplications : UnavailableApplications {
    void activateSelf() override { ++activations; }
    bool revealFile(const std::string& path) override {
        revealed.push_back(path);
        return true;
    }

    int activations = 0;
    std::vector<std::string> revealed;
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
    SimulatedPasteboard pasteboard;
    SimulatedPanels panels;
    SimulatedApplications applications;
    MemorySettings settings;
    SimulatedFileStore files;
    SimulatedProcesses processes{loop};
};

} // namespace orvel
