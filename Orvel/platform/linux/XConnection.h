#pragma once
// One connection to the X server: replies that never wait longer than a bound, atoms, properties of bounded
// size, and events for those who listen. Only this folder knows X.

#include "Orvel/platform/posix/DescriptorWatcher.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <xcb/xcb.h>

namespace orvel {

struct XFree {
    void operator()(void* memory) const { std::free(memory); }
};

/// What the X library allocates, as a reply or an event.
template <typename Type>
using XOwned = std::unique_ptr<Type, XFree>;

/// The value of a window's property.
struct XProperty {
    xcb_atom_t type = XCB_ATOM_NONE;
    std::uint8_t format = 8; ///< Bits of a unit: 8, 16 or 32.
    std::string bytes;

    /// The units of a property of format 32, as window and process numbers are.
    std::vector<std::uint32_t> numbers() const;
};

/// Used by one thread at a time. When the server goes, nothing more is answered and `isAlive` is false.
class XConnection {
  public:
    using Duration = std::chrono::nanoseconds;
    using Listener = std::function<void(const xcb_generic_event_t&)>;
    /// A server that answers later than this is taken for one that doesn't.
    static constexpr std::chrono::milliseconds replyLimit{500};

    /// Connects to a display, by name or as the environment says; null if that can't be done.
    static std::unique_ptr<XConnection> open(const std::string& display = {});
    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* get() const { return connection; }
    xcb_window_t root() const { return rootWindow; }
    bool isAlive() const { return xcb_connection_has_error(connection) == 0; }
    int descriptor() const { return xcb_get_file_descriptor(connection); }
    bool hasExtension(xcb_extension_t& extension) const;

    /// The reply to a request; null if it failed, or none came in time.
    template <typename Reply, typename Cookie>
    XOwned<Reply> reply(Cookie cookie) {
        return XOwned<Reply>(static_cast<Reply*>(replyTo(cookie.sequence)));
    }
    /// Whether the server has done all that it was asked for.
    bool synchronise();

    /// The number of a name, kept once it is known; XCB_ATOM_NONE if the server doesn't answer.
    xcb_atom_t atom(std::string_view name);
    /// The name of a number; empty if there is none.
    std::string atomName(xcb_atom_t atom);

    /// A property of any type; nothing if there is none, if it is larger than `most` bytes, or if the window
    /// is gone.
    std::optional<XProperty> property(xcb_window_t window, xcb_atom_t name, std::size_t most);

    /// Hands the events that have arrived to the listeners. Doesn't wait.
    void dispatch();
    /// Waits until something arrives, or until the deadline of the steady clock; false if that has passed.
    bool waitUntil(std::chrono::steady_clock::time_point deadline) const;
    /// Listeners are called by `dispatch`, and live as long as the connection.
    void listen(Listener listener) { listeners.push_back(std::move(listener)); }
    /// Has the loop dispatch events as they arrive. The watcher outlives the connection.
    void dispatchOn(DescriptorWatcher& watcher);

  private:
    explicit XConnection(xcb_connection_t* connection, int screen);

    void* replyTo(unsigned sequence);

    xcb_connection_t* connection;
    xcb_window_t rootWindow = XCB_WINDOW_NONE;
    std::map<std::string, xcb_atom_t, std::less<>> atoms;
    std::vector<Listener> listeners;
    std::unique_ptr<DescriptorWatch> watch;
};

} // namespace orvel
