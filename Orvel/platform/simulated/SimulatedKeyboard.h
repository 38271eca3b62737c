#pragma once
// The keyboard of a simulated desktop: what the person types goes through the tap, if there is one, to the
// application in front, and what this program types itself goes by the tap.

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <string>
#include <variant>
#include <vector>

namespace orvel {

class SimulatedKeyboard : public KeyboardTap, public EventPosting {
  public:
    /// What this program posted.
    struct Posted {
        std::variant<SyntheticKey, AXPoint> event;
        std::optional<ProcessID> process;
    };

    SimulatedKeyboard(WorldLoop& loop, SimulatedSteps& steps, SimulatedApplications& applications)
        : loop(loop), steps(steps), applications(applications) {}

    // The world's side

    /// The person presses a key that types `text`, or nothing, as an arrow key does. The key waits for the
    /// main thread if a tap runs.
    void press(const std::string& text, const TapEvent& event = {});
    void disable(TapEventType reason);

    bool exists = true; ///< Whether this desktop has taps.
    bool granted = true, refusesStart = false, refusesPosting = false;
    /// A key that waited longer passes unasked, and the tap is off.
    std::chrono::nanoseconds tapLimit{1'000'000'000};
    std::vector<Posted> posted;

    /// The longest time that a key waited for the tap.
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
    void arrive(const std::string& text);

    WorldLoop& loop;
    SimulatedSteps& steps;
    SimulatedApplications& applications;
    Handler handler;
    bool enabled = false;
    MainLoop::Duration longest{0};
};

} // namespace orvel
