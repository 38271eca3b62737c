#include "Orvel/platform/linux/BusConnection.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include <sys/socket.h>

#include <systemd/sd-bus.h>

namespace orvel {

namespace {

// Zero once the deadline has passed.
std::uint64_t microsecondsUntil(BusDeadline deadline) {
    const auto left = deadline - std::chrono::steady_clock::now();
    if (left <= left.zero()) return 0;
    return static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(left).count());
}

// Works on the connection until `isDone`. False if that is not so by the deadline, or the connection broke.
template <typename Condition>
bool work(sd_bus* bus, BusDeadline deadline, const Condition& isDone) {
    while (!isDone()) {
        const auto processed = sd_bus_process(bus, nullptr);
        if (processed < 0) return isDone();
        if (isDone()) return true;
        const auto left = microsecondsUntil(deadline);
        if (left == 0) return false;
        if (processed > 0) continue;
        const auto waited = sd_bus_wait(bus, left);
        if (waited < 0 && waited != -EINTR) return false;
    }
    return true;
}

struct Slot {
    Slot() = default;
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    ~Slot() { sd_bus_slot_unref(slot); }

    sd_bus_slot* slot = nullptr;
    bool isMandatory = false;
    std::size_t* waiting = nullptr;
    BusReply* reply = nullptr;
};

int take(sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
    auto& slot = *static_cast<Slot*>(data);
    const auto* error = sd_bus_message_get_error(message);
    if (!error)
        *slot.reply = BusReply(message);
    else
        *slot.reply = BusReply(statusOfError(error->name ? error->name : "", slot.isMandatory));
    --*slot.waiting;
    return 0;
}

} // namespace

std::string sessionBusAddress() {
    // Nothing in this program changes its environment.
    if (const auto* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) return address;
    const auto* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder && *folder ? std::string("unix:path=") + folder + "/bus" : std::string();
}

void BusConnection::Close::operator()(sd_bus* bus) const {
    sd_bus_close_unref(bus); // Nothing that waits to be sent is waited for.
}

BusConnection::BusConnection(std::unique_ptr<sd_bus, Close> bus, BusKind kind)
    : bus(std::move(bus)), kind(kind) {}

std::unique_ptr<BusConnection> BusConnection::open(const std::string& address, BusKind kind,
                                                   BusDeadline deadline) {
    sd_bus* made = nullptr;
    if (sd_bus_new(&made) < 0) return nullptr;
    std::unique_ptr<sd_bus, Close> bus(made);
    if (sd_bus_set_address(bus.get(), address.c_str()) < 0) return nullptr;
    if (sd_bus_set_bus_client(bus.get(), kind == BusKind::bus) < 0) return nullptr;
    if (sd_bus_start(bus.get()) < 0) return nullptr;
    std::unique_ptr<BusConnection> connection(new BusConnection(std::move(bus), kind));
    return connection->becomeReady(deadline) ? std::move(connection) : nullptr;
}

bool BusConnection::becomeReady(BusDeadline deadline) {
    return work(bus.get(), deadline, [this] { return sd_bus_is_ready(bus.get()) > 0; });
}

std::vector<BusReply> BusConnection::exchange(std::span<const BusCall> calls, BusDeadline deadline) {
    std::vector<BusReply> replies;
    replies.reserve(calls.size());
    for (std::size_t i = 0; i < calls.size(); ++i) replies.emplace_back(AXStatus::cannotComplete);
    std::vector<Slot> slots(calls.size());
    std::size_t waiting = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const auto& call = calls[i];
        sd_bus_message* made = nullptr;
        const auto* destination = kind == BusKind::bus ? call.object.name.c_str() : nullptr;
        auto result = sd_bus_message_new_method_call(bus.get(), &made, destination, call.object.path.c_str(),
                                                     call.interface, call.member);
        if (result >= 0) sd_bus_message_set_auto_start(made, call.isStarting);
        if (result >= 0 && call.arguments) result = call.arguments(made);
        slots[i].reply = &replies[i];
        slots[i].isMandatory = call.isMandatory;
        slots[i].waiting = &waiting;
        if (result >= 0)
            result = sd_bus_call_async(bus.get(), &slots[i].slot, made, take, &slots[i], UINT64_MAX);
        sd_bus_message_unref(made);
        if (result >= 0)
            ++waiting;
        else
            replies[i] = BusReply(result == -EINVAL ? AXStatus::failure : AXStatus::cannotComplete);
    }
    work(bus.get(), deadline, [&] { return waiting == 0; });
    return replies;
}

bool BusConnection::isUsable() {
    static constexpr int mostAtOnce = 10'000; // Of a program that never stops telling things.
    for (int i = 0; i < mostAtOnce; ++i) {
        const auto processed = sd_bus_process(bus.get(), nullptr);
        if (processed < 0) return false;
        if (processed == 0) break;
    }
    return sd_bus_is_ready(bus.get()) > 0;
}

bool BusConnection::listen(const std::string& rule, Listener listener) {
    listeners.push_back(std::move(listener));
    const auto told = [](sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
        BusSignal signal;
        const auto *sender = sd_bus_message_get_sender(message), *path = sd_bus_message_get_path(message);
        const char* detail = nullptr;
        if (!sender || !path || sd_bus_message_read(message, "si", &detail, &signal.value) <= 0) return 0;
        signal.source = {sender, path};
        signal.detail = detail;
        (*static_cast<Listener*>(data))(signal);
        return 0;
    };
    return sd_bus_add_match_async(bus.get(), nullptr, rule.c_str(), told, nullptr, &listeners.back()) >= 0;
}

int BusConnection::descriptor() const {
    return sd_bus_get_fd(bus.get());
}

bool BusConnection::hearAll(MessageListener wanted) {
    messageListener = std::move(wanted);
    const auto hear = [](sd_bus_message* message, void* data, sd_bus_error* /*unused*/) {
        static_cast<const BusConnection*>(data)->messageListener(message);
        return 0;
    };
    return sd_bus_add_filter(bus.get(), nullptr, hear, this) >= 0;
}

pid_t BusConnection::peer() const {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(sd_bus_get_fd(bus.get()), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return 0;
    return credentials.pid;
}

} // namespace orvel
