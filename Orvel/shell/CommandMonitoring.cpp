#include "Orvel/shell/CommandMonitoring.h"

#include "Orvel/model/CommandInbox.h"

#include <utility>

namespace orvel {

CommandMonitoring::CommandMonitoring(const ChangeSignal& changes, const Desktop& desktop, CommandInbox& inbox,
                                     CopyShortcut copyShortcut, ClockStyle clock)
    : reads(desktop.loop, desktop.accessibility, facts),
      preparation(changes, {desktop.loop, desktop.accessibility, desktop.applications}),
      monitor(changes,
              {desktop.loop, desktop.accessibility, desktop.applications, desktop.inputSources,
               [this] { return lifecycle.isMonitoring(); },
               [this](Agent agent, ProcessID process) { return preparation.readyProcess(agent) == process; },
               [this](const CapturedReturn& captured, std::function<bool()> isWanted) {
                   return codex.identify(captured, std::move(isWanted));
               },
               [&inbox](const CapturedCommand& captured) { return inbox.keep(captured); }, clock}),
      codex({desktop.loop, desktop.accessibility, desktop.applications, desktop.inputSources,
             desktop.eventPosting, desktop.pasteboard, reads, facts, monitor.inputWatch(),
             [this] { return lifecycle.isMonitoring(); },
             [this] { return preparation.targetVersion(Agent::codex); }, std::move(copyShortcut),
             [&inbox](std::string id) { return inbox.resolveCopiedCodex(std::move(id)); }}),
      lifecycle(changes,
                {desktop.loop, desktop.keyboardTap, desktop.accessibility, desktop.applications, preparation},
                {.handle = [this](const TapEvent& event) { return monitor.handle(event); },
                 .stopped = [this] { monitor.forget(); }}) {
    monitor.onCommand = [&inbox](CapturedCommand captured) {
        inbox.receiveInterceptedCommand(std::move(captured));
    };
}

} // namespace orvel
