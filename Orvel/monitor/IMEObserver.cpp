#include "Orvel/monitor/IMEObserver.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

namespace orvel {

IMEObserver::IMEObserver(const ChangeSignal& changes, const IMEObserverNeeds& needs)
    : needs(needs), reads(needs.loop, needs.accessibility, facts), recording(changes) {}

void IMEObserver::start() {
    seen = {};
    if (recording) return;
    recording = true;
    tasks.start(record());
}

void IMEObserver::stop() {
    recording.update(false);
}

Task<void> IMEObserver::record() {
    const auto started = needs.loop.uptime();
    while (recording && needs.loop.uptime() - started < duration) {
        look(needs.loop.uptime() - started);
        co_await needs.loop.sleep(interval);
    }
    recording.update(false);
}

void IMEObserver::look(MainLoop::Duration elapsed) {
    IMEObservation observation{.source = describeInputSource(needs.inputSources.current()),
                               .focus = std::nullopt};
    const auto front = needs.applications.frontmost();
    if (front && OrvelCommandPolicy::source(front->bundleID)) {
        const OpenBudget budget(reads);
        IMEObservation::Focus focus;
        const auto focused = reads.element(reads.application(front->process), "AXFocusedUIElement");
        focus.role = DiagnosticSummary::role(focused ? reads.string(*focused, "AXRole") : std::nullopt);
        const auto marked = focused ? reads.attribute(*focused, "AXTextInputMarkedTextMarkerRange")
                                    : AXReading{AXStatus::noValue, {}};
        focus.result = static_cast<std::int32_t>(marked.status);
        focus.hasMarkedValue = !isNothing(marked.value);
        observation.focus = focus;
    }
    facts.clear();
    seen.record(secondsOf(elapsed), observation);
}

} // namespace orvel
