#pragma once
// The keyboard of a simulated desktop, and its mouse: what the person presses goes through the tap, if there
// is one, and the input method to the application in front, one after the other. What this program posts goes
// to the process that it names.

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedInputMethod.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace orvel {

/// What the person pressed, and what became of it.
struct SimulatedPress {
    enum class Fate {
        waits,
        swallowed, ///< By the tap.
        composed,  ///< Taken by the input method.
        arrived
    };

    std::size_t number = 0; ///< Of all presses, from 0.
    SimulatedKey key;
    Fate fate = Fate::waits;
    ProcessID process = 0; ///< Where it arrived; 0 if nothing was in front.
};

class SimulatedKeyboard : public KeyboardTap, public EventPosting {
  public:
    /// What this program posted.
    struct Posted {
        std::variant<SyntheticKey, AXPoint> event;
        std::optional<ProcessID> process;
    };

    SimulatedKeyboard(WorldLoop& loop, SimulatedSteps& steps, SimulatedApplications& applications,
                      SimulatedInputMethod& inputMethod)
        : loop(loop), steps(steps), applications(applications), inputMethod(inputMethod) {}

    // The world's side

    /// The person presses a key that types `text`, or nothing, as an arrow key does; or a modifier, or a
    /// button of the mouse. It waits for the main thread if a tap runs, and behind all that was pressed
    /// before. `effect` is what it does where it arrives, besides.
    void press(const std::string& text, const TapEvent& event = {}, std::function<void()> effect = nullptr);
    /// The same, and lets go of it again.
    void stroke(const std::string& text, const TapEvent& event = {});
    /// A click on something that does `effect`.
    void clicks(std::function<void()> effect) {
        press("", {.type = TapEventType::leftMouseDown}, std::move(effect));
    }
    /// The system turns the tap off.
    void disable(TapEventType reason);

    bool exists = true; ///< Whether this desktop has taps.
    bool granted = true, refusesStart = false, refusesPosting = false;
    /// Has the habits of an X desktop; else they are those of macOS.
    void beLikeX();
    /// A key that waited longer passes, whatever the handler says. The tap is off then, unless the handler
    /// had not been asked and a late key is told as a repeat.
    std::chrono::nanoseconds tapLimit{1'000'000'000};
    bool lateIsRepeat = false;
    /// Whether nothing but Return and Enter can be swallowed.
    bool swallowsOnlyReturns = false;
    /// Whether the tap sees what this program posts, and whether that needs a process in front.
    bool tapSeesPosted = true, postedNeedsFocus = false;
    std::vector<Posted> posted;

    /// All that the person pressed, in its order.
    const std::vector<SimulatedPress>& presses() const { return pressed; }
    /// The number of the press for which the tap is asked, or which arrives, just now.
    std::optional<std::size_t> current() const { return moving; }
    /// Called as each has its fate.
    std::function<void(const SimulatedPress&)> onFate;

    /// The longest time that a key waited for the tap, besides what the tap took for those before it.
    MainLoop::Duration longestWait() const { return longest; }

    // The ports

    bool isAvailable() const override { return exists; }
    bool isListeningGranted() override;
    void requestListening() override;
    TapStart start(Handler handler) override;
    void stop() override;
    bool isEnabled() override;
    std::unique_ptr<PreparedEvents> key(SyntheticKey key, std::optional<ProcessID> process) override;
    std::unique_ptr<PreparedEvents> click(AXPoint point) override;

  private:
    class Prepared;
    /// A key on its way.
    struct Travelling {
        SimulatedKey key;
        std::function<void()> effect;
        std::optional<std::size_t> number; ///< Of the press; nothing for what was posted.
        std::optional<ProcessID> process;  ///< To which it was posted.
        MainLoop::Duration since{0}, askedBefore{0};
    };

    void send(Travelling travelling);
    void passTap();
    TapAnswer askTap(const Travelling& travelling);
    TapAnswer ask(const Travelling& travelling, const TapEvent& event);
    void arrive(const Travelling& travelling);
    SimulatedPress::Fate deliver(const Travelling& travelling, SimulatedApplication* application);
    void settle(const Travelling& travelling, SimulatedPress::Fate fate, ProcessID process = 0);

    WorldLoop& loop;
    SimulatedSteps& steps;
    SimulatedApplications& applications;
    SimulatedInputMethod& inputMethod;
    std::vector<SimulatedPress> pressed;
    std::optional<std::size_t> moving;
    std::deque<Travelling> travellings; ///< What waits for the tap.
    int passing = 0;                    ///< How many have passed it and not arrived.
    Handler handler;
    bool enabled = false;
    MainLoop::Duration longest{0}, asked{0}; ///< The latter altogether.
};

} // namespace orvel
