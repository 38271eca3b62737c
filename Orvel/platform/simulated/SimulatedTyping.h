#pragma once
// With what the person types on a simulated desktop, and whose windows that opens: the input source, the
// windows on the screen, and the thread on which these are read.

#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <algorithm>
#include <utility>

namespace orvel {

struct SimulatedInputSources : InputSources {
    explicit SimulatedInputSources(SimulatedSteps& steps) : steps(steps) {}

    std::optional<InputSource> current() override {
        return steps.take("currentInputSource").report ? std::nullopt : source;
    }
    std::optional<std::string> currentLayoutID() override {
        return steps.take("currentLayoutID").report ? std::nullopt : layoutID;
    }

    void useABC() {
        source = {"com.apple.keylayout.ABC", std::nullopt, "TISTypeKeyboardLayout", true};
        layoutID = "com.apple.keylayout.ABC";
    }
    void useGoogleHiragana() {
        source = {"com.google.inputmethod.Japanese.base", "com.apple.inputmethod.Japanese",
                  "TISTypeKeyboardInputMode", false};
        layoutID = "com.apple.keylayout.ABC";
    }

    SimulatedSteps& steps;
    std::optional<InputSource> source =
        InputSource{"com.apple.keylayout.ABC", std::nullopt, "TISTypeKeyboardLayout", true};
    std::optional<std::string> layoutID = "com.apple.keylayout.ABC";
};

struct SimulatedWindowList : WindowList {
    explicit SimulatedWindowList(SimulatedSteps& steps) : steps(steps) {}

    /// The read uses this object, which outlives it since nothing here has threads.
    Read reader() override {
        return [this](std::size_t most) -> std::optional<std::vector<OwnerName>> {
            if (steps.take("ownerNames", false, duration).report || !isReadable) return std::nullopt;
            auto names = owners;
            names.resize(std::min(names.size(), most));
            return names;
        };
    }

    /// Shows or takes away the candidates of the Japanese input method.
    void showCandidates(bool shown) {
        std::erase(owners, OwnerName("GoogleJapaneseInputRenderer"));
        if (shown) owners.insert(owners.begin(), "GoogleJapaneseInputRenderer");
    }

    SimulatedSteps& steps;
    std::vector<OwnerName> owners{"Claude", "Orvel", "Dock"};
    bool isReadable = true;
    std::chrono::nanoseconds duration{3'000'000};
};

/// The other thread takes as long as the window list does, or until it is free.
class SimulatedSideQueue : public SideQueue {
  public:
    SimulatedSideQueue(WorldLoop& loop, const SimulatedWindowList& windows) : loop(loop), windows(windows) {}

    bool run(std::function<void()> work, MainLoop::Duration maximumWait) override {
        const auto duration = std::max(windows.duration, busyFor);
        if (duration > maximumWait) {
            loop.outside(duration, std::move(work));
            loop.spend(maximumWait);
            return false;
        }
        loop.spend(busyFor);
        work();
        return true;
    }

    std::chrono::nanoseconds busyFor{0}; ///< With work that hangs.

  private:
    WorldLoop& loop;
    const SimulatedWindowList& windows;
};

} // namespace orvel
