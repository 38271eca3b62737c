#pragma once
// One connection to a bus, or straight to a program. Everything on it ends by a deadline, and nothing is
// waited for longer than that.

#include "Orvel/platform/linux/BusMessage.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

struct sd_bus;

namespace orvel {

using BusDeadline = std::chrono::steady_clock::time_point;

enum class BusKind {
    bus,    ///< A daemon that passes messages on.
    program ///< The program itself, whose messages bear no destination.
};

/// A signal whose first two values are a text and a number, as those of AT-SPI2 are.
struct BusSignal {
    BusReference source;
    std::string detail;
    std::int32_t value = 0;
};

/// The address of the bus of the person's own session; empty if there is none.
std::string sessionBusAddress();

/// Used by one thread at a time.
class BusConnection {
  public:
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    ~BusConnection() = default;

    /// Nothing if it can't be made by then.
    static std::unique_ptr<BusConnection> open(const std::string& address, BusKind kind,
                                               BusDeadline deadline);

    /// Makes all calls at once, and gives what they came to in the same order. Whatever has not been answered
    /// by the deadline has the status `cannotComplete`.
    std::vector<BusReply> exchange(std::span<const BusCall> calls, BusDeadline deadline);

    /// Takes in what arrived meanwhile, and tells whether the connection still stands.
    bool isUsable();

    using Listener = std::function<void(const BusSignal&)>;
    /// Has the bus pass on the signals that a match rule names, and tells them whenever something is taken
    /// in. False if that can't be asked for.
    bool listen(const std::string& rule, Listener listener);

    /// Readable when something has arrived, of which some may have been taken in already.
    int descriptor() const;

    /// Of the program at the other end; 0 if it can't be told.
    pid_t peer() const;

    /// Hears each message that arrives and is no answer to a call, also one for somebody else. Called while
    /// something else uses the connection, so it may not use it.
    using MessageListener = std::function<void(sd_bus_message* message)>;
    /// Once at most. False if nothing will be heard.
    [[nodiscard]] bool hearAll(MessageListener listener);

  private:
    struct Close {
        void operator()(sd_bus* bus) const;
    };

    BusConnection(std::unique_ptr<sd_bus, Close> bus, BusKind kind);
    bool becomeReady(BusDeadline deadline);

    MessageListener messageListener; // Both outlive the connection beneath.
    std::list<Listener> listeners;
    std::unique_ptr<sd_bus, Close> bus;
    BusKind kind;
};

} // namespace orvel
