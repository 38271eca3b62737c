#pragma once
// The Japanese input method of a simulated desktop. It stands between the keyboard and the application in
// front: letters become a composition that only the application shows, the space bar opens the candidates,
// and Return confirms what stands there instead of reaching the application.

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedTyping.h"

#include <string>
#include <utility>

namespace orvel {

class SimulatedInputMethod {
  public:
    SimulatedInputMethod(const SimulatedInputSources& sources, SimulatedWindowList& windows)
        : sources(sources), windows(windows) {}

    /// Whether it takes the key that was on its way to the application.
    bool takes(SimulatedApplication& application, const SimulatedKey& key) {
        if (key.event.type != TapEventType::keyDown || !isSelected() || isShortcut(key.event)) return false;
        const bool isReturn = KeyCode::isReturn(key.event.keyCode);
        if (composition.empty() && (isReturn || key.text.empty() || key.text == " ")) return false;
        if (isReturn) {
            confirm(application);
        } else if (key.event.keyCode == escapeKey) {
            composition.clear();
            show(application, false);
        } else if (key.text == " ") {
            show(application, true);
        } else {
            composition += key.text;
            show(application, false);
        }
        return true;
    }

    /// Gives the application what stands there, as when the person goes elsewhere.
    void confirm(SimulatedApplication& application) {
        const auto confirmed = std::exchange(composition, {});
        show(application, false);
        if (!confirmed.empty()) application.typed(confirmed);
    }

    bool isComposing() const { return !composition.empty(); }

  private:
    static constexpr std::int64_t escapeKey = 53;

    bool isSelected() const { return sources.source && sources.source->mode.has_value(); }
    static bool isShortcut(const TapEvent& event) {
        return (event.flags & (SyntheticKey::command | SyntheticKey::option | SyntheticKey::control)) != 0;
    }
    void show(SimulatedApplication& application, bool hasCandidates) {
        application.composes(composition);
        windows.showCandidates(hasCandidates);
    }

    const SimulatedInputSources& sources;
    SimulatedWindowList& windows;
    std::string composition;
};

} // namespace orvel
