#include "Orvel/platform/linux/XKeyboardLayout.h"

#include "Orvel/platform/linux/XConnection.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace orvel {

namespace {

constexpr std::size_t maximumRules = 1'024, maximumServers = 1'024;

// What programs use without an input method, and IBus, which is looked for by other means.
constexpr auto harmless =
    std::to_array<std::string_view>({"", "none", "simple", "gtk-im-context-simple", "compose", "xim", "ibus",
                                     "@im=none", "@im=local", "@im=ibus"});

// The texts behind each other in the property: rules, model, layouts, variants, options.
std::optional<XkbLayout> layoutIn(const std::string& rules) {
    std::vector<std::string> parts(1);
    for (const char c : rules) {
        if (c == '\0')
            parts.emplace_back();
        else
            parts.back() += c;
    }
    if (parts.size() < 5) return std::nullopt;
    const auto& name = parts[2];
    const auto& variant = parts[3];
    const bool isOne = !name.empty() && name.find(',') == name.npos && variant.find(',') == variant.npos;
    return isOne ? std::optional(XkbLayout{name, variant}) : std::nullopt;
}

} // namespace

std::vector<std::string> XKeyboardLayout::methodsOfEnvironment() {
    std::vector<std::string> found;
    for (const auto* name : {"GTK_IM_MODULE", "QT_IM_MODULE", "XMODIFIERS"}) {
        const auto* value = std::getenv(name);
        found.emplace_back(value ? value : "");
    }
    return found;
}

XKeyboardLayout::XKeyboardLayout(std::string display, const std::vector<std::string>& methods)
    : display(std::move(display)),
      namesOthers(!std::all_of(methods.begin(), methods.end(), [](const std::string& method) {
          return std::find(harmless.begin(), harmless.end(), method) != harmless.end();
      })) {}

XKeyboardLayout::~XKeyboardLayout() = default;

std::optional<XkbLayout> XKeyboardLayout::current() {
    return look() ? layout : std::nullopt;
}

bool XKeyboardLayout::isAlone() {
    return look() && !namesOthers && !hasServers;
}

bool XKeyboardLayout::look() {
    if (!connection || !connection->isAlive()) {
        connection = XConnection::open(display);
        if (!connection) return false;
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection->get(), connection->root(), XCB_CW_EVENT_MASK, &events);
        connection->listen([this](const xcb_generic_event_t& event) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            if ((event.response_type & 0x7F) != XCB_PROPERTY_NOTIFY) return;
            isChanged = isChanged || change.atom == connection->atom("_XKB_RULES_NAMES") ||
                        change.atom == connection->atom("XIM_SERVERS");
        });
        isChanged = true;
    }
    connection->dispatch();
    if (!isChanged) return connection->isAlive();
    const auto root = connection->root();
    const auto rules = connection->property(root, connection->atom("_XKB_RULES_NAMES"), maximumRules);
    const auto servers = connection->property(root, connection->atom("XIM_SERVERS"), maximumServers);
    layout = rules ? layoutIn(rules->bytes) : std::nullopt;
    hasServers = false;
    // A server that has gone stays in the list, and owns its selection no more.
    for (const auto server : servers ? servers->numbers() : std::vector<std::uint32_t>()) {
        const auto owner = connection->reply<xcb_get_selection_owner_reply_t>(
            xcb_get_selection_owner(connection->get(), server));
        hasServers = hasServers || !owner || owner->owner != XCB_WINDOW_NONE;
    }
    isChanged = !connection->synchronise();
    return !isChanged;
}

} // namespace orvel
