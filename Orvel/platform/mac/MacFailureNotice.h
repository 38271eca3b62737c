#pragma once
// Tells that a typed command was stopped, while the person looks at another application: a panel at the top
// right of the screen that never takes the keyboard, stands on every space and over full screens, and goes by
// itself.

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace orvel {

/// Belongs to the main thread, whose run loop serves its timer.
class MacFailureNotice {
  public:
    /// For how long it stands.
    static constexpr std::chrono::seconds duration{12};

    MacFailureNotice();
    MacFailureNotice(const MacFailureNotice&) = delete;
    MacFailureNotice& operator=(const MacFailureNotice&) = delete;
    ~MacFailureNotice();

    /// Shows the message in place of one that still stands; does nothing without a screen. `context` may be
    /// empty; `openDetails` is what "View in Orvel" does.
    void tell(const std::string& message, const std::string& context, std::function<void()> openDetails);

    /// Takes it away, if it stands.
    void dismiss();

  private:
    class Standing;

    std::shared_ptr<Standing> standing, previous; ///< The last ones, which may be gone from the screen.
};

} // namespace orvel
