#include "Orvel/platform/linux/AtSpiFocus.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <system_error>
#include <utility>

#include <poll.h>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// Of the AT-SPI2 protocol.
const BusReference registry{"org.a11y.atspi.Registry", "/org/a11y/atspi/registry"};
constexpr const char* event = "object:state-changed:focused";

constexpr std::size_t mostPrograms = 64;
constexpr std::chrono::milliseconds connectLimit{500}, pause{1'000};

} // namespace

AtSpiFocus::AtSpiFocus(AccessibilityBus& bus, Ways ways) : bus(bus), ways(std::move(ways)) {}

AtSpiFocus::~AtSpiFocus() {
    isStopping = true;
    wake.wake();
    if (thread.joinable()) thread.join();
}

void AtSpiFocus::watch(const BusReference& application) {
    const std::lock_guard lock(mutex);
    if (const auto known = programs.find(application.name); known != programs.end()) return;
    if (programs.size() >= mostPrograms) programs.clear();
    programs[application.name].application = application;
    try {
        if (!thread.joinable()) thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return; // Without a thread every focus is searched for.
    }
    wake.wake();
}

std::optional<AtSpiFocus::Place> AtSpiFocus::last(const std::string& program) {
    const std::lock_guard lock(mutex);
    const auto known = programs.find(program);
    return known == programs.end() ? std::nullopt : known->second.last;
}

void AtSpiFocus::found(Place place) {
    const std::lock_guard lock(mutex);
    const auto known = programs.find(place.element.name);
    if (known == programs.end()) return;
    known->second.isSearchDue = false;
    known->second.last = std::move(place);
}

void AtSpiFocus::search(const BusReference& application) {
    const std::lock_guard lock(mutex);
    const auto known = programs.find(application.name);
    if (known == programs.end() || known->second.told) return;
    known->second.isSearchDue = true;
    wake.wake();
}

void AtSpiFocus::run() {
    while (!isStopping) {
        wake.drain();
        if (connect()) {
            ask();
            settle();
        }
        bus.takeInEvents();
        pollfd wanted[] = {
            {.fd = wake.readEnd(), .events = POLLIN, .revents = 0},
            {.fd = connection ? connection->descriptor() : -1, .events = POLLIN, .revents = 0}};
        poll(wanted, std::size(wanted), static_cast<int>(pause.count()));
    }
}

// Whether there is a connection. What was asked of one that broke is asked anew.
bool AtSpiFocus::connect() {
    if (connection && connection->isUsable()) return true;
    connection = bus.connect(std::chrono::steady_clock::now() + connectLimit);
    const std::lock_guard lock(mutex);
    for (auto& [name, program] : programs) program.isTelling = false;
    return connection != nullptr;
}

// Has the programs tell where their focus goes.
void AtSpiFocus::ask() {
    std::vector<std::string> names;
    {
        const std::lock_guard lock(mutex);
        for (auto& [name, program] : programs)
            if (!std::exchange(program.isTelling, true)) names.push_back(name);
    }
    for (const auto& name : names) {
        const auto rule = "type='signal',sender='" + name +
                          "',interface='org.a11y.atspi.Event.Object',member='StateChanged',arg0='focused'";
        connection->listen(rule, [this](const BusSignal& signal) {
            if (signal.value == 0) return;
            const std::lock_guard lock(mutex);
            const auto known = programs.find(signal.source.name);
            if (known != programs.end()) known->second.told = signal.source;
        });
        const std::array calls{
            BusCall{registry, "org.a11y.atspi.Registry", "RegisterEvent", [&](sd_bus_message* message) {
                        return sd_bus_message_append(message, "sass", event, 0, name.c_str());
                    }}};
        connection->exchange(calls, std::chrono::steady_clock::now() + connectLimit);
    }
}

// Finds out what is not known yet, one program after the other.
void AtSpiFocus::settle() {
    while (!isStopping) {
        const auto due = next();
        if (!due) return;
        auto place = due->told ? ways.windowOf(*due->told) : ways.search(due->application);
        const std::lock_guard lock(mutex);
        const auto known = programs.find(due->application.name);
        if (place && known != programs.end()) known->second.last = std::move(place);
    }
}

std::optional<AtSpiFocus::Watched> AtSpiFocus::next() {
    connection->isUsable(); // Takes in what is told meanwhile.
    const std::lock_guard lock(mutex);
    for (auto& [name, program] : programs) {
        if (!program.told && !program.isSearchDue) continue;
        const auto due = program;
        program.told.reset();
        program.isSearchDue = false;
        return due;
    }
    return std::nullopt;
}

} // namespace orvel
