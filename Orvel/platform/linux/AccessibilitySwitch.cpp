#include "Orvel/platform/linux/AccessibilitySwitch.h"

#include "Orvel/platform/linux/BusConnection.h"
#include "Orvel/platform/linux/ChildOutput.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

// Names of the AT-SPI2 protocol, and those of D-Bus itself.
const BusReference busOfSession{"org.a11y.Bus", "/org/a11y/bus"};
const BusReference daemonOfSession{"org.freedesktop.DBus", "/org/freedesktop/DBus"};
constexpr const char *status = "org.a11y.Status", *isEnabled = "IsEnabled";
constexpr const char *schema = "org.gnome.desktop.interface", *kept = "toolkit-accessibility";

DesktopSwitch::Reading readSession(const std::string& address) {
    using State = DesktopSwitch::State;
    const auto deadline = std::chrono::steady_clock::now() + SessionAccessibilitySwitch::patience;
    const auto connection = BusConnection::open(address, BusKind::bus, deadline);
    if (!connection) return {};
    const auto asksOwner = [](sd_bus_message* message) {
        return sd_bus_message_append(message, "s", busOfSession.name.c_str());
    };
    const std::array calls{BusCall{daemonOfSession, "org.freedesktop.DBus", "GetId"},
                           BusCall{daemonOfSession, "org.freedesktop.DBus", "NameHasOwner", asksOwner},
                           propertyCall(busOfSession, status, isEnabled)};
    const auto replies = connection->exchange(calls, deadline);
    const auto run = replies[0].string();
    const auto isRunning = replies[1].boolean();
    if (!run || !isRunning) return {};
    if (!*isRunning) return {State::off, *run};
    const auto isOn = replies[2].booleanProperty();
    if (!isOn) return {State::unknown, *run};
    return {*isOn ? State::on : State::off, *run};
}

bool turnSession(const std::string& address, bool isOn) {
    const auto deadline = std::chrono::steady_clock::now() + SessionAccessibilitySwitch::patience;
    const auto connection = BusConnection::open(address, BusKind::bus, deadline);
    if (!connection) return false;
    const auto value = [isOn](sd_bus_message* message) {
        return sd_bus_message_append(message, "ssv", status, isEnabled, "b", int{isOn});
    };
    const std::array calls{BusCall{.object = busOfSession,
                                   .interface = "org.freedesktop.DBus.Properties",
                                   .member = "Set",
                                   .arguments = value,
                                   .isStarting = isOn}};
    return connection->exchange(calls, deadline)[0].status() == AXStatus::success;
}

} // namespace

Task<DesktopSwitch::Reading> SessionAccessibilitySwitch::read() {
    const auto work = [address = sessionAddress.empty() ? sessionBusAddress() : sessionAddress] {
        return readSession(address);
    };
    co_return co_await loop.background(work);
}

Task<void> SessionAccessibilitySwitch::turn(bool isOn) {
    const auto work = [address = sessionAddress.empty() ? sessionBusAddress() : sessionAddress, isOn] {
        return turnSession(address, isOn);
    };
    co_await loop.background(work);
}

Task<DesktopSwitch::Reading> KeptAccessibilitySwitch::read() {
    std::vector<std::string> arguments{"get", schema, kept};
    const auto said = co_await childOutput(loop, processes, "gsettings", std::move(arguments));
    if (!said) co_return Reading{.state = State::missing, .run = {}};
    if (said->starts_with("true")) co_return Reading{.state = State::on, .run = {}};
    if (said->starts_with("false")) co_return Reading{.state = State::off, .run = {}};
    co_return Reading{};
}

Task<void> KeptAccessibilitySwitch::turn(bool isOn) {
    std::vector<std::string> arguments{"set", schema, kept, isOn ? "true" : "false"};
    co_await childOutput(loop, processes, "gsettings", std::move(arguments));
}

} // namespace orvel
