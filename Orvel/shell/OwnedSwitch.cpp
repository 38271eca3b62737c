#include "Orvel/shell/OwnedSwitch.h"

#include "Orvel/desktop/Settings.h"

#include <string>

namespace orvel {

namespace {

using State = DesktopSwitch::State;

// A memory of an earlier session says nothing of this one.
std::string memoryOf(const DesktopSwitch::Reading& reading) {
    return reading.run.empty() ? "yes" : "yes " + reading.run;
}

} // namespace

Task<OwnedSwitch::Reading> OwnedSwitch::read() {
    if (!owned) co_return Reading{.state = State::missing, .run = {}};
    co_return co_await owned->read();
}

bool OwnedSwitch::isOurs(const Reading& reading) const {
    return reading.state == State::on && settings.string(key) == memoryOf(reading);
}

Task<void> OwnedSwitch::turnOn(Reading before) {
    if (before.state != State::off) co_return;
    claim(before); // First: what is turned on and forgotten would stay on for ever.
    co_await owned->turn(true);
    const auto after = co_await owned->read();
    if (after.state == State::off) forget();
}

Task<void> OwnedSwitch::turnOff() {
    if (!owned || !settings.string(key).value_or("").starts_with("yes")) co_return;
    const auto before = co_await owned->read();
    if (before.state == State::unknown) co_return;
    if (!isOurs(before)) co_return forget();
    co_await owned->turn(false);
    const auto after = co_await owned->read();
    if (after.state == State::off) forget();
}

void OwnedSwitch::claim(const Reading& reading) {
    settings.setString(key, memoryOf(reading));
}

void OwnedSwitch::forget() {
    settings.setString(key, "no");
}

} // namespace orvel
