#pragma once
// What a person sees and touches of a simulated desktop: applications and their windows, the keyboard, the
// clipboard.

#include "Orvel/platform/simulated/SimulatedAccessibility.h"
#include "Orvel/platform/simulated/SimulatedApplications.h"
#include "Orvel/platform/simulated/SimulatedKeyboard.h"
#include "Orvel/platform/simulated/SimulatedPasteboard.h"
#include "Orvel/platform/simulated/SimulatedSteps.h"
#include "Orvel/platform/simulated/SimulatedTyping.h"
#include "Orvel/platform/simulated/WorldLoop.h"

namespace orvel {

struct SimulatedScreen {
    explicit SimulatedScreen(WorldLoop& world) : world(world) {}

    WorldLoop& world; ///< Outlives this object.
    SimulatedSteps steps{world};
    SimulatedPasteboard pasteboard{steps};
    SimulatedApplications applications{world, steps};
    SimulatedAccessibility accessibility{world, steps, applications, pasteboard};
    SimulatedInputSources inputSources{steps};
    SimulatedWindowList windows{steps};
    SimulatedInputMethod inputMethod{inputSources, windows};
    SimulatedKeyboard keyboard{world, steps, applications, inputMethod};
    SimulatedSideQueue sideQueue{world, windows};
};

} // namespace orvel
