#include "Orvel/platform/linux/XWindowList.h"

#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XWindows.h"

#include <algorithm>
#include <memory>

namespace orvel {

namespace {

using OwnerName = WindowList::OwnerName;

// A window manager puts the windows of others into its own.
constexpr int maximumDepth = 4;
constexpr std::size_t maximumChildren = 64;

std::vector<xcb_window_t> childrenOf(XConnection& connection, xcb_window_t window) {
    const auto tree = connection.reply<xcb_query_tree_reply_t>(xcb_query_tree(connection.get(), window));
    if (!tree) return {};
    const auto* children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

bool isViewable(XConnection& connection, xcb_window_t window) {
    const auto attributes = connection.reply<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(connection.get(), window));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

std::string nameWithin(XConnection& connection, xcb_window_t window, int depth) {
    const auto own = classOf(connection, window);
    if (own && !own->name.empty()) return own->name;
    if (depth == maximumDepth) return {};
    auto children = childrenOf(connection, window);
    children.resize(std::min(children.size(), maximumChildren));
    for (const auto child : children) {
        auto name = nameWithin(connection, child, depth + 1);
        if (!name.empty()) return name;
    }
    return {};
}

std::string ownerName(std::string windowClass) {
    return windowClass == "Mozc_renderer" ? "GoogleJapaneseInputRenderer" : std::move(windowClass);
}

std::optional<std::vector<OwnerName>> ownersOn(XConnection& connection, std::size_t most) {
    auto windows = childrenOf(connection, connection.root());
    std::reverse(windows.begin(), windows.end()); // The one on top first.
    std::vector<OwnerName> owners;
    for (const auto window : windows) {
        if (owners.size() == most) break;
        if (isViewable(connection, window)) owners.emplace_back(ownerName(nameWithin(connection, window, 0)));
    }
    // Where the server didn't answer, windows may be missing.
    return connection.synchronise() ? std::optional(std::move(owners)) : std::nullopt;
}

} // namespace

WindowList::Read XWindowList::reader() {
    struct Held {
        std::unique_ptr<XConnection> connection;
    };
    return [held = std::make_shared<Held>(), display = display](std::size_t most) {
        if (!held->connection || !held->connection->isAlive()) held->connection = XConnection::open(display);
        return held->connection ? ownersOn(*held->connection, most) : std::nullopt;
    };
}

} // namespace orvel
