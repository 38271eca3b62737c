#include "Orvel/platform/linux/XWindows.h"

namespace orvel {

namespace {

constexpr std::size_t maximumClass = 1024, maximumWindows = 4096;
constexpr int maximumDepth = 16;

} // namespace

std::optional<XWindowClass> classOf(XConnection& connection, xcb_window_t window) {
    const auto answer = connection.reply<xcb_get_property_reply_t>(xcb_get_property(
        connection.get(), 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, maximumClass / 4));
    if (!answer) return std::nullopt;
    const std::string both(static_cast<const char*>(xcb_get_property_value(answer.get())),
                           static_cast<std::size_t>(xcb_get_property_value_length(answer.get())));
    const auto end = both.find('\0');
    if (end == both.npos) return XWindowClass{both, both};
    return XWindowClass{both.substr(0, end), both.substr(end + 1, both.find('\0', end + 1) - end - 1)};
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
