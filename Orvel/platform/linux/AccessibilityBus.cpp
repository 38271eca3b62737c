#include "Orvel/platform/linux/AccessibilityBus.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// Names and paths of the AT-SPI2 protocol.
const BusReference busOfSession{"org.a11y.Bus", "/org/a11y/bus"};
const BusReference registry{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};
const BusReference daemonOfBus{"org.freedesktop.DBus", "/org/freedesktop/DBus"};
constexpr std::string_view programRoot = "/org/a11y/atspi/accessible/root";

constexpr std::chrono::milliseconds onLasts{1'000};
constexpr std::size_t mostPrograms = 1'000, mostIdle = 4;

// An address that other programs give may name a socket here and nothing else: addresses can start programs.
bool isSocketHere(std::string_view address) {
    const bool isLocal = address.starts_with("unix:path=") || address.starts_with("unix:abstract=");
    return isLocal && address.find(';') == std::string_view::npos;
}

BusCall processCall(const std::string& name) {
    return {daemonOfBus, "org.freedesktop.DBus", "GetConnectionUnixProcessID",
            [name](sd_bus_message* message) { return sd_bus_message_append(message, "s", name.c_str()); }};
}

} // namespace

struct AccessibilityBus::Lease {
    AccessibilityBus& owner;
    Line line;
    std::string name;
    std::unique_ptr<BusConnection> connection; // Null if there is none.

    Lease(AccessibilityBus& owner, Line line, std::string name, std::unique_ptr<BusConnection> connection)
        : owner(owner), line(line), name(std::move(name)), connection(std::move(connection)) {}
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
        if (connection) owner.giveBack(line, name, std::move(connection));
    }
};

AccessibilityBus::~AccessibilityBus() = default;

AccessibilityBus::Replies::Replies(std::unique_ptr<Lease> held, std::vector<BusReply> replies)
    : held(std::move(held)), replies(std::move(replies)) {}
AccessibilityBus::Replies::Replies(Replies&&) noexcept = default;
AccessibilityBus::Replies::~Replies() = default;

AXStatus AccessibilityBus::askWhetherOn(BusDeadline deadline) {
    auto call = propertyCall(busOfSession, "org.a11y.Status", "IsEnabled");
    call.isStarting = true;
    const std::array calls{std::move(call)};
    const auto replies = exchange(Line::session, calls, deadline);
    auto status = replies[0].status();
    if (status == AXStatus::success)
        status = replies[0].booleanProperty() == true ? AXStatus::success : AXStatus::apiDisabled;
    else if (status != AXStatus::cannotComplete)
        status = AXStatus::apiDisabled;
    const std::lock_guard lock(mutex);
    lastOn = status == AXStatus::cannotComplete ? std::nullopt : std::optional(status);
    lastOnAsked = std::chrono::steady_clock::now();
    return status;
}

AXStatus AccessibilityBus::isOn(BusDeadline deadline) {
    {
        const std::lock_guard lock(mutex);
        if (lastOn && std::chrono::steady_clock::now() - lastOnAsked < onLasts) return *lastOn;
    }
    return askWhetherOn(deadline);
}

// An idle connection that still stands.
std::unique_ptr<BusConnection> AccessibilityBus::idleConnection(Line line, const std::string& name) {
    for (;;) {
        std::unique_ptr<BusConnection> found;
        {
            const std::lock_guard lock(mutex);
            auto& idle = line == Line::session ? session : line == Line::bus ? bus : programs[name].idle;
            if (idle.empty()) return nullptr;
            found = std::move(idle.back());
            idle.pop_back();
        }
        if (found->isUsable()) return found;
    }
}

void AccessibilityBus::giveBack(Line line, const std::string& name,
                                std::unique_ptr<BusConnection> connection) {
    const std::lock_guard lock(mutex);
    auto& idle = line == Line::session ? session : line == Line::bus ? bus : programs[name].idle;
    if (idle.size() < mostIdle) idle.push_back(std::move(connection));
}

AccessibilityBus::Lease AccessibilityBus::lease(Line line, const std::string& name, BusDeadline deadline) {
    if (auto idle = idleConnection(line, name)) return {*this, line, name, std::move(idle)};
    std::unique_ptr<BusConnection> made;
    if (line == Line::program) {
        made = openProgram(name, deadline);
    } else {
        const auto own = sessionAddress.empty() ? sessionBusAddress() : sessionAddress;
        const auto address = line == Line::session ? own : busAddress(deadline);
        if (!address.empty()) made = BusConnection::open(address, BusKind::bus, deadline);
        if (made && line == Line::bus) {
            // Names are those of one run of the bus, and may come again in another.
            const std::lock_guard lock(mutex);
            if (bus.empty()) {
                programs.clear();
                roots.clear();
                processes.clear();
            }
        }
    }
    return {*this, line, name, std::move(made)};
}

std::string AccessibilityBus::busAddress(BusDeadline deadline) {
    std::array calls{BusCall{busOfSession, "org.a11y.Bus", "GetAddress"}};
    calls[0].isStarting = true;
    const auto replies = exchange(Line::session, calls, deadline);
    auto address = replies[0].string().value_or(std::string());
    // It may say which bus it is, behind a comma.
    return isSocketHere(address) ? address : std::string();
}

// Null if the program offers no connection of its own; then it is reached by way of the bus.
std::unique_ptr<BusConnection> AccessibilityBus::openProgram(const std::string& name, BusDeadline deadline) {
    std::optional<std::string> address;
    {
        const std::lock_guard lock(mutex);
        address = programs[name].address;
    }
    if (!address) {
        const std::array calls{BusCall{{name, std::string(programRoot)},
                                       "org.a11y.atspi.Application",
                                       "GetApplicationBusAddress"},
                               processCall(name)};
        const auto replies = exchange(Line::bus, calls, deadline);
        if (replies[0].status() == AXStatus::cannotComplete) return nullptr;
        address = replies[0].string().value_or(std::string());
        if (!isSocketHere(*address)) address->clear();
        const auto process = replies[1].number();
        const std::lock_guard lock(mutex);
        programs[name].address = address;
        if (process) processes.insert_or_assign(name, static_cast<ProcessID>(*process));
    }
    if (address->empty()) return nullptr;
    auto made = BusConnection::open(*address, BusKind::program, deadline);
    const auto owner = process(name, deadline);
    if (made && owner && made->peer() == *owner) return made;
    const std::lock_guard lock(mutex);
    if (made || std::chrono::steady_clock::now() < deadline) programs[name].address = std::string();
    return nullptr;
}

AccessibilityBus::Replies AccessibilityBus::exchange(Line line, std::span<const BusCall> calls,
                                                     BusDeadline deadline) {
    const auto& name = calls.empty() ? daemonOfBus.name : calls.front().object.name;
    auto held = std::make_unique<Lease>(lease(line, line == Line::program ? name : std::string(), deadline));
    std::vector<BusReply> replies;
    if (held->connection) {
        replies = held->connection->exchange(calls, deadline);
    } else {
        const bool isLate = std::chrono::steady_clock::now() >= deadline;
        for (std::size_t i = 0; i < calls.size(); ++i)
            replies.emplace_back(isLate ? AXStatus::cannotComplete : AXStatus::apiDisabled);
    }
    return {std::move(held), std::move(replies)};
}

AccessibilityBus::Replies AccessibilityBus::exchange(std::span<const BusCall> calls, BusDeadline deadline) {
    const auto isSame = [&](const BusCall& call) { return call.object.name == calls[0].object.name; };
    // A program has a name that begins with a colon; the others are services.
    if (!calls.empty() && calls[0].object.name.starts_with(':') &&
        std::all_of(calls.begin(), calls.end(), isSame)) {
        auto own = std::make_unique<Lease>(lease(Line::program, calls[0].object.name, deadline));
        if (own->connection) {
            auto replies = own->connection->exchange(calls, deadline);
            return {std::move(own), std::move(replies)};
        }
    }
    auto replies = exchange(Line::bus, calls, deadline);
    for (std::size_t i = 0; i < calls.size(); ++i)
        if (replies[i].status() == AXStatus::invalidElement) forget(calls[i].object.name);
    return replies;
}

std::unique_ptr<BusConnection> AccessibilityBus::connect(BusDeadline deadline) {
    const auto address = busAddress(deadline);
    return address.empty() ? nullptr : BusConnection::open(address, BusKind::bus, deadline);
}

void AccessibilityBus::takeInEvents() {
    std::vector<std::string> names;
    {
        const std::lock_guard lock(mutex);
        for (const auto& [name, program] : programs) names.push_back(name);
    }
    for (const auto& name : names) {
        // All of them at once, since each is given back to where it was taken from.
        std::vector<Lease> held;
        while (auto idle = idleConnection(Line::program, name))
            held.emplace_back(*this, Line::program, name, std::move(idle));
    }
}

std::optional<std::vector<BusReference>> AccessibilityBus::applications(BusDeadline deadline) {
    std::array calls{BusCall{registry, "org.a11y.atspi.Accessible", "GetChildren"}};
    calls[0].isStarting = true;
    return exchange(Line::bus, calls, deadline)[0].references(mostPrograms);
}

AccessibilityBus::Application AccessibilityBus::application(ProcessID process, BusDeadline deadline) {
    {
        const std::lock_guard lock(mutex);
        if (const auto known = roots.find(process); known != roots.end())
            return {AXStatus::success, known->second};
    }
    const auto found = applications(deadline);
    if (!found) {
        const bool isLate = std::chrono::steady_clock::now() >= deadline;
        return {isLate ? AXStatus::cannotComplete : AXStatus::apiDisabled, {}};
    }
    std::vector<BusCall> calls;
    for (const auto& root : *found) calls.push_back(processCall(root.name));
    const auto replies = exchange(Line::bus, calls, deadline);
    Application result;
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < found->size(); ++i) {
        const auto number = replies[i].number();
        if (!number) {
            if (replies[i].status() == AXStatus::cannotComplete) result.status = AXStatus::cannotComplete;
            continue;
        }
        const auto id = static_cast<ProcessID>(*number);
        processes.insert_or_assign((*found)[i].name, id);
        if (id == process) {
            roots.insert_or_assign(id, (*found)[i]);
            return {AXStatus::success, (*found)[i]};
        }
    }
    return result;
}

std::optional<ProcessID> AccessibilityBus::process(const std::string& name, BusDeadline deadline) {
    {
        const std::lock_guard lock(mutex);
        if (const auto known = processes.find(name); known != processes.end()) return known->second;
    }
    const std::array calls{processCall(name)};
    const auto number = exchange(Line::bus, calls, deadline)[0].number();
    if (!number) return std::nullopt;
    const std::lock_guard lock(mutex);
    processes.insert_or_assign(name, static_cast<ProcessID>(*number));
    return static_cast<ProcessID>(*number);
}

// Whoever has left the bus may come again under another name.
void AccessibilityBus::forget(const std::string& name) {
    const std::lock_guard lock(mutex);
    programs.erase(name);
    processes.erase(name);
    std::erase_if(roots, [&](const auto& each) { return each.second.name == name; });
}

} // namespace orvel
