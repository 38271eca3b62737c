#pragma once
// Records how the input method's state looks from outside while the person types, for a report. Nothing that
// is typed is read.

#include "Orvel/monitor/TimedReads.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/histories/IMEObservationHistory.h"

#include <chrono>

namespace orvel {

class Applications;
class InputSources;

/// What an observer works with; all of it outlives the observer.
struct IMEObserverNeeds {
    MainLoop& loop;
    Accessibility& accessibility;
    Applications& applications;
    InputSources& inputSources;
};

/// Belongs to the main loop's thread. Each look at an agent's editor is bounded as a Return's is.
class IMEObserver {
  public:
    /// A recording ends by itself.
    static constexpr std::chrono::seconds duration{60};
    static constexpr std::chrono::milliseconds interval{100};

    IMEObserver(const ChangeSignal& changes, const IMEObserverNeeds& needs);

    /// Forgets what was recorded, and begins. Keys are not to be watched meanwhile.
    void start();
    void stop();
    bool isRecording() const { return recording; }

    const IMEObservationHistory& history() const { return seen; }

  private:
    Task<void> record();
    void look(MainLoop::Duration elapsed);

    IMEObserverNeeds needs;
    DiagnosticFacts facts;
    TimedReads reads;
    IMEObservationHistory seen;
    Observable<bool> recording;
    TaskScope tasks;
};

} // namespace orvel
