#pragma once
// Starts and stops the event tap, and keeps it running through changes of the permissions: with the
// permission for Accessibility monitoring starts by itself, unless the person or a failure of the tap has
// paused it.

#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/monitor/AutomaticMonitoringPolicy.h"
#include "Orvel/monitor/InputMonitoringPermission.h"
#include "Orvel/monitor/MonitoringSentences.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class Accessibility;
class Applications;
class EditorPreparation;

/// What a lifecycle works with; all of it outlives the lifecycle.
struct MonitoringLifecycleNeeds {
    MainLoop& loop;
    KeyboardTap& keyboardTap;
    Accessibility& accessibility;
    Applications& applications;
    EditorPreparation& preparation;
    /// Whether the person allows it, asked again and again. Without that nothing is read and no tap is made.
    std::function<bool()> mayWatch = [] { return true; };
    MonitoringSentences sentences = sentencesOfGuardedSession;
};

/// Called on the main loop's thread. All but the first may be left out, and none may destroy the lifecycle.
struct MonitoringCallbacks {
    /// Gets the tap's events, except that the tap was disabled.
    KeyboardTap::Handler handle;
    /// Monitoring was stopped and the tap is gone: what was held for it is to be forgotten.
    std::function<void()> stopped;
    /// As monitoring starts, and once a second while it goes on.
    std::function<void()> tick;
    /// The permissions were looked at: once a second, also without monitoring.
    std::function<void()> refreshed;
};

/// Belongs to the main loop's thread. Destroying it stops the tap.
class MonitoringLifecycle {
  public:
    MonitoringLifecycle(const ChangeSignal& changes, const MonitoringLifecycleNeeds& needs,
                        MonitoringCallbacks callbacks);
    MonitoringLifecycle(const MonitoringLifecycle&) = delete;
    MonitoringLifecycle& operator=(const MonitoringLifecycle&) = delete;
    ~MonitoringLifecycle();

    // What is shown

    bool isMonitoring() const { return monitoring; }
    bool isAccessibilityGranted() const { return accessibilityGranted; }
    /// Whether the last attempt to start failed; the next one follows when a permission changes, or on
    /// resume.
    bool hasStartFailed() const { return startFailed; }
    /// Whether only `resume` starts it again.
    bool isPaused() const { return policy.isPaused; }
    const std::string& status() const { return statusField; }
    const InputMonitoringPermission& inputMonitoringPermission() const { return inputMonitoring; }
    std::string_view inputMonitoringLabel() const { return inputMonitoring->label(monitoring); }
    std::optional<std::string> inputMonitoringExplanation() const {
        return inputMonitoring->explanation(monitoring);
    }

    // What is done

    /// Starts monitoring, and looks at the permissions every second from now on. Later calls do nothing.
    void startAutomaticMonitoring();

    /// Looks at the permissions now, and starts, stops or prepares what follows from them.
    void refreshPermissions();

    /// Stops the tap, also if there is none; `reason` becomes the status. Without a pause monitoring starts
    /// again as soon as Accessibility is permitted.
    void stop(std::string reason, bool pausesAutomaticMonitoring);

    void pause();
    /// Starts monitoring again, whatever was tried before.
    void resume();

    /// Has the system ask the person for the permission to listen to keys.
    void requestInputMonitoring();
    void openInputMonitoringSettings();
    void openAccessibilitySettings();

  private:
    void startMonitoring();
    Task<void> tickEverySecond();
    void tick();
    TapAnswer handle(const TapEvent& event);
    Task<void> stopDisabledTap(std::string reason, std::uint64_t tap);

    MonitoringLifecycleNeeds needs;
    MonitoringCallbacks callbacks;
    AutomaticMonitoringPolicy policy;
    bool isTimed = false;
    std::uint64_t startedTaps = 0; ///< The number of the tap that was started last.

    Observable<bool> monitoring, accessibilityGranted, startFailed;
    Observable<std::string> statusField;
    Observable<InputMonitoringPermission> inputMonitoring;
    TaskScope tasks;
};

} // namespace orvel
