#pragma once
// A desktop with both agents' applications, whose calls take no time.

#include "Orvel/monitor/EditorPreparation.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <string>

namespace orvel {

/// An agent's application. Its editor has the focus, and can be read once that was asked for.
class AgentApplication : public SimulatedApplication {
  public:
    AgentApplication(SimulatedDesktop& desktop, Agent agent)
        : SimulatedApplication(std::string(OrvelCommandPolicy::bundleID(agent)), "1.2.3", "/there"),
          desktop(desktop) {}

    void started(ProcessID process) override {
        element = desktop.accessibility.makeElement("AXApplication");
        editor = desktop.accessibility.makeElement("AXTextArea");
        element->append(editor);
        element->write = [this](std::string_view name, const AXValue& value) {
            if (name != "AXManualAccessibility" || value != AXValue(true))
                return AXStatus::attributeUnsupported;
            ++requests;
            if (answer == AXStatus::success) element->set("AXFocusedUIElement", editor->handle());
            return answer;
        };
        desktop.accessibility.setApplication(process, element);
    }
    void ended() override { element->remove(); }

    SimulatedElement::Shared element, editor;
    AXStatus answer = AXStatus::success; ///< To the request to expose its editor.
    int requests = 0;

  private:
    SimulatedDesktop& desktop;
};

struct MonitoredDesktop {
    MonitoredDesktop() {
        desktop.accessibility.latency = {{}, {}, {}};
        desktop.accessibility.writeTime = {};
        desktop.applications.bringToFront(0);
        desktop.applications.install(codex);
        desktop.applications.install(claude);
    }

    SimulatedDesktop desktop;
    SimulatedLoop& loop = desktop.loop;
    AgentApplication codex{desktop, Agent::codex}, claude{desktop, Agent::claude};
    ChangeSignal changes;
    EditorPreparation preparation{changes, {loop, desktop.accessibility, desktop.applications}};
};

} // namespace orvel
