#include "Orvel/shell/DesktopConsent.h"

#include "Orvel/desktop/Settings.h"

#include <string_view>

namespace orvel {

namespace {

using State = DesktopSwitch::State;

constexpr std::string_view watchesKey = "watchesForCommand", wantsAccessibilityKey = "keepsAccessibilityOn",
                           sessionKey = "turnedOnAccessibility", loginKey = "turnedOnAccessibilityAtLogin",
                           autostartKey = "turnedOnAutostart";

} // namespace

DesktopConsent::DesktopConsent(const ChangeSignal& changes, MainLoop& loop, Settings& settings,
                               const DesktopSession& session)
    : settings(settings),
      session(session),
      sessionSwitch(settings, session.accessibility, sessionKey),
      loginSwitch(settings, session.accessibilityAtLogin, loginKey),
      autostartSwitch(settings, session.autostart, autostartKey),
      turns(loop),
      watches(changes, settings.flag(watchesKey)),
      accessibilityStanding(changes),
      autostartStanding(changes) {}

void DesktopConsent::allowWatching(bool isAllowed) {
    settings.setFlag(watchesKey, isAllowed);
    watches.update(isAllowed);
}

void DesktopConsent::turnAccessibility(bool isOn) {
    settings.setFlag(wantsAccessibilityKey, isOn);
    tasks.start(changeAccessibility(isOn));
}

void DesktopConsent::turnAutostart(bool isOn) {
    tasks.start(changeAutostart(isOn));
}

void DesktopConsent::start() {
    if (settings.flag(wantsAccessibilityKey)) tasks.start(restore());
}

void DesktopConsent::refresh() {
    if (isNeeded()) tasks.start(look());
}

Task<void> DesktopConsent::changeAccessibility(bool isOn) {
    auto standing = accessibilityStanding.get();
    standing.isBusy = true;
    accessibilityStanding.update(standing);
    const auto turn = co_await turns.next();
    if (isOn) {
        // Both before either: a desktop may turn the one with the other.
        const auto now = co_await sessionSwitch.read();
        const auto later = co_await loginSwitch.read();
        if (now.state == State::off) {
            co_await loginSwitch.turnOn(later);
            co_await sessionSwitch.turnOn(now);
        }
    } else {
        co_await loginSwitch.turnOff();
        co_await sessionSwitch.turnOff();
    }
    co_await lookAtAccessibility();
    standing = accessibilityStanding;
    standing.hasFailed = isOn ? standing.state != State::on : standing.isOurs;
    accessibilityStanding.update(standing);
}

Task<void> DesktopConsent::changeAutostart(bool isOn) {
    auto standing = autostartStanding.get();
    standing.isBusy = true;
    autostartStanding.update(standing);
    const auto turn = co_await turns.next();
    if (isOn) {
        auto before = co_await autostartSwitch.read();
        co_await autostartSwitch.turnOn(before);
    } else {
        co_await autostartSwitch.turnOff();
    }
    co_await lookAtAutostart();
    standing = autostartStanding;
    standing.hasFailed = isOn ? standing.state != State::on : standing.isOurs;
    autostartStanding.update(standing);
}

// What the setting for later sessions has turned on in this one is as much Orvel's.
Task<void> DesktopConsent::restore() {
    {
        const auto turn = co_await turns.next();
        const auto now = co_await sessionSwitch.read();
        const auto later = co_await loginSwitch.read();
        if (now.state == State::on && loginSwitch.isOurs(later)) sessionSwitch.claim(now);
    }
    co_await changeAccessibility(true);
}

Task<void> DesktopConsent::look() {
    const auto turn = co_await turns.next();
    co_await lookAtAccessibility();
    co_await lookAtAutostart();
}

Task<void> DesktopConsent::lookAtAccessibility() {
    const auto now = co_await sessionSwitch.read();
    const auto later = co_await loginSwitch.read();
    accessibilityStanding.update({.state = now.state,
                                  .isOurs = sessionSwitch.isOurs(now) || loginSwitch.isOurs(later),
                                  .hasFailed = accessibilityStanding->hasFailed});
}

Task<void> DesktopConsent::lookAtAutostart() {
    const auto reading = co_await autostartSwitch.read();
    autostartStanding.update({.state = reading.state,
                              .isOurs = autostartSwitch.isOurs(reading),
                              .hasFailed = autostartStanding->hasFailed});
}

} // namespace orvel
