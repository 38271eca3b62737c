#pragma once
// A desktop with Codex's application, whose calls take no time.

#include "Orvel/monitor/EditorPreparation.h"
#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"

namespace orvel {

/// Codex, whose editor can be read as soon as that was asked for.
struct PromptCodex : SimulatedCodexApp {
    explicit PromptCodex(SimulatedDesktop& desktop) : SimulatedCodexApp(desktop, SampleCodexHome("")) {
        version = "1.2.3";
        habits.exposing = {};
    }
};

struct MonitoredDesktop {
    MonitoredDesktop() {
        desktop.accessibility.latency = {{}, {}, {}};
        desktop.accessibility.writeTime = {};
        desktop.applications.bringToFront(0);
    }

    SimulatedDesktop desktop;
    SimulatedLoop& loop = desktop.loop;
    PromptCodex codex{desktop};
    ChangeSignal changes;
    EditorPreparation preparation{changes, {loop, desktop.accessibility, desktop.applications}};
};

} // namespace orvel
