#pragma once
// The bus on which programs expose their user interfaces, and straight connections to those that offer one.
// Both are made when they are first needed, and anew after they broke.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/platform/linux/BusConnection.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// Callable from any thread; threads don't wait for each other.
class AccessibilityBus {
  public:
    /// The address of the session's bus; that of the user's own session if it is empty.
    explicit AccessibilityBus(std::string sessionAddress = {}) : sessionAddress(std::move(sessionAddress)) {}
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;
    ~AccessibilityBus();

    /// Whether the desktop has accessibility turned on, asked anew.
    AXStatus askWhetherOn(BusDeadline deadline);
    /// As it was within the last second: `success`, `apiDisabled`, or `cannotComplete` if nobody answered.
    AXStatus isOn(BusDeadline deadline);

    /// The answers of an exchange, with the connection that they hold.
    class Replies;

    /// Makes calls at once, of one program straight, of several by way of the bus.
    Replies exchange(std::span<const BusCall> calls, BusDeadline deadline);

    /// A connection to the bus for the caller alone, as for signals. Null if there can be none by then.
    std::unique_ptr<BusConnection> connect(BusDeadline deadline);

    /// Takes in what programs sent on connections that nobody uses now, so that it doesn't pile up there.
    void takeInEvents();

    struct Application {
        AXStatus status = AXStatus::invalidElement;
        BusReference root;
    };
    /// The root object of a process on the bus. `invalidElement` if it isn't there.
    Application application(ProcessID process, BusDeadline deadline);
    /// The roots of all programs on the bus; nothing if the bus doesn't tell.
    std::optional<std::vector<BusReference>> applications(BusDeadline deadline);
    /// The process that has a name; nothing if there is none any more, or the bus doesn't tell.
    std::optional<ProcessID> process(const std::string& name, BusDeadline deadline);

  private:
    using Connections = std::vector<std::unique_ptr<BusConnection>>;
    struct Program {
        std::optional<std::string> address; ///< Absent until it was asked for; empty if there is none.
        Connections idle;
    };
    enum class Line { session, bus, program };
    struct Lease;

    Lease lease(Line line, const std::string& name, BusDeadline deadline);
    std::unique_ptr<BusConnection> idleConnection(Line line, const std::string& name);
    std::unique_ptr<BusConnection> openProgram(const std::string& name, BusDeadline deadline);
    std::string busAddress(BusDeadline deadline);
    void giveBack(Line line, const std::string& name, std::unique_ptr<BusConnection> connection);
    Replies exchange(Line line, std::span<const BusCall> calls, BusDeadline deadline);
    void forget(const std::string& name);

    const std::string sessionAddress;
    std::mutex mutex; // Guards what follows.
    Connections session, bus;
    std::map<std::string, Program> programs;
    std::map<ProcessID, BusReference> roots;
    std::map<std::string, ProcessID> processes;
    std::optional<AXStatus> lastOn;
    BusDeadline lastOnAsked;
};

/// Gives the connection back when it goes, so it is kept no longer than the answers are read.
class AccessibilityBus::Replies {
  public:
    Replies(Replies&&) noexcept;
    Replies& operator=(Replies&&) = delete;
    ~Replies();

    const BusReply& operator[](std::size_t place) const { return replies[place]; }
    std::span<const BusReply> all() const { return replies; }
    std::size_t size() const { return replies.size(); }

  private:
    friend AccessibilityBus;
    Replies(std::unique_ptr<Lease> held, std::vector<BusReply> replies);

    std::unique_ptr<Lease> held; // Before the answers, which go first.
    std::vector<BusReply> replies;
};

} // namespace orvel
