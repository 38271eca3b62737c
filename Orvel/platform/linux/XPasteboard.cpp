#include "Orvel/platform/linux/XPasteboard.h"

#include "Orvel/platform/linux/XConnection.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include <xcb/xfixes.h>

namespace orvel {

namespace {

using Clock = std::chrono::steady_clock;

// What an owner says of itself or does, and the numbers of things in the server.
constexpr std::string_view noData[] = {"TARGETS", "MULTIPLE",         "TIMESTAMP",       "SAVE_TARGETS",
                                       "DELETE",  "INSERT_SELECTION", "INSERT_PROPERTY", "PIXMAP",
                                       "BITMAP",  "DRAWABLE",         "COLORMAP",        "WINDOW"};

// The targets for plain text in UTF-8, the first of which is the text.
constexpr std::string_view textTargets[] = {"UTF8_STRING", "text/plain;charset=utf-8"};
constexpr std::string_view latinTarget = "STRING";

std::string fromLatin1(std::string_view latin) {
    std::string text;
    for (const char letter : latin) {
        const auto code = static_cast<unsigned char>(letter);
        if (code < 0x80) {
            text += letter;
        } else {
            text += static_cast<char>(0xC0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return text;
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char letter) { return (letter & 0x80) == 0; });
}

// The target that gives the plain text; empty if none does.
std::string_view textTargetAmong(const std::vector<std::string>& names) {
    for (const auto& wanted : {textTargets[0], textTargets[1], latinTarget})
        if (std::find(names.begin(), names.end(), wanted) != names.end()) return wanted;
    return {};
}

} // namespace

/// A request to the clipboard's owner, under a window of its own.
class XPasteboard::Request {
  public:
    Request(XConnection& connection, xcb_atom_t property)
        : connection(connection), window(xcb_generate_id(connection.get())), property(property) {
        const std::uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, connection.root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &wanted);
    }
    ~Request() {
        if (connection.isAlive()) xcb_destroy_window(connection.get(), window);
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    void take(const xcb_generic_event_t& event) {
        const auto type = event.response_type & 0x7F;
        const auto& notice = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        if (type == XCB_SELECTION_NOTIFY && notice.requestor == window) {
            isAnswered = true;
            isRefused = notice.property == XCB_ATOM_NONE;
        }
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (type != XCB_PROPERTY_NOTIFY || change.window != window || change.atom != property) return;
        if (change.state == XCB_PROPERTY_NEW_VALUE) ++pieces;
        if (isGivenUp) takeNext();
    }
    /// Has the owner put the next piece there.
    void takeNext() {
        xcb_delete_property(connection.get(), window, property);
        xcb_flush(connection.get());
    }

    XConnection& connection;
    const xcb_window_t window;
    const xcb_atom_t property;
    bool isAnswered = false, isRefused = false;
    bool isGivenUp = false; ///< Pieces that still come are thrown away.
    int pieces = 0;         ///< How often the property was set.
    Clock::time_point until;
};

struct XPasteboard::Events {
    std::uint8_t selectionEvent = 0;
    std::int64_t changes = 0;
    std::list<Request> requests; ///< The one that is waited for, and those that were given up.

    void take(const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7F) == selectionEvent) ++changes;
        for (auto& request : requests) request.take(event);
    }
    void forgetOld() {
        requests.remove_if(
            [](const Request& request) { return request.isGivenUp && request.until < Clock::now(); });
    }
};

XPasteboard::XPasteboard(XConnection& connection, const std::string& display)
    : connection(connection), events(std::make_shared<Events>()), owner(display) {
    auto* server = connection.get();
    const auto* fixes = xcb_get_extension_data(server, &xcb_xfixes_id);
    if (!fixes || !fixes->present) return;
    connection.reply<xcb_xfixes_query_version_reply_t>(xcb_xfixes_query_version(server, 5, 0));
    events->selectionEvent = static_cast<std::uint8_t>(fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    xcb_xfixes_select_selection_input(server, connection.root(), connection.atom("CLIPBOARD"),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    connection.listen([weak = std::weak_ptr(events)](const xcb_generic_event_t& event) {
        if (const auto held = weak.lock()) held->take(event);
    });
    connection.synchronise();
}

XPasteboard::~XPasteboard() = default;

void XPasteboard::clearContents() {
    own({});
}

bool XPasteboard::setString(std::string_view text) {
    return own({{{std::string(PasteboardType::string), std::string(text)}}});
}

bool XPasteboard::writeItems(const std::vector<PasteboardItem>& items) {
    return items.size() <= 1 && own(items);
}

bool XPasteboard::own(std::vector<PasteboardItem> items) {
    if (!connection.isAlive() || !owner.own(targetsFor(items))) return false;
    ours = std::move(items);
    return true;
}

XTargets XPasteboard::targetsFor(const std::vector<PasteboardItem>& items) const {
    XTargets targets;
    for (const auto& item : items) {
        for (const auto& [type, bytes] : item) {
            if (type == PasteboardType::string) continue;
            const auto form = forms.find(type);
            targets[type] = form == forms.end() ? XTargetData{type, 8, bytes}
                                                : XTargetData{form->second.type, form->second.format, bytes};
        }
        const auto text = item.find(std::string(PasteboardType::string));
        if (text == item.end()) continue;
        for (const auto target : textTargets)
            targets.try_emplace(std::string(target), XTargetData{std::string(target), 8, text->second});
        targets.try_emplace("TEXT", XTargetData{std::string(textTargets[0]), 8, text->second});
        if (isAscii(text->second))
            targets.try_emplace(std::string(latinTarget),
                                XTargetData{std::string(latinTarget), 8, text->second});
    }
    return targets;
}

bool XPasteboard::isOurs() {
    const auto answer = connection.reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner(connection.get(), connection.atom("CLIPBOARD")));
    return answer && answer->owner != XCB_WINDOW_NONE && answer->owner == owner.window();
}

std::int64_t XPasteboard::changeCount() {
    connection.synchronise();
    connection.dispatch();
    events->forgetOld();
    return events->changes;
}

std::optional<std::vector<std::string>> XPasteboard::targets() {
    const auto owned = connection.reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner(connection.get(), connection.atom("CLIPBOARD")));
    if (!owned) return std::nullopt;
    std::vector<std::string> names;
    if (owned->owner == XCB_WINDOW_NONE) return names;
    const auto list = read("TARGETS", maximumTypes * 4);
    if (!list || list->format != 32) return std::nullopt;
    for (const auto atom : XProperty{.format = 32, .bytes = list->bytes}.numbers()) {
        auto name = connection.atomName(atom);
        if (name.empty()) return std::nullopt;
        const bool isData = std::find(std::begin(noData), std::end(noData), name) == std::end(noData);
        if (isData && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(std::move(name));
    }
    return names;
}

std::vector<std::string> XPasteboard::types() {
    return typesOf(0);
}

std::optional<std::size_t> XPasteboard::itemCount() {
    if (isOurs()) return ours.size();
    const auto names = targets();
    return names ? std::optional<std::size_t>(names->empty() ? 0 : 1) : std::nullopt;
}

std::vector<std::string> XPasteboard::typesOf(std::size_t item) {
    std::set<std::string> types;
    if (isOurs()) {
        if (item < ours.size())
            for (const auto& [type, bytes] : ours[item]) types.insert(type);
    } else if (const auto names = item == 0 ? targets() : std::nullopt) {
        types.insert(names->begin(), names->end());
        if (!textTargetAmong(*names).empty()) types.insert(std::string(PasteboardType::string));
        types.erase(std::string(textTargets[0])); // The same under the port's name.
    }
    return {types.begin(), types.end()};
}

std::optional<std::string> XPasteboard::data(std::size_t item, const std::string& type) {
    if (isOurs()) {
        if (item >= ours.size()) return std::nullopt;
        const auto found = ours[item].find(type);
        return found == ours[item].end() ? std::nullopt : std::optional(found->second);
    }
    if (item != 0) return std::nullopt;
    std::string target = type;
    if (type == PasteboardType::string) {
        const auto names = targets();
        target = names ? textTargetAmong(*names) : std::string_view();
    }
    if (target.empty()) return std::nullopt;
    auto read = this->read(target, maximumBytes);
    if (!read) return std::nullopt;
    if (type != PasteboardType::string) forms[type] = {read->type, read->format, {}};
    const bool isLatin = type == PasteboardType::string && target == latinTarget;
    return isLatin ? fromLatin1(read->bytes) : std::move(read->bytes);
}

std::optional<XTargetData> XPasteboard::read(std::string_view target, std::size_t most) {
    auto& request = events->requests.emplace_back(connection, connection.atom("ORVEL_CLIPBOARD"));
    const auto count = changeCount();
    auto deadline = Clock::now() + answerLimit;
    const auto end = Clock::now() + transferLimit;
    // Ends early where the owner has gone, or somebody else has the clipboard now.
    const auto waitFor = [&](const auto& holds) {
        while (true) {
            connection.dispatch();
            if (holds()) return true;
            if (!connection.isAlive() || events->changes != count || !connection.waitUntil(deadline))
                return false;
        }
    };
    const auto giveUp = [&]() -> std::optional<XTargetData> {
        request.isGivenUp = true;
        request.until = Clock::now() + std::chrono::seconds(10);
        request.takeNext();
        return std::nullopt;
    };

    xcb_convert_selection(connection.get(), request.window, connection.atom("CLIPBOARD"),
                          connection.atom(target), request.property, XCB_CURRENT_TIME);
    if (!waitFor([&] { return request.isAnswered; })) return giveUp();
    const auto done = [&](std::optional<XTargetData> data) {
        events->requests.pop_back();
        return data;
    };
    if (request.isRefused) return done(std::nullopt);
    auto value = connection.property(request.window, request.property, most);
    if (!value) return giveUp();
    XTargetData data{connection.atomName(value->type), value->format, std::move(value->bytes)};
    if (data.type != "INCR") return done(std::move(data));

    // The announced size is a lower bound.
    const auto sizes = XProperty{.format = value->format, .bytes = data.bytes}.numbers();
    if (!sizes.empty() && sizes[0] > most) return giveUp();
    data.bytes.clear();
    while (true) {
        const auto before = request.pieces;
        request.takeNext();
        deadline = std::min(Clock::now() + answerLimit, end);
        if (!waitFor([&] { return request.pieces != before; })) return giveUp();
        const auto piece = connection.property(request.window, request.property, most - data.bytes.size());
        if (!piece) return giveUp();
        if (piece->bytes.empty()) return done(std::move(data));
        data.type = connection.atomName(piece->type);
        data.format = piece->format;
        data.bytes += piece->bytes;
    }
}

} // namespace orvel
