#pragma once
// What an editor, and the input into it, are examined with.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/monitor/InputWatch.h"
#include "Orvel/monitor/TimedReads.h"

namespace orvel {

class GoogleJapaneseInput;

/// All of it outlives the examination.
struct EditorNeeds {
    MainLoop& loop;
    Applications& applications;
    InputSources& inputSources;
    TimedReads& reads;
    DiagnosticFacts& facts;
    const InputWatch& input;
    GoogleJapaneseInput& japanese;
};

} // namespace orvel
