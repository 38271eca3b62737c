#include "Orvel/platform/linux/XConnection.h"

#include <algorithm>
#include <cstring>

#include <poll.h>
#include <xcb/xcbext.h>

namespace orvel {

std::vector<std::uint32_t> XProperty::numbers() const {
    std::vector<std::uint32_t> numbers(format == 32 ? bytes.size() / sizeof(std::uint32_t) : 0);
    if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(std::uint32_t));
    return numbers;
}

std::unique_ptr<XConnection> XConnection::open(const std::string& display) {
    int screen = 0;
    auto* connection = xcb_connect(display.empty() ? nullptr : display.c_str(), &screen);
    std::unique_ptr<XConnection> opened(new XConnection(connection, screen));
    return opened->rootWindow == XCB_WINDOW_NONE ? nullptr : std::move(opened);
}

XConnection::XConnection(xcb_connection_t* connection, int screen) : connection(connection) {
    if (!isAlive()) return;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 1 && screen > 0; --screen) xcb_screen_next(&screens);
    if (screens.rem > 0) rootWindow = screens.data->root;
}

XConnection::~XConnection() {
    watch.reset(); // It must not outlive the descriptor.
    xcb_disconnect(connection);
}

bool XConnection::hasExtension(xcb_extension_t& extension) const {
    const auto* data = xcb_get_extension_data(connection, &extension);
    return data && data->present;
}

bool XConnection::waitUntil(std::chrono::steady_clock::time_point deadline) const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd wanted{.fd = descriptor(), .events = POLLIN, .revents = 0};
    if (left.count() > 0) poll(&wanted, 1, static_cast<int>(left.count()));
    return std::chrono::steady_clock::now() < deadline;
}

void* XConnection::replyTo(unsigned sequence) {
    const auto deadline = std::chrono::steady_clock::now() + replyLimit;
    xcb_flush(connection);
    while (isAlive()) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(connection, sequence, &reply, &error)) {
            std::free(error);
            return reply;
        }
        if (!waitUntil(deadline)) break;
    }
    xcb_discard_reply(connection, sequence);
    return nullptr;
}

bool XConnection::synchronise() {
    return reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection)) != nullptr;
}

xcb_atom_t XConnection::atom(std::string_view name) {
    const auto known = atoms.find(name);
    if (known != atoms.end()) return known->second;
    const auto answer = reply<xcb_intern_atom_reply_t>(
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    if (!answer) return XCB_ATOM_NONE;
    return atoms.emplace(name, answer->atom).first->second;
}

std::string XConnection::atomName(xcb_atom_t atom) {
    for (const auto& [name, number] : atoms)
        if (number == atom) return name;
    const auto answer = reply<xcb_get_atom_name_reply_t>(xcb_get_atom_name(connection, atom));
    if (!answer) return {};
    std::string name(xcb_get_atom_name_name(answer.get()),
                     static_cast<std::size_t>(xcb_get_atom_name_name_length(answer.get())));
    atoms.emplace(name, atom);
    return name;
}

std::optional<XProperty> XConnection::property(xcb_window_t window, xcb_atom_t name, std::size_t most) {
    const auto units = static_cast<std::uint32_t>((most + 3) / 4);
    const auto answer = reply<xcb_get_property_reply_t>(
        xcb_get_property(connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, units));
    if (!answer || answer->type == XCB_ATOM_NONE || answer->bytes_after > 0) return std::nullopt;
    const auto length = static_cast<std::size_t>(xcb_get_property_value_length(answer.get()));
    if (length > most) return std::nullopt;
    return XProperty{answer->type, answer->format,
                     std::string(static_cast<const char*>(xcb_get_property_value(answer.get())), length)};
}

void XConnection::dispatch() {
    xcb_flush(connection);
    while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(connection)})
        for (const auto& listener : listeners) listener(*event);
}

void XConnection::dispatchOn(DescriptorWatcher& watcher) {
    watch = watcher.watch(descriptor(), DescriptorWatcher::Use::read, [this, &watcher](bool) {
        dispatch();
        if (isAlive()) dispatchOn(watcher);
    });
}

} // namespace orvel
