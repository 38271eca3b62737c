#pragma once
// Brings the browser that shows the selected page to the front, if this program or the browser is there.

#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/text/Failure.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// The ports and the reader outlive the object, and the object outlives its tasks.
class ChatGPTBrowserActivation {
  public:
    static constexpr int maximumChecks = 30;
    static constexpr MainLoop::Duration pause = std::chrono::milliseconds(100); ///< Between two checks.

    ChatGPTBrowserActivation(const Desktop& ports, ChatGPTPageReader& pages) : ports(ports), pages(pages) {}

    /// Ends with the page's browser in front, and the page in its focused window. Throws RelaySendError with
    /// a second line that describes what was in front.
    Task<void> activateSelectedBrowser(ChatGPTPage page);

  private:
    enum class Front { none, other, own, browser };
    /// What was found and asked for, for the failures.
    struct Course {
        ProcessID source = 0, target = 0, actual = 0;
        Front front = Front::none;
        MainLoop::Duration began{0};
    };

    void look(Course& course) const;
    Task<std::optional<std::string>> identityFailure(ChatGPTPage page);
    [[noreturn]] void fail(std::string_view message, std::string_view stage, const Course& course) const;

    Desktop ports;
    ChatGPTPageReader& pages;
};

} // namespace orvel
