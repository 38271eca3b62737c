#pragma once
// The tap of an X desktop. Return and Enter are grabbed, so that they wait for the handler; what else the
// person does is reported as it happens.

#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

class XOwnInput;

/// The path of orvel-keyboard-guard: beside the running program, in the folder above it, or where an
/// installation has it; nothing if it is nowhere.
std::optional<std::string> keyboardGuardProgram();

/// The server holds the whole keyboard while it waits for the handler, and has no limit of its own. So a
/// guard in a process of its own holds the grab, and passes the key once it has waited for `patience`,
/// whatever became of this process: unasked if the main thread was busy until then (it is reported later, as
/// a repeat, since nobody may decide on it any more), or against a handler that is still at work, and then
/// the tap is disabled. It is disabled too when the guard ends, or shows no life within a quarter of a second
/// of a press, and is ended for it: that gives the keyboard back, and of what was held only a Return is lost.
///
/// Nothing but Return and Enter can be swallowed. Their presses are not asked about while another program has
/// grabbed the keyboard, as for its menu, and are then reported as repeats too.
///
/// The release of a swallowed Return is swallowed as well, except where another key was pressed and Return
/// released while the handler was at work: to pass that press ends the grab, and what the server holds behind
/// it goes on before there can be another. A window then gets a release without a press; Chromium keeps such
/// from its pages.
class XKeyboardTap : public KeyboardTap {
  public:
    static constexpr std::chrono::milliseconds patience{200};

    /// The loop outlives the tap. An empty name is the environment's display. Without the guard's program
    /// there is no tap.
    XKeyboardTap(MainLoop& loop, std::shared_ptr<XOwnInput> own, std::string display = {},
                 std::optional<std::string> guard = keyboardGuardProgram());
    ~XKeyboardTap() override;

    /// Whether there are the guard's program and a server that can tell the devices of its input apart.
    bool isAvailable() const override { return available; }
    /// X asks nobody for a permission.
    bool isListeningGranted() override { return available; }
    void requestListening() override {}
    TapStart start(Handler handler) override;
    void stop() override;
    bool isEnabled() override;

  private:
    struct Shared;
    class Listener;

    MainLoop& loop;
    std::shared_ptr<XOwnInput> own;
    std::string display;
    std::optional<std::string> guard;
    bool available;
    std::shared_ptr<Shared> shared;     ///< With the thread of the tap that runs; null if none does.
    std::unique_ptr<Listener> listener; ///< Of that tap, or of one that was stopped by its own handler.
};

} // namespace orvel
