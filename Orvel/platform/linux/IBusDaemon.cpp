#include "Orvel/platform/linux/IBusDaemon.h"

#include "Orvel/platform/linux/IBusMessages.h"

#include <array>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// Names and paths of IBus.
constexpr const char* ibus = "org.freedesktop.IBus";
constexpr std::string_view engineInterface = "org.freedesktop.IBus.Engine",
                           contextInterface = "org.freedesktop.IBus.InputContext";
const BusReference daemonObject{ibus, "/org/freedesktop/IBus"};
const BusReference busItself{"org.freedesktop.DBus", "/org/freedesktop/DBus"};

constexpr std::array<const char*, 3> rulesOfEngines{
    "type='signal',interface='org.freedesktop.IBus',member='GlobalEngineChanged'",
    "type='signal',interface='org.freedesktop.IBus.Engine',member='RegisterProperties'",
    "type='signal',interface='org.freedesktop.IBus.Engine',member='UpdateProperty'"};
// What is sent to editors.
constexpr std::array<const char*, 4> rulesOfEditors{
    "eavesdrop='true',type='signal',interface='org.freedesktop.IBus.InputContext',member='UpdatePreeditText'",
    "eavesdrop='true',type='signal',interface='org.freedesktop.IBus.InputContext',"
    "member='UpdatePreeditTextWithMode'",
    "eavesdrop='true',type='signal',interface='org.freedesktop.IBus.InputContext',member='ShowPreeditText'",
    "eavesdrop='true',type='signal',interface='org.freedesktop.IBus.InputContext',member='HidePreeditText'"};

constexpr std::chrono::milliseconds connectLimit{1'000}, pause{1'000};
constexpr std::size_t mostContexts = 256;

std::string_view orEmpty(const char* text) {
    return text ? std::string_view(text) : std::string_view();
}

BusCall ruleCall(const char* rule) {
    return {busItself, "org.freedesktop.DBus", "AddMatch",
            [rule](sd_bus_message* message) { return sd_bus_message_append(message, "s", rule); }};
}

} // namespace

IBusDaemon::IBusDaemon(IBusPlaces places) : places(std::move(places)) {
    thread = std::thread([this] { run(); });
}

IBusDaemon::~IBusDaemon() {
    isStopping = true;
    wakes.wake();
    thread.join();
}

IBusDaemon::Input IBusDaemon::input() const {
    const std::lock_guard lock(mutex);
    return known;
}

PendingComposition IBusDaemon::current(BusDeadline deadline) {
    const std::unique_lock held(line, deadline);
    if (!held || !connection) return {};
    const std::array calls{propertyCall(daemonObject, ibus, "CurrentInputContext")};
    const auto focused = connection->exchange(calls, deadline)[0].pathProperty();
    takeIn();
    const std::lock_guard lock(mutex);
    if (!focused || !hearsEditors) return {};
    const auto found = contexts.find(*focused);
    if (found == contexts.end()) return {};
    const auto& [hasText, isVisible, version] = found->second;
    if (hasText && isVisible) return {PendingComposition::State::pending, version};
    return {PendingComposition::State::none, 0};
}

// The thread

void IBusDaemon::run() {
    while (!isStopping) {
        bool isConnected = false;
        int descriptor = -1;
        {
            const std::lock_guard held(line);
            if (connection) takeIn();
            isConnected = connection != nullptr;
            if (isConnected) descriptor = connection->descriptor();
        }
        if (!isConnected) {
            connect();
            const std::lock_guard held(line);
            if (connection) continue; // With what it has told meanwhile.
        }
        std::array waited{pollfd{.fd = wakes.readEnd(), .events = POLLIN, .revents = 0},
                          pollfd{.fd = descriptor, .events = POLLIN, .revents = 0}};
        if (isConnected)
            poll(waited.data(), 2, -1);
        else
            poll(waited.data(), 1, static_cast<int>(pause.count()));
        if (waited[0].revents != 0) wakes.drain();
    }
}

void IBusDaemon::connect() {
    const auto address = ibusAddress(places);
    if (!address) return lose(Presence::absent);
    const auto deadline = std::chrono::steady_clock::now() + connectLimit;
    auto opened = BusConnection::open(*address, BusKind::bus, deadline);
    lose(Presence::unreachable);
    if (!opened || !listenOn(*opened, deadline)) return;
    const std::lock_guard held(line);
    connection = std::move(opened);
}

bool IBusDaemon::listenOn(BusConnection& bus, BusDeadline deadline) {
    if (!bus.hearAll([this](sd_bus_message* message) { hear(message); })) return false;
    std::vector<BusCall> calls;
    calls.reserve(rulesOfEngines.size() + rulesOfEditors.size() + 1);
    for (const auto* rule : rulesOfEngines) calls.push_back(ruleCall(rule));
    for (const auto* rule : rulesOfEditors) calls.push_back(ruleCall(rule));
    calls.push_back(propertyCall(daemonObject, ibus, "GlobalEngine"));
    const auto replies = bus.exchange(calls, deadline);
    bool isHeard = true;
    for (std::size_t i = 0; i < rulesOfEngines.size(); ++i)
        isHeard = isHeard && replies[i].status() == AXStatus::success;
    bool areEditorsHeard = true;
    for (std::size_t i = rulesOfEngines.size(); i + 1 < calls.size(); ++i)
        areEditorsHeard = areEditorsHeard && replies[i].status() == AXStatus::success;
    if (!isHeard || replies.back().status() == AXStatus::cannotComplete) return false;
    auto engine = engineIn(replies.back().rewound());
    const std::lock_guard lock(mutex);
    known.presence = Presence::connected;
    hearsEditors = areEditorsHeard;
    if (!known.engine) known.engine = std::move(engine); // Unless it was heard of a change meanwhile.
    return true;
}

void IBusDaemon::hear(sd_bus_message* message) {
    const auto interface = orEmpty(sd_bus_message_get_interface(message));
    if (interface == engineInterface) {
        auto mode = inputModeIn(message);
        const std::lock_guard lock(mutex);
        if (mode.isTold) known.mode = std::move(mode.key);
        return;
    }
    if (orEmpty(sd_bus_message_get_sender(message)) != ibus) return;
    if (interface == contextInterface) return hearPreedit(message);
    if (interface != ibus || orEmpty(sd_bus_message_get_member(message)) != "GlobalEngineChanged") return;
    const char* engine = nullptr;
    const bool isNamed = sd_bus_message_read(message, "s", &engine) > 0 && *engine != '\0';
    const std::lock_guard lock(mutex);
    known.engine = isNamed ? std::optional<std::string>(engine) : std::nullopt;
    known.mode.reset(); // The engine registers its own.
}

void IBusDaemon::hearPreedit(sd_bus_message* message) {
    const auto member = orEmpty(sd_bus_message_get_member(message));
    const std::string path(orEmpty(sd_bus_message_get_path(message)));
    const bool isUpdate = member.starts_with("UpdatePreeditText");
    const auto preedit = isUpdate ? preeditIn(message) : std::nullopt;
    const std::lock_guard lock(mutex);
    if (contexts.size() >= mostContexts) contexts.clear();
    auto found = contexts.find(path);
    if (isUpdate && !preedit) {
        if (found != contexts.end()) contexts.erase(found); // Of it nothing is known any more.
        return;
    }
    if (isUpdate) {
        contexts.insert_or_assign(path, Context{preedit->hasText, preedit->isVisible, ++changes});
    } else if (found != contexts.end()) {
        found->second.isVisible = member == "ShowPreeditText";
        found->second.version = ++changes;
    }
}

// With `line` held.
void IBusDaemon::takeIn() {
    if (connection->isUsable()) return;
    connection.reset();
    lose(Presence::unreachable);
    wakes.wake();
}

void IBusDaemon::lose(Presence presence) {
    const std::lock_guard lock(mutex);
    known = {.presence = presence, .engine = std::nullopt, .mode = std::nullopt};
    hearsEditors = false;
    contexts.clear();
}

} // namespace orvel
