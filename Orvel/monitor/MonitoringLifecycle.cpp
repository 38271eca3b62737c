#include "Orvel/monitor/MonitoringLifecycle.h"

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/monitor/EditorPreparation.h"

#include <chrono>
#include <type_traits>
#include <utility>

namespace orvel {

namespace {

void call(const std::function<void()>& callback) {
    if (callback) callback();
}

} // namespace

MonitoringLifecycle::MonitoringLifecycle(const ChangeSignal& changes, const MonitoringLifecycleNeeds& needs,
                                         MonitoringCallbacks callbacks)
    : needs(needs),
      callbacks(std::move(callbacks)),
      monitoring(changes),
      accessibilityGranted(changes),
      startFailed(changes),
      statusField(changes),
      inputMonitoring(changes) {}

MonitoringLifecycle::~MonitoringLifecycle() {
    needs.keyboardTap.stop(); // Its handler uses this object.
}

void MonitoringLifecycle::startMonitoring() {
    startFailed.update(false);
    const auto started = needs.keyboardTap.start([this](const TapEvent& event) { return handle(event); });
    if (started != TapStart::started) {
        startFailed.update(true);
        statusField.update(started == TapStart::refused ? needs.sentences.refused
                                                        : "Couldn't initialize key monitoring.");
        return;
    }
    ++startedTaps;
    monitoring.update(true);
    needs.preparation.prepare();
    statusField.update(needs.sentences.working);
    call(callbacks.tick);
}

void MonitoringLifecycle::stop(std::string reason, bool pausesAutomaticMonitoring) {
    if (pausesAutomaticMonitoring)
        policy.isPaused = true;
    else
        policy.attemptedPermissions.reset(); // It may be permitted again before anybody looks.
    monitoring.update(false);
    needs.keyboardTap.stop();
    call(callbacks.stopped);
    needs.preparation.stop();
    statusField.update(std::move(reason));
}

void MonitoringLifecycle::startAutomaticMonitoring() {
    if (std::exchange(isTimed, true)) return;
    tasks.start(tickEverySecond());
    refreshPermissions();
}

Task<void> MonitoringLifecycle::tickEverySecond() {
    while (true) {
        co_await needs.loop.sleep(std::chrono::seconds(1));
        tick();
    }
}

void MonitoringLifecycle::tick() {
    refreshPermissions();
    if (monitoring) call(callbacks.tick);
    if (monitoring && !needs.keyboardTap.isEnabled()) stop(needs.sentences.tapStopped, true);
}

void MonitoringLifecycle::refreshPermissions() {
    const bool isAllowed = needs.mayWatch();
    accessibilityGranted.update(isAllowed && needs.accessibility.isTrusted());
    auto permission = inputMonitoring.get();
    permission.observe(needs.keyboardTap.isListeningGranted());
    inputMonitoring.update(permission);
    call(callbacks.refreshed);
    if (monitoring && !accessibilityGranted)
        stop(isAllowed ? needs.sentences.noLongerTrusted : needs.sentences.notAllowed, false);
    if (isTimed && !monitoring) {
        if (policy.beginsAttempt({accessibilityGranted, permission.granted})) {
            startMonitoring();
        } else if (!isAllowed || (!accessibilityGranted && !policy.isPaused)) {
            startFailed.update(false);
            statusField.update(isAllowed ? needs.sentences.notTrusted : needs.sentences.notAllowed);
        }
    }
    if (monitoring && accessibilityGranted) needs.preparation.prepare();
}

void MonitoringLifecycle::pause() {
    stop("Monitoring paused until you resume it or restart Orvel.", true);
}

void MonitoringLifecycle::resume() {
    policy = {};
    if (isTimed)
        refreshPermissions();
    else
        startAutomaticMonitoring();
}

void MonitoringLifecycle::requestInputMonitoring() {
    needs.keyboardTap.requestListening();
    refreshPermissions();
    auto permission = inputMonitoring.get();
    permission.didRequest(permission.granted);
    inputMonitoring.update(permission);
}

void MonitoringLifecycle::openInputMonitoringSettings() {
    auto permission = inputMonitoring.get();
    permission.didOpenSettings(needs.applications.openURL(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent"));
    inputMonitoring.update(permission);
}

void MonitoringLifecycle::openAccessibilitySettings() {
    needs.applications.openURL(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");
}

TapAnswer MonitoringLifecycle::handle(const TapEvent& event) {
    if (event.type == TapEventType::tapDisabledByTimeout)
        tasks.start(stopDisabledTap(
            "Monitoring stopped because a read took too long. Resume monitoring to try again.", startedTaps));
    else if (event.type == TapEventType::tapDisabledByUserInput)
        tasks.start(stopDisabledTap(needs.sentences.tapStopped, startedTaps));
    else
        return callbacks.handle(event);
    return TapAnswer::pass;
}

// After the handler has returned, since stopping takes longer than a key may wait. Without the permission it
// is not a failure of the tap, and monitoring goes on when the permission is back.
Task<void> MonitoringLifecycle::stopDisabledTap(std::string reason, std::uint64_t tap) {
    co_await needs.loop.yield();
    if (tap == startedTaps) stop(std::move(reason), needs.mayWatch() && needs.accessibility.isTrusted());
}

} // namespace orvel
