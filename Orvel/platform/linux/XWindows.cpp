#include "Orvel/platform/linux/XWindows.h"

#include <cstdint>
#include <utility>

namespace orvel {

namespace {

constexpr std::size_t maximumClass = 1024, maximumWindows = 4096;
constexpr int maximumDepth = 16;

xcb_get_property_cookie_t askForClass(XConnection& connection, xcb_window_t window) {
    return xcb_get_property(connection.get(), 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0,
                            maximumClass / 4);
}

std::optional<XWindowClass> classIn(const XOwned<xcb_get_property_reply_t>& answer) {
    if (!answer) return std::nullopt;
    const std::string both(static_cast<const char*>(xcb_get_property_value(answer.get())),
                           static_cast<std::size_t>(xcb_get_property_value_length(answer.get())));
    const auto end = both.find('\0');
    if (end == both.npos) return XWindowClass{both, both};
    return XWindowClass{both.substr(0, end), both.substr(end + 1, both.find('\0', end + 1) - end - 1)};
}

} // namespace

std::optional<XWindowClass> classOf(XConnection& connection, xcb_window_t window) {
    return classIn(connection.reply<xcb_get_property_reply_t>(askForClass(connection, window)));
}

std::vector<XWindowOwner> ownersOf(XConnection& connection, const std::vector<xcb_window_t>& windows) {
    const auto name = connection.atom("_NET_WM_PID");
    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> asked;
    for (const auto window : windows)
        asked.emplace_back(xcb_get_property(connection.get(), 0, window, name, XCB_ATOM_CARDINAL, 0, 1),
                           askForClass(connection, window));
    std::vector<XWindowOwner> owners;
    for (const auto& [process, windowClass] : asked) {
        const auto answer = connection.reply<xcb_get_property_reply_t>(process);
        XWindowOwner owner{.process = {}, .windowClass = {}};
        if (answer && answer->format == 32 && xcb_get_property_value_length(answer.get()) == 4)
            owner.process = static_cast<ProcessID>(
                *static_cast<const std::uint32_t*>(xcb_get_property_value(answer.get())));
        owner.windowClass = classIn(connection.reply<xcb_get_property_reply_t>(windowClass));
        owners.push_back(std::move(owner));
    }
    return owners;
}

std::optional<ProcessID> processOf(XConnection& connection, xcb_window_t window) {
    const auto name = connection.atom("_NET_WM_PID");
    for (int depth = 0; depth < maximumDepth && window != XCB_WINDOW_NONE; ++depth) {
        const auto process = connection.property(window, name, sizeof(std::uint32_t));
        const auto numbers = process ? process->numbers() : std::vector<std::uint32_t>();
        if (!numbers.empty()) return static_cast<ProcessID>(numbers.front());
        const auto tree = connection.reply<xcb_query_tree_reply_t>(xcb_query_tree(connection.get(), window));
        window = tree ? tree->parent : static_cast<xcb_window_t>(XCB_WINDOW_NONE);
    }
    return std::nullopt;
}

std::vector<xcb_window_t> rootWindows(XConnection& connection, std::string_view property) {
    const auto value = connection.property(connection.root(), connection.atom(property),
                                           maximumWindows * sizeof(xcb_window_t));
    return value ? value->numbers() : std::vector<xcb_window_t>();
}

} // namespace orvel
