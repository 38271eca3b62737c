#pragma once
// Reads the text of an editor, level by level, with all objects of a level asked at once.

#include "Orvel/platform/linux/AtSpiRounds.h"
#include "Orvel/platform/linux/AtSpiText.h"
#include "Orvel/platform/linux/AtSpiVocabulary.h"
#include "Orvel/runtime/Task.h"

namespace orvel {

struct AtSpiTextReading {
    AXStatus status = AXStatus::failure;
    AtSpiTextNode editor; ///< If it succeeded.
    AtSpiFacts facts;     ///< Role, states and attributes of the editor, if they were told.
};

/// At most 2,000 objects, 32 levels deep; more are a `failure`. Carets and selections only `withSelection`,
/// and only of objects where the editor says that one begins or ends. The rounds outlive the task.
Task<AtSpiTextReading> readEditor(AtSpiRounds& rounds, BusReference editor, bool withSelection);

} // namespace orvel
