#pragma once
// The page of ChatGPT that an operation works on.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/ProcessID.h"

#include <string>
#include <string_view>

namespace orvel {

/// The browser in whose selected tab ChatGPT is shown.
inline constexpr std::string_view diaBundleID = "company.thebrowser.dia";

struct ChatGPTPage {
    ProcessID pid = 0;
    AXElement web;    ///< The "AXWebArea".
    AXElement window; ///< The browser's focused one.
    std::string url;  ///< As the browser wrote it.

    bool operator==(const ChatGPTPage&) const = default;
};

} // namespace orvel
