#pragma once
// What stands in the way of a Return: text that an input method has not confirmed yet, and which input method
// that is.

#include "Orvel/desktop/InputSources.h"
#include "Orvel/monitor/TimedReads.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <optional>
#include <string>

namespace orvel {

/// One reading of an editor's composition.
struct CompositionReading {
    CompositionState state = CompositionState::unknown;
    MarkedTextEvidence evidence = MarkedTextEvidence::unavailable;
    /// Whether the editor says nothing of a composition that there may be.
    bool isUntold() const {
        return state == CompositionState::unknown &&
               (evidence == MarkedTextEvidence::absent || evidence == MarkedTextEvidence::unsupported);
    }

    bool isToldByInputMethod = false; ///< See InputSource::tellsComposition.
    AXValue marked; ///< The marked range as the platform gives it, to be compared only; nothing without one.
};

CompositionReading readComposition(TimedReads& reads, DiagnosticFacts& facts, InputSources& sources,
                                   const AXElement& editor);

/// Whether the selected source is a layout that never composes.
bool isKnownASCII(const std::optional<InputSource>& source);

/// Whether the selected source is one of which an absent mark proves that nothing is unconfirmed.
bool tellsComposition(const std::optional<InputSource>& source);

/// The identifier of the selected source, if it is the Japanese one whose Returns are understood.
std::optional<std::string> knownJapaneseSourceID(const std::optional<InputSource>& source);

/// What commands mean with the selected source, in sentences for the person.
std::string inputModeWords(const std::optional<InputSource>& source);

/// The selected source, for comparison and diagnostics.
DiagnosticText describeInputSource(const std::optional<InputSource>& source);

} // namespace orvel
