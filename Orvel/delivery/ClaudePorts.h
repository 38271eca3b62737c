#pragma once
// What a delivery into the Claude application needs of the desktop.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"
#include "Orvel/runtime/MainLoop.h"

namespace orvel {

/// References to the ports; whoever makes it keeps them alive.
struct ClaudePorts {
    MainLoop& loop;
    Accessibility& accessibility;
    Applications& applications;
    InputSources& inputSources;
    WindowList& windows;
    SideQueue& queue; ///< For looking at the windows.
};

} // namespace orvel
