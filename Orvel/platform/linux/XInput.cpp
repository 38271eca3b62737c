#include "Orvel/platform/linux/XInput.h"

#include <xcb/xinput.h>

namespace orvel {

std::unique_ptr<XConnection> openWithInput(const std::string& display) {
    auto connection = XConnection::open(display);
    if (!connection || !connection->hasExtension(xcb_input_id)) return nullptr;
    // From 2.1 on, raw events come during other programs' grabs too.
    const auto version = connection->reply<xcb_input_xi_query_version_reply_t>(
        xcb_input_xi_query_version(connection->get(), 2, 2));
    const bool suffices = version && (version->major_version > 2 || version->minor_version >= 1);
    return suffices ? std::move(connection) : nullptr;
}

void selectRawEvents(XConnection& connection, std::uint32_t events) {
    const struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } wanted{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
    xcb_input_xi_select_events(connection.get(), connection.root(), 1, &wanted.head);
}

} // namespace orvel
