#include "Orvel/platform/linux/XSentKey.h"

#include "Orvel/platform/linux/XWindows.h"

#include <utility>

namespace orvel {

bool sendKeys(XConnection& connection, std::span<const XStroke> strokes, ProcessID process) {
    const auto focus = connection.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection.get()));
    if (!focus || focus->focus <= XCB_INPUT_FOCUS_POINTER_ROOT) return false; // No window.
    if (processOf(connection, focus->focus) != process) return false;
    for (const auto& stroke : strokes) {
        for (const auto& [type, mask] : {std::pair(XCB_KEY_PRESS, XCB_EVENT_MASK_KEY_PRESS),
                                         std::pair(XCB_KEY_RELEASE, XCB_EVENT_MASK_KEY_RELEASE)}) {
            const xcb_key_press_event_t event{.response_type = static_cast<std::uint8_t>(type),
                                              .detail = stroke.keycode,
                                              .time = XCB_CURRENT_TIME,
                                              .root = connection.root(),
                                              .event = focus->focus,
                                              .state = stroke.state,
                                              .same_screen = 1};
            xcb_send_event(connection.get(), 0, focus->focus, mask, reinterpret_cast<const char*>(&event));
        }
    }
    xcb_flush(connection.get());
    return true;
}

} // namespace orvel
