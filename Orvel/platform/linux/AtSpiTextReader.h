#pragma once
// Reads the text of an editor, level by level, with all objects of a level asked at once.

#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/platform/linux/AtSpiText.h"

namespace orvel {

struct AtSpiTextReading {
    AXStatus status = AXStatus::failure;
    AtSpiTextNode editor; ///< If it succeeded.
};

/// At most 2,000 objects, 32 levels deep; more are a `failure`. Carets and selections only `withSelection`.
AtSpiTextReading readEditor(AccessibilityBus& bus, const BusReference& editor, bool withSelection,
                            BusDeadline deadline);

} // namespace orvel
