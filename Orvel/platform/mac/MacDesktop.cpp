#include "Orvel/platform/mac/MacDesktop.h"

#include "Orvel/platform/mac/MacAccessibility.h"
#include "Orvel/platform/mac/MacApplications.h"
#include "Orvel/platform/mac/MacEventPosting.h"
#include "Orvel/platform/mac/MacInputSources.h"
#include "Orvel/platform/mac/MacKeyboardTap.h"
#include "Orvel/platform/mac/MacPanels.h"
#include "Orvel/platform/mac/MacPasteboard.h"
#include "Orvel/platform/mac/MacWindowList.h"

#ifdef ORVEL_WITH_SPARKLE
#include "Orvel/platform/mac/MacUpdater.h"
#endif

#include <vector>

namespace orvel {

namespace {

// Read on other threads, perhaps still as the desktop goes, so it stays until the program ends.
MacAccessibility& makeAccessibility() {
    static std::vector<std::unique_ptr<MacAccessibility>> kept;
    return *kept.emplace_back(std::make_unique<MacAccessibility>());
}

} // namespace

struct MacDesktop::Ports {
    Ports(MainLoop& loop, Applications& own) : accessibility(makeAccessibility()), applications(loop, own) {}

    MacAccessibility& accessibility;
    MacApplications applications;
    MacPasteboard pasteboard;
    MacPanels panels;
    MacKeyboardTap keyboardTap;
    MacEventPosting eventPosting;
    MacInputSources inputSources;
    MacWindowList windows;
#ifdef ORVEL_WITH_SPARKLE
    MacUpdater updater;
#endif
};

MacDesktop::MacDesktop(MainLoop& loop, Applications& own) : ports(std::make_unique<Ports>(loop, own)) {}

MacDesktop::~MacDesktop() = default;

Pasteboard& MacDesktop::pasteboard() {
    return ports->pasteboard;
}

Panels& MacDesktop::panels() {
    return ports->panels;
}

Applications& MacDesktop::applications() {
    return ports->applications;
}

Accessibility& MacDesktop::accessibility() {
    return ports->accessibility;
}

KeyboardTap& MacDesktop::keyboardTap() {
    return ports->keyboardTap;
}

EventPosting& MacDesktop::eventPosting() {
    return ports->eventPosting;
}

InputSources& MacDesktop::inputSources() {
    return ports->inputSources;
}

WindowList& MacDesktop::windows() {
    return ports->windows;
}

Updater* MacDesktop::updater() {
#ifdef ORVEL_WITH_SPARKLE
    return &ports->updater;
#else
    return nullptr;
#endif
}

} // namespace orvel
