#pragma once
// Whose a window of an X desktop is.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/platform/linux/XConnection.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Both parts of WM_CLASS; empty where the window has none.
struct XWindowClass {
    std::string instance, name;
};

/// What windows say of themselves, asked of all at once.
struct XWindowOwner {
    std::optional<ProcessID> process; ///< Nothing if it stands on another window, or nowhere.
    std::optional<XWindowClass> windowClass;
};
std::vector<XWindowOwner> ownersOf(XConnection& connection, const std::vector<xcb_window_t>& windows);

/// The class of a window; nothing if the window is gone or the server doesn't answer.
std::optional<XWindowClass> classOf(XConnection& connection, xcb_window_t window);

/// The process that says that the window, or one around it, is its own; nothing if none does.
std::optional<ProcessID> processOf(XConnection& connection, xcb_window_t window);

/// The windows in a property of the root window, such as _NET_CLIENT_LIST; none where no window manager keeps
/// it.
std::vector<xcb_window_t> rootWindows(XConnection& connection, std::string_view property);

} // namespace orvel
